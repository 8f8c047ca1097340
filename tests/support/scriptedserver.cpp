#include "tests/support/scriptedserver.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

#include "tests/support/scriptrun.h"

namespace TestSupport {
namespace {

constexpr const char* kNeverTold = "the client ended the data connection before it had all bytes";

void RequireSame(const std::string& strExpected, const std::string& strActual) {
    if (strExpected == strActual) return;
    throw CScriptFailure("the client sent: \"" + Visible(strActual) + "\" instead of \"" +
                         Visible(strExpected) + "\"");
}

SStep Passive(const char* pszName, const std::string& strText, CScriptRun::EDataPort eKind) {
    return {pszName, [=](CScriptRun& run) { run.SayPassive(strText, eKind); }};
}

}  // namespace

SStep Sequence(std::vector<SStep> parts) {
    return {"Sequence", nullptr, std::move(parts)};
}

SStep Limit(Millis limit) {
    return {"Limit", [=](CScriptRun& run) { run.SetLimit(limit); }};
}

SStep Wait(Millis time) {
    return {"Wait", [=](CScriptRun& run) { run.Sleep(time); }};
}

SStep Do(std::function<void()> code) {
    return {"Do", [code = std::move(code)](CScriptRun&) { code(); }};
}

SStep Hold() {
    return {"Hold", [](CScriptRun& run) { run.Hold(); }};
}

SStep RefuseFor(Millis time) {
    return {"RefuseFor",
            [=](CScriptRun& run) {
                run.Sleep(time);
                run.Listen();
            },
            {},
            true};
}

SStep Accept() {
    return {"Accept", [](CScriptRun& run) { run.AcceptControl(); }};
}

SStep Say(const std::string& strText) {
    return {"Say(" + Visible(strText) + ")", [=](CScriptRun& run) { run.Say(strText); }};
}

SStep SayPieces(const std::vector<std::string>& pieces, Millis pause) {
    return {"SayPieces", [=](CScriptRun& run) {
                for (std::size_t i = 0; i < pieces.size(); ++i) {
                    if (i != 0) run.Sleep(pause);
                    run.Say(pieces[i]);
                }
            }};
}

SStep SayAsFarAsTaken(const std::string& strText) {
    return {"SayAsFarAsTaken", [=](CScriptRun& run) { run.SayAsFarAsTaken(strText); }};
}

SStep Expect(const std::string& strLine) {
    return {"Expect(" + Visible(strLine) + ")",
            [=](CScriptRun& run) { RequireSame(strLine + "\r\n", run.ReadCommand()); }};
}

SStep ExpectBytes(const std::string& strBytes) {
    return {"ExpectBytes(" + Visible(strBytes) + ")",
            [=](CScriptRun& run) { RequireSame(strBytes, run.ReadBytes(strBytes.size())); }};
}

SStep ExpectSilence(Millis time) {
    return {"ExpectSilence", [=](CScriptRun& run) { run.ExpectSilence(time); }};
}

SStep ExpectClose() {
    return {"ExpectClose", [](CScriptRun& run) { run.ExpectClose(); }};
}

SStep Close() {
    return {"Close", [](CScriptRun& run) { run.CloseControl(false); }};
}

SStep Reset() {
    return {"Reset", [](CScriptRun& run) { run.CloseControl(true); }};
}

SStep SayPassive(const std::string& strText) {
    return Passive("SayPassive", strText, CScriptRun::EDataPort::Listening);
}

SStep SayPassiveDead(const std::string& strText) {
    return Passive("SayPassiveDead", strText, CScriptRun::EDataPort::Dead);
}

SStep SayPassiveSilent(const std::string& strText) {
    return Passive("SayPassiveSilent", strText, CScriptRun::EDataPort::Silent);
}

SStep ExpectPort() {
    return {"ExpectPort", [](CScriptRun& run) { run.RememberPort(run.ReadCommand()); }};
}

SStep ConnectData() {
    return {"ConnectData", [](CScriptRun& run) { run.ConnectData(); }};
}

SStep AcceptData() {
    return {"AcceptData", [](CScriptRun& run) { run.AcceptData(); }};
}

SStep SendData(const std::string& strBytes, std::size_t nBlock, Millis pause) {
    const std::size_t nPiece = nBlock == 0 ? strBytes.size() : nBlock;
    return {"SendData", [=](CScriptRun& run) {
                std::size_t nAt = 0;
                do {
                    if (nAt != 0) run.Sleep(pause);
                    if (!run.SendData(strBytes.substr(nAt, nPiece)))
                        throw CScriptFailure(kNeverTold);
                    nAt += nPiece;
                } while (nAt < strBytes.size());
            }};
}

SStep SendDataAsFarAsTaken(const std::string& strBytes) {
    return {"SendDataAsFarAsTaken", [=](CScriptRun& run) { run.SendData(strBytes); }};
}

SStep ReceiveData() {
    return {"ReceiveData", [](CScriptRun& run) {
                run.ReceiveData(std::numeric_limits<std::size_t>::max(), true);
            }};
}

SStep ReceiveData(std::size_t nBytes) {
    return {"ReceiveData(" + std::to_string(nBytes) + ")",
            [=](CScriptRun& run) { run.ReceiveData(nBytes, false); }};
}

SStep ExpectDataClosed() {
    return {"ExpectDataClosed", [](CScriptRun& run) { run.ExpectDataClosed(); }};
}

SStep CloseData() {
    return {"CloseData", [](CScriptRun& run) { run.CloseData(false); }};
}

SStep ResetData() {
    return {"ResetData", [](CScriptRun& run) { run.CloseData(true); }};
}

SStep CloseDataPort() {
    return {"CloseDataPort", [](CScriptRun& run) { run.CloseDataPort(); }};
}

ScriptedServer::ScriptedServer(std::initializer_list<SStep> script)
    : ScriptedServer(std::vector<SStep>(script)) {}

ScriptedServer::ScriptedServer(const std::vector<SStep>& script)
    : m_pRun(std::make_unique<CScriptRun>(script)) {
    m_pRun->Start();
}

ScriptedServer::~ScriptedServer() {
    EXPECT_TRUE(m_bChecked) << "nobody asked this scripted server for its outcome";
}

unsigned short ScriptedServer::Port() const {
    return m_pRun->Port();
}

void ScriptedServer::ExpectFinished() {
    const std::string strOutcome = Finish();
    EXPECT_TRUE(strOutcome.empty()) << strOutcome;
}

std::string ScriptedServer::Finish() {
    m_bChecked = true;
    return m_pRun->Finish();
}

std::vector<std::string> ScriptedServer::Commands() const {
    return m_pRun->Commands();
}

std::vector<std::string> ScriptedServer::Uploads() const {
    return m_pRun->Uploads();
}

int ScriptedServer::Connections() const {
    return m_pRun->Connections();
}

void ScriptedServer::WaitUntilHeld() {
    m_pRun->WaitUntilHeld();
}

void ScriptedServer::Release() {
    m_pRun->Release();
}

}  // namespace TestSupport
