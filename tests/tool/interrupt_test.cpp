// Ctrl-C and SIGTERM in the middle of a transfer.

#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "tests/support/payload.h"
#include "tests/support/scriptedserver.h"
#include "tests/support/tempdir.h"
#include "tests/tool/ftpserver.h"

using namespace TestSupport;
using namespace ToolTest;
namespace fs = std::filesystem;

namespace {

constexpr int kRate = 500000;
constexpr std::size_t kSize = 8000000;  // 16 seconds

std::unique_ptr<ChildProcess> Start(Arguments arguments) {
    arguments.insert(arguments.begin(), {"--connect-timeout", "5"});
    return std::make_unique<ChildProcess>(
        ToolCommand(arguments), SSurroundings{{{"QELFTP_PASSWORD", kPassword}}, "", "", ""});
}

testing::AssertionResult Soon(const std::function<bool()>& condition) {
    const Clock::time_point end = Clock::now() + std::chrono::seconds(15);
    while (Clock::now() < end) {
        if (condition()) return testing::AssertionSuccess();
        std::this_thread::sleep_for(Millis(20));
    }
    return testing::AssertionFailure() << "it did not happen within 15 seconds";
}

bool HasBytes(const std::string& strPath) {
    std::error_code error;
    const auto uSize = fs::file_size(strPath, error);
    return !error && uSize > 0;
}

struct SSignalRow {
    int nSignal;
    const char* pszName;
};

void PrintTo(const SSignalRow& row, std::ostream* pStream) {
    *pStream << row.pszName;
}

class Interrupt : public testing::TestWithParam<SSignalRow> {
protected:
    FtpServer m_server{kRate};
    TempDir m_local;
};

TEST_P(Interrupt, InTheMiddleOfAGetLeavesNothing) {
    WriteFile(m_server.File("x"), Payload(kSize));
    WriteFile(m_server.File("y"), Payload(kSize));
    WriteFile(m_local.File("y"), "older");
    const auto tool =
        Start({"get", m_server.Url("/x"), m_server.Url("/y"), m_local.Path().string()});
    ASSERT_TRUE(Soon([&] { return HasBytes(m_local.File("x.part")); }));
    ::kill(tool->Pid(), GetParam().nSignal);
    const Clock::time_point start = Clock::now();
    const SRun run = tool->Wait();
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(20));
    EXPECT_EQ(run.nExit, 128 + GetParam().nSignal);
    EXPECT_NE(run.strErr.find("qelftp: get /x: interrupted\n"
                              "qelftp: interrupted: 0 of 2 files, 1 failed\n"),
              std::string::npos)
        << run.strErr;
    EXPECT_FALSE(fs::exists(m_local.File("x")));
    EXPECT_FALSE(fs::exists(m_local.File("x.part")));
    EXPECT_EQ(ReadFile(m_local.File("y")), "older");
    EXPECT_EQ(m_server.Count("QUIT"), m_server.Count("connected"));
}

TEST_P(Interrupt, InTheMiddleOfAPutLeavesNothing) {
    WriteFile(m_local.File("x"), Payload(kSize));
    const auto tool = Start({"put", m_local.File("x"), m_server.Url("/x")});
    ASSERT_TRUE(Soon([&] { return HasBytes(m_server.File("x")); }));
    ::kill(tool->Pid(), GetParam().nSignal);
    const Clock::time_point start = Clock::now();
    const SRun run = tool->Wait();
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(20));
    EXPECT_EQ(run.nExit, 128 + GetParam().nSignal);
    const std::string strEnd = "qelftp: put " + m_local.File("x") +
                               ": interrupted\n"
                               "qelftp: interrupted: 0 of 1 files, 1 failed\n";
    EXPECT_NE(run.strErr.find(strEnd), std::string::npos) << run.strErr;
    EXPECT_FALSE(m_server.Has("x"));
    EXPECT_EQ(m_server.Count("DELE x") + m_server.Count("DELE /x"), 1);
}

TEST_P(Interrupt, StopsAllJobsOfATree) {
    for (int n = 0; n < 8; ++n)
        WriteFile(m_server.File("f" + std::to_string(n)), Payload(kSize));
    const auto tool = Start({"get", "-r", "-j", "3", m_server.Url("/"), m_local.File("out")});
    ASSERT_TRUE(Soon([&] { return HasBytes(m_local.File("out/f2.part")); }));
    ::kill(tool->Pid(), GetParam().nSignal);
    const SRun run = tool->Wait();
    EXPECT_EQ(run.nExit, 128 + GetParam().nSignal);
    EXPECT_NE(run.strErr.find("qelftp: interrupted: 0 of 8 files, 3 failed\n"), std::string::npos)
        << run.strErr;
    EXPECT_TRUE(fs::is_empty(m_local.File("out")));
}

INSTANTIATE_TEST_SUITE_P(By, Interrupt,
                         testing::Values(SSignalRow{SIGINT, "Interrupt"},
                                         SSignalRow{SIGTERM, "Terminate"}),
                         [](const auto& tested) { return std::string(tested.param.pszName); });

TEST(SecondInterrupt, EndsAtOnce) {
    const TempDir local;
    ScriptedServer server{Say("220 ready\r\n"),
                          Expect("USER bob"),
                          Say("331 password\r\n"),
                          Expect("PASS tea time"),
                          Say("230 in\r\n"),
                          Expect("PWD"),
                          Say("257 \"/\"\r\n"),
                          Expect("TYPE I"),
                          Say("200 ok\r\n"),
                          Expect("CWD /"),
                          Say("250 there\r\n"),
                          Expect("PASV"),
                          SayPassive(),
                          Expect("RETR x"),
                          Say("150 here\r\n"),
                          AcceptData(),
                          Hold(),
                          ExpectClose()};
    const auto tool = Start({"get", "ftp://bob@127.0.0.1:" + std::to_string(server.Port()) + "/x",
                             local.Path().string()});
    server.WaitUntilHeld();
    ASSERT_TRUE(Soon([&] { return fs::exists(local.File("x.part")); }));
    const Clock::time_point start = Clock::now();
    ::kill(tool->Pid(), SIGINT);
    std::this_thread::sleep_for(Millis(300));
    ::kill(tool->Pid(), SIGINT);
    EXPECT_EQ(tool->Wait().nExit, 128 + SIGINT);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(3));
    EXPECT_FALSE(fs::exists(local.File("x")));
    server.Release();
    server.Finish();
}

}  // namespace
