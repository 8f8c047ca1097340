#include "tests/load/sftpworker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "tests/support/tempdir.h"

namespace LoadTest {
namespace {

namespace fs = std::filesystem;
using TestSupport::Clock;
using TestSupport::Millis;

constexpr unsigned int kTimeout = 4;         // seconds, of setTimeout
constexpr unsigned int kConnectTimeout = 2;  // seconds, of setConnectTimeout
constexpr Millis kWait{1000 * kTimeout};
constexpr Millis kBusy{10'000};  // for moving the bytes, on a machine with other work

// Reaching the port; greeting, key exchange, four answers of the log-in; channel, subsystem,
// version.
constexpr SOperation kConnect{"connect", Millis(1000 * kConnectTimeout) + 9 * kWait + kBusy,
                              Millis(1000 * kConnectTimeout)};
// Opening, the length, silence among the bytes, closing.
constexpr SOperation kGet{"get", 4 * kWait + kBusy, kWait};
constexpr SOperation kPut{"put", 4 * kWait + kBusy, kWait};

constexpr const char* kOld = "what was there before";

// What a session may be told when its connection or its server is gone. A server that hangs up
// during the log-in has refused it.
bool IsInterruption(int nResult) {
    constexpr int kInterruptions[] = {SFTP_ERR_CONNECT, SFTP_ERR_AUTH, SFTP_ERR_LOST,
                                      SFTP_ERR_TIMEOUT};
    return std::count(std::begin(kInterruptions), std::end(kInterruptions), nResult) != 0;
}

const char* NameOf(int nResult) {
    switch (nResult) {
        case SFTP_OK:
            return "success";
        case SFTP_ERR_CONNECT:
            return "no connection";
        case SFTP_ERR_HOST_KEY:
            return "another server's key";
        case SFTP_ERR_AUTH:
            return "log-in refused";
        case SFTP_ERR_LOST:
            return "connection lost";
        case SFTP_ERR_TIMEOUT:
            return "no answer in time";
        case SFTP_ERR_NO_SUCH_PATH:
            return "no such path";
        default:
            return "another failure";
    }
}

SFTP_String Text(const std::string& strText) {
    return SFTP_String(strText.c_str());
}

}  // namespace

CSftpWorker::CSftpWorker(const SSftpScene& scene, int nWorker, std::uint64_t ullSeed)
    : m_scene(scene),
      m_nWorker(nWorker),
      m_target(scene.local / ("got" + std::to_string(nWorker))),
      m_random(ullSeed + static_cast<std::uint64_t>(nWorker)) {}

void CSftpWorker::Work(Clock::time_point until) {
    while (Clock::now() < until)
        m_pSession == nullptr ? Connect() : Move();
    m_pSession.reset();
    fs::remove(m_target);
}

void CSftpWorker::Connect() {
    m_uEpoch = m_scene.server.Epoch();
    SSftpAccount there = m_scene.server.Get();
    m_strDirectory = there.strDirectory;
    if (Between(m_random, 0, 1) == 0) there.account.nPort = m_scene.usRelayPort;
    m_pSession = std::make_unique<TestSupport::HostSession>(there.account);
    (*m_pSession)->setTimeout(kTimeout);
    (*m_pSession)->setConnectTimeout(kConnectTimeout);
    if (Succeeded(Timed(kConnect, [this] { return (*m_pSession)->connect(); }))) {
        ++m_tally.ullLogins;
        return;
    }
    std::this_thread::sleep_for(Millis(50));  // while the server is down it refuses at once
}

void CSftpWorker::Move() {
    const auto uFile = static_cast<std::size_t>(
        Between(m_random, 0, static_cast<int>(m_scene.contents.Count()) - 1));
    const std::string& strContent = m_scene.contents.Bytes(uFile);
    const SFTP_String remote = Text(m_strDirectory + "/s" + std::to_string(m_nWorker));
    const SFTP_String source = Text(m_scene.contents.File(uFile));
    if (!Succeeded(Timed(kPut, [&] { return (*m_pSession)->putFile(source, remote, nullptr); })))
        return;
    ++m_tally.ullWhole;
    m_tally.ullBytes += strContent.size();

    const bool bOld = Between(m_random, 0, 1) == 0;
    fs::remove(m_target);
    if (bOld) TestSupport::WriteFile(m_target, kOld);
    const int nResult =
        Timed(kGet, [&] { return (*m_pSession)->getFile(remote, Text(m_target), nullptr); });
    CheckRetrieved(nResult, strContent, bOld);
    Succeeded(nResult);
}

// What comes back is what was stored: both have arrived whole.
void CSftpWorker::CheckRetrieved(int nResult, const std::string& strContent, bool bOld) {
    std::size_t uBytes = 0;
    EXPECT_FALSE(fs::exists(m_target.string() + ".part"));
    if (nResult == SFTP_OK) {
        EXPECT_TRUE(HoldsBeginning(m_target, strContent, uBytes));
        EXPECT_EQ(uBytes, strContent.size()) << "a transfer is not whole";
        ++m_tally.ullWhole;
        m_tally.ullBytes += uBytes;
    } else if (bOld) {
        EXPECT_TRUE(HoldsBeginning(m_target, kOld, uBytes));
        EXPECT_EQ(uBytes, std::string(kOld).size()) << "a failed retrieve changed its target";
    } else {
        EXPECT_FALSE(fs::exists(m_target)) << "a failed retrieve left its target";
    }
}

int CSftpWorker::Timed(const SOperation& operation, const std::function<int()>& call) {
    const Clock::time_point start = Clock::now();
    const int nResult = call();
    const bool bStood = m_scene.server.HasStoodSince(m_uEpoch);
    Note(m_tally, operation, start, static_cast<unsigned int>(nResult), NameOf(nResult), bStood);
    return nResult;
}

// Releases the session otherwise.
bool CSftpWorker::Succeeded(int nResult) {
    if (nResult == SFTP_OK) return true;
    EXPECT_TRUE(IsInterruption(nResult) || !m_scene.server.HasStoodSince(m_uEpoch))
        << m_pSession->Error();
    m_pSession.reset();
    return false;
}

}  // namespace LoadTest
