#include "tests/support/scriptrun.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace TestSupport {
namespace {

constexpr Millis kSlice(20);
constexpr Millis kAfterClient(1000);  // waits of a script whose client has already finished
constexpr Millis kPatience(300);
constexpr Millis kTestLimit(15000);
constexpr std::size_t kChunk = 64U * 1024U;

std::string ErrnoText() {
    return std::strerror(errno);
}

void Replace(std::string& strText, const std::string& strFrom, const std::string& strTo) {
    const std::size_t nAt = strText.find(strFrom);
    if (nAt != std::string::npos) strText.replace(nAt, strFrom.size(), strTo);
}

std::string PortNumbers(unsigned short usPort) {
    return std::to_string(usPort / 256) + "," + std::to_string(usPort % 256);
}

void Flatten(const std::vector<SStep>& from, std::vector<SStep>& to) {
    for (const SStep& step : from) {
        if (step.run) {
            to.push_back(step);
        } else {
            Flatten(step.parts, to);
        }
    }
}

std::vector<SStep> Flattened(const std::vector<SStep>& script) {
    std::vector<SStep> steps;
    Flatten(script, steps);
    return steps;
}

// What a step sends goes out as a piece of its own.
void NoDelay(int fd) {
    const int nOn = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
}

}  // namespace

std::string Visible(const std::string& strBytes) {
    constexpr std::size_t kMost = 300;
    std::string strShown;
    for (const char c : strBytes.substr(0, kMost)) {
        if (c == '\r') {
            strShown += "\\r";
        } else if (c == '\n') {
            strShown += "\\n";
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02x", static_cast<unsigned char>(c));
            strShown += hex;
        } else {
            strShown += c;
        }
    }
    if (strBytes.size() > kMost) strShown += "... (" + std::to_string(strBytes.size()) + " bytes)";
    return strShown;
}

CScriptRun::CScriptRun(const std::vector<SStep>& script)
    : m_script(Flattened(script)), m_listener(BindLoopback()), m_usPort(PortOf(m_listener.Get())) {
    if (m_script.empty() || !m_script.front().bBeforeListening) Listen();
}

CScriptRun::~CScriptRun() {
    Finish();
}

void CScriptRun::Start() {
    m_thread = std::thread([this] { Play(); });
}

void CScriptRun::Play() {
    for (const SStep& step : m_script) {
        try {
            step.run(*this);
        } catch (const std::exception& failure) {
            const std::lock_guard<std::mutex> guard(m_lock);
            m_strFailure = "at " + step.strName + ": " + failure.what();
            break;
        }
    }
    const std::lock_guard<std::mutex> guard(m_lock);
    if (m_strFailure.empty()) return;
    m_data.Close();
    m_dataListener.Close();
    m_control.Close();
    m_listener.Close();
}

std::string CScriptRun::Finish() {
    m_bClientDone = true;
    m_changed.notify_all();
    if (!m_thread.joinable()) return m_strOutcome;
    m_thread.join();
    const std::string strWrong = m_strFailure.empty() ? Unexpected() : m_strFailure;
    if (!strWrong.empty()) m_strOutcome = Report(strWrong);
    return m_strOutcome;
}

// The script is over and so is the client: whatever is still to be had was not in the script.
std::string CScriptRun::Unexpected() {
    char bytes[4096];
    while (m_control.IsOpen()) {
        const ssize_t nGot = ::recv(m_control.Get(), bytes, sizeof bytes, MSG_DONTWAIT);
        if (nGot <= 0) break;
        m_strInput.append(bytes, static_cast<std::size_t>(nGot));
    }
    if (!m_strInput.empty()) {
        RecordCommand(m_strInput);
        return "after the last step the client sent: " + Visible(std::exchange(m_strInput, ""));
    }
    if (CHandle(::accept(m_listener.Get(), nullptr, nullptr)).IsOpen())
        return "the client made a connection more than the script has";
    return "";
}

std::string CScriptRun::Report(const std::string& strWhat) const {
    const std::lock_guard<std::mutex> guard(m_lock);
    std::string strReport = "script failed " + strWhat + "\ndialogue:";
    for (const std::string& strLine : m_dialogue)
        strReport += "\n    " + strLine;
    return strReport;
}

void CScriptRun::WaitUntilHeld() {
    std::unique_lock<std::mutex> guard(m_lock);
    const int nWanted = m_nReleases + 1;
    const bool bHeld = m_changed.wait_for(
        guard, kTestLimit, [&] { return m_nHolds >= nWanted || !m_strFailure.empty(); });
    if (!bHeld) throw CScriptFailure("the script did not come to its Hold()");
}

void CScriptRun::Release() {
    const std::lock_guard<std::mutex> guard(m_lock);
    ++m_nReleases;
    m_changed.notify_all();
}

std::vector<std::string> CScriptRun::Commands() const {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_commands;
}

std::vector<std::string> CScriptRun::Uploads() const {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_uploads;
}

void CScriptRun::Note(const std::string& strLine) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_dialogue.push_back(strLine);
}

void CScriptRun::RecordCommand(const std::string& strCommand) {
    Note("client: " + Visible(strCommand));
    const std::lock_guard<std::mutex> guard(m_lock);
    m_commands.push_back(strCommand);
}

bool CScriptRun::WaitForInput(int fd, Millis limit) const {
    const Clock::time_point start = Clock::now();
    Clock::time_point clientDone = Clock::time_point::max();
    while (!WaitReadable(fd, kSlice)) {
        const Clock::time_point now = Clock::now();
        if (m_bClientDone && clientDone == Clock::time_point::max()) clientDone = now;
        if (now - start >= limit) return false;
        if (clientDone != Clock::time_point::max() && now - clientDone >= kAfterClient)
            return false;
    }
    return true;
}

void CScriptRun::Sleep(Millis time) const {
    std::this_thread::sleep_for(time);
}

void CScriptRun::Hold() {
    std::unique_lock<std::mutex> guard(m_lock);
    ++m_nHolds;
    m_changed.notify_all();
    const int nWanted = m_nHolds;
    const bool bReleased =
        m_changed.wait_for(guard, m_limit, [&] { return m_nReleases >= nWanted || m_bClientDone; });
    if (!bReleased || m_nReleases < nWanted) throw CScriptFailure("the test did not release it");
}

void CScriptRun::Listen() {
    StartListening(m_listener.Get());
    ::fcntl(m_listener.Get(), F_SETFL, O_NONBLOCK);  // Unexpected() only looks
}

CHandle CScriptRun::AcceptFrom(int fd, const char* pszWhat) const {
    if (!WaitForInput(fd, m_limit))
        throw CScriptFailure(std::string("the client made no ") + pszWhat + " in time");
    CHandle accepted(::accept4(fd, nullptr, nullptr, SOCK_CLOEXEC));
    if (!accepted.IsOpen())
        throw CScriptFailure(std::string("accepting the ") + pszWhat + ": " + ErrnoText());
    NoDelay(accepted.Get());
    return accepted;
}

void CScriptRun::AcceptControl() {
    if (m_control.IsOpen()) CloseControl(false);
    m_control = AcceptFrom(m_listener.Get(), "control connection");
    ++m_nConnections;
    Note("client: (connects)");
}

int CScriptRun::Control() {
    if (!m_control.IsOpen()) AcceptControl();
    return m_control.Get();
}

// errno tells why it is not all of them; EAGAIN: the peer does not read.
std::size_t CScriptRun::SendSome(int fd, const std::string& strBytes, Millis patience) const {
    std::size_t nDone = 0;
    while (nDone < strBytes.size()) {
        const ssize_t nSent = ::send(fd, strBytes.data() + nDone, strBytes.size() - nDone,
                                     MSG_NOSIGNAL | MSG_DONTWAIT);
        if (nSent > 0) {
            nDone += static_cast<std::size_t>(nSent);
        } else if (errno != EAGAIN || !WaitWritable(fd, patience)) {
            break;
        }
    }
    return nDone;
}

void CScriptRun::Say(const std::string& strText) {
    const int fd = Control();
    Note("server: " + Visible(strText));
    if (SendSome(fd, strText, m_limit) < strText.size())
        throw CScriptFailure("the reply could not be sent: " + ErrnoText());
}

void CScriptRun::SayAsFarAsTaken(const std::string& strText) {
    const int fd = Control();
    const std::size_t nTaken = SendSome(fd, strText, kPatience);
    Note("server: " + Visible(strText.substr(0, nTaken)));
}

// Adds what the client sent to the input.
void CScriptRun::FillInput(const char* pszWaitedFor) {
    const int fd = Control();
    char bytes[4096];
    const std::string strWhat = std::string("expected ") + pszWaitedFor;
    const std::string strHave = ", input so far: \"" + Visible(m_strInput) + "\"";
    if (!WaitForInput(fd, m_limit))
        throw CScriptFailure(strWhat + " in time, nothing came" + strHave);
    const ssize_t nGot = ::recv(fd, bytes, sizeof bytes, MSG_DONTWAIT);
    if (nGot > 0) {
        m_strInput.append(bytes, static_cast<std::size_t>(nGot));
        return;
    }
    throw CScriptFailure(strWhat + ", the client ended the connection" + strHave);
}

std::string CScriptRun::ReadCommand() {
    std::size_t nEnd = 0;
    while ((nEnd = m_strInput.find('\n')) == std::string::npos)
        FillInput("a command");
    return ReadBytes(nEnd + 1);
}

std::string CScriptRun::ReadBytes(std::size_t nBytes) {
    while (m_strInput.size() < nBytes)
        FillInput("more bytes");
    const std::string strRead = m_strInput.substr(0, nBytes);
    m_strInput.erase(0, nBytes);
    RecordCommand(strRead);
    return strRead;
}

void CScriptRun::ExpectSilence(Millis time) {
    const int fd = Control();
    if (m_strInput.empty() && !WaitReadable(fd, time)) return;
    if (m_strInput.empty()) FillInput("silence");
    throw CScriptFailure("expected silence, the client sent: " + Visible(m_strInput));
}

void CScriptRun::ExpectClose() {
    const int fd = Control();
    char bytes[4096];
    if (m_strInput.empty()) {
        if (!WaitForInput(fd, m_limit))
            throw CScriptFailure("expected the client to close, it did not in time");
        const ssize_t nGot = ::recv(fd, bytes, sizeof bytes, MSG_DONTWAIT);
        if (nGot <= 0) {
            Note("client: (closes)");
            m_control.Close();
            return;
        }
        m_strInput.append(bytes, static_cast<std::size_t>(nGot));
    }
    throw CScriptFailure("expected the client to close, it sent: " + Visible(m_strInput));
}

void CScriptRun::CloseControl(bool bReset) {
    Control();
    Note(bReset ? "server: (resets)" : "server: (closes)");
    m_strInput.clear();
    if (bReset) {
        m_control.Reset();
    } else {
        m_control.Close();
    }
}

void CScriptRun::SayPassive(std::string strText, EDataPort eKind) {
    m_data.Close();
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_bUploadOpen = false;
    }
    m_pSilentPort.reset();
    m_dataListener.Close();
    unsigned short usPort = 0;
    if (eKind == EDataPort::Silent) {
        m_pSilentPort = std::make_unique<SilentPort>();
        usPort = m_pSilentPort->Port();
    } else {
        m_dataListener = BindLoopback();
        usPort = PortOf(m_dataListener.Get());
        if (eKind == EDataPort::Listening) StartListening(m_dataListener.Get());
    }
    Replace(strText, "%a", "127,0,0,1");
    Replace(strText, "%p", PortNumbers(usPort));
    Say(strText);
}

void CScriptRun::RememberPort(const std::string& strCommand) {
    unsigned int uHigh = 0;
    unsigned int uLow = 0;
    int nUsed = 0;
    const int nFields =
        std::sscanf(strCommand.c_str(), "PORT 127,0,0,1,%3u,%3u\r\n%n", &uHigh, &uLow, &nUsed);
    if (nFields != 2 || static_cast<std::size_t>(nUsed) != strCommand.size() || uHigh > 255 ||
        uLow > 255) {
        throw CScriptFailure("expected PORT with 127.0.0.1, the client sent: " +
                             Visible(strCommand));
    }
    m_usClientPort = static_cast<unsigned short>(uHigh * 256 + uLow);
}

void CScriptRun::ConnectData() {
    m_data = ConnectLoopback(m_usClientPort);
    if (!m_data.IsOpen())
        throw CScriptFailure("connecting to the client's port " + std::to_string(m_usClientPort) +
                             ": " + ErrnoText());
    NoDelay(m_data.Get());
    const std::lock_guard<std::mutex> guard(m_lock);
    m_bUploadOpen = false;
}

void CScriptRun::AcceptData() {
    if (!m_dataListener.IsOpen()) throw CScriptFailure("the script announced no data port");
    m_data = AcceptFrom(m_dataListener.Get(), "data connection");
}

int CScriptRun::Data() {
    if (!m_data.IsOpen()) AcceptData();
    return m_data.Get();
}

bool CScriptRun::SendData(const std::string& strBytes) {
    const int fd = Data();
    if (SendSome(fd, strBytes, m_limit) == strBytes.size()) return true;
    if (errno == EPIPE || errno == ECONNRESET) return false;
    throw CScriptFailure("data could not be sent: " + ErrnoText());
}

void CScriptRun::ReceiveData(std::size_t nMost, bool bToEnd) {
    const int fd = Data();
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        if (!m_bUploadOpen) m_uploads.emplace_back();
        m_bUploadOpen = true;
    }
    std::vector<char> bytes(kChunk);
    std::size_t nTotal = 0;
    while (nTotal < nMost) {
        if (!WaitForInput(fd, m_limit)) throw CScriptFailure("expected data in time, nothing came");
        const ssize_t nGot =
            ::recv(fd, bytes.data(), std::min(bytes.size(), nMost - nTotal), MSG_DONTWAIT);
        if (nGot == 0 && bToEnd) return;
        if (nGot <= 0) throw CScriptFailure("the client broke the data connection off");
        nTotal += static_cast<std::size_t>(nGot);
        const std::lock_guard<std::mutex> guard(m_lock);
        m_uploads.back().append(bytes.data(), static_cast<std::size_t>(nGot));
    }
}

void CScriptRun::ExpectDataClosed() {
    const int fd = Data();
    std::vector<char> bytes(kChunk);
    do {
        if (!WaitForInput(fd, m_limit))
            throw CScriptFailure("expected the client to close the data connection in time");
    } while (::recv(fd, bytes.data(), bytes.size(), MSG_DONTWAIT) > 0);
    CloseData(false);
}

void CScriptRun::CloseData(bool bReset) {
    Data();
    if (bReset) {
        m_data.Reset();
    } else {
        m_data.Close();
    }
    m_dataListener.Close();
    const std::lock_guard<std::mutex> guard(m_lock);
    m_bUploadOpen = false;
}

}  // namespace TestSupport
