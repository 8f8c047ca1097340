#include "tests/load/ftpworker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "include/ftpresult.h"
#include "tests/support/tempdir.h"

namespace LoadTest {
namespace {

namespace fs = std::filesystem;
using namespace RVN_FTP_CLIENT;
using TestSupport::Clock;
using TestSupport::Millis;

// Of setParam. While the server is down a refused log-in waits all of its attempts: few seconds.
struct SParam {
    unsigned short usTimeout;
    unsigned short usRetries;
    unsigned short usRetryTimeout;

    constexpr Millis Wait() const {
        return Millis(1000 * (usTimeout + usRetries * usRetryTimeout));
    }
};
constexpr SParam kLoginParam{1, 1, 1};
constexpr SParam kTransferParam{4, 1, 1};

constexpr Millis kDataWait{5000};  // of the data connection, and of silence on it
constexpr Millis kBusy{10'000};    // for moving the bytes, on a machine with other work

// Connecting, the greeting twice, USER, PASS, PWD.
constexpr SOperation kLogin{"log-in", 6 * kLoginParam.Wait() + kBusy, kLoginParam.Wait()};
// TYPE, CWD, PASV, the data connection, RETR or STOR, silence, the closing reply.
constexpr Millis kTransferBound = 5 * kTransferParam.Wait() + 2 * kDataWait + kBusy;
constexpr SOperation kGet{"get", kTransferBound, kTransferParam.Wait()};
constexpr SOperation kPut{"put", kTransferBound, kTransferParam.Wait()};
// What failed before is the reason why this does.
constexpr SOperation kClose{"close", kTransferParam.Wait() + kBusy, Millis(0)};

constexpr const char* kOld = "what was there before";

// What a session may be told when its connection or its server is gone.
bool IsInterruption(unsigned int uResult) {
    constexpr unsigned int kInterruptions[] = {
        FTP_CONNECT_FAILED, FTP_SEND_FAILED,   FTP_NO_REPLY,    FTP_REPLY_421,
        FTP_REPLY_425,      FTP_REPLY_426,     FTP_DATA_BROKEN, FTP_OUT_OF_STEP,
        FTP_CLOSE_FAILED,   FTP_UNKNOWN_REPLY,  // "500 OOPS: child died"
    };
    return std::count(std::begin(kInterruptions), std::end(kInterruptions), uResult) != 0;
}

}  // namespace

CFtpWorker::CFtpWorker(const SFtpScene& scene, int nWorker, std::uint64_t ullSeed)
    : m_scene(scene),
      m_target(scene.local / ("got" + std::to_string(nWorker))),
      m_strPrefix("up/s" + std::to_string(nWorker) + "-"),
      m_random(ullSeed + static_cast<std::uint64_t>(nWorker)) {}

void CFtpWorker::Work(Clock::time_point until) {
    while (Clock::now() < until) {
        if (m_pClient == nullptr) {
            LogIn();
        } else {
            ChooseOptions();
            Between(m_random, 0, 1) == 0 ? Retrieve() : Store();
        }
    }
    if (m_pClient != nullptr) LogOut();
    fs::remove(m_target);
}

void CFtpWorker::LogIn() {
    const bool bRelay = Between(m_random, 0, 1) == 0;
    m_uEpoch = m_scene.server.Epoch();
    const SFtpAccount account = m_scene.server.Get();
    m_pClient =
        std::make_unique<CFtpClient>("127.0.0.1", bRelay ? m_scene.usRelayPort : account.usPort,
                                     account.strUser, TQ_UTIL::CcipheString(account.strPassword));
    m_pClient->setParam(kLoginParam.usTimeout, kLoginParam.usRetries, kLoginParam.usRetryTimeout);
    const unsigned int uResult = Timed(kLogin, [this] { return m_pClient->Login(); });
    if (uResult == FTP_OK) {
        ++m_tally.ullLogins;
        m_pClient->setParam(kTransferParam.usTimeout, kTransferParam.usRetries,
                            kTransferParam.usRetryTimeout);
        return;
    }
    After(uResult);
    std::this_thread::sleep_for(Millis(20));  // the relay refuses at once
}

void CFtpWorker::LogOut() {
    Timed(kClose, [this] { return m_pClient->Close(); });
    m_pClient.reset();
}

unsigned int CFtpWorker::Timed(const SOperation& operation,
                               const std::function<unsigned int()>& call) {
    const Clock::time_point start = Clock::now();
    const unsigned int uResult = call();
    const bool bStood = m_scene.server.HasStoodSince(m_uEpoch);
    Note(m_tally, operation, start, uResult, FtpResultText(uResult), bStood);
    return uResult;
}

// A refused log-in may be that of a stranger that took over the port of a server that is gone.
void CFtpWorker::After(unsigned int uResult) {
    if (uResult == FTP_OK) return;
    EXPECT_TRUE(IsInterruption(uResult) || !m_scene.server.HasStoodSince(m_uEpoch))
        << std::hex << uResult << " (" << FtpResultText(uResult) << ")";
    LogOut();
}

void CFtpWorker::ChooseOptions() {
    m_options.bVerify = Between(m_random, 0, 2) != 0;
    m_options.uBlockSize = Between(m_random, 0, 1) == 0 ? 1024 : 65536;
    m_options.progress = nullptr;
    if (Between(m_random, 0, 3) == 0) {  // a slow one, to be met in its course
        const int nMs = m_options.uBlockSize > 1024 ? 5 : 0;
        m_options.progress = [nMs](unsigned long long ullMoved) {
            if (nMs > 0 || ullMoved % 65536 == 0) std::this_thread::sleep_for(Millis(nMs + 1));
            return true;
        };
    }
    m_pClient->setTransferOptions(m_options);
}

void CFtpWorker::Retrieve() {
    const auto uFile = static_cast<std::size_t>(
        Between(m_random, 0, static_cast<int>(m_scene.contents.Count()) - 1));
    const bool bOld = Between(m_random, 0, 1) == 0;
    fs::remove(m_target);
    if (bOld) TestSupport::WriteFile(m_target, kOld);
    const std::string strRemote = "files/" + CContents::Name(uFile);
    const unsigned int uResult =
        Timed(kGet, [&] { return m_pClient->GetOneFile(strRemote, m_target, false); });
    CheckRetrieved(uResult, m_scene.contents.Bytes(uFile), bOld);
    After(uResult);
}

void CFtpWorker::CheckRetrieved(unsigned int uResult, const std::string& strContent, bool bOld) {
    std::size_t uBytes = 0;
    EXPECT_FALSE(fs::exists(m_target.string() + ".part"));
    if (uResult == FTP_OK) {
        EXPECT_TRUE(HoldsBeginning(m_target, strContent, uBytes));
        Count(uBytes, strContent.size());
    } else if (!m_options.bVerify) {
        return;  // whether it has been touched depends on how far the transfer came
    } else if (bOld) {
        EXPECT_TRUE(HoldsBeginning(m_target, kOld, uBytes));
        EXPECT_EQ(uBytes, std::string(kOld).size()) << "a failed retrieve changed its target";
    } else {
        EXPECT_FALSE(fs::exists(m_target)) << "a failed retrieve left its target";
    }
}

void CFtpWorker::Store() {
    const auto uFile = static_cast<std::size_t>(
        Between(m_random, 0, static_cast<int>(m_scene.contents.Count()) - 1));
    // Never twice the same name: a process of a session that was reset may still be writing.
    const std::string strName = m_strPrefix + std::to_string(++m_ullStores);
    const unsigned int uResult = Timed(
        kPut, [&] { return m_pClient->PutOneFileToFile(m_scene.contents.File(uFile), strName); });
    CheckStored(uResult, strName, m_scene.contents.Bytes(uFile));
    After(uResult);
}

void CFtpWorker::CheckStored(unsigned int uResult, const std::string& strName,
                             const std::string& strContent) {
    const std::shared_lock<std::shared_mutex> lock(m_scene.server.Files());
    if (uResult == FTP_OK) {
        std::size_t uBytes = 0;
        EXPECT_TRUE(HoldsBeginning(m_scene.root / strName, strContent, uBytes));
        Count(uBytes, strContent.size());
    }
    fs::remove(m_scene.root / strName);
}

// Of a transfer that returned success.
void CFtpWorker::Count(std::size_t uMoved, std::size_t uWhole) {
    m_tally.ullBytes += uMoved;
    if (m_options.bVerify) {
        EXPECT_EQ(uMoved, uWhole) << "a verified transfer is not whole";
        ++m_tally.ullWhole;
        return;
    }
    ++m_tally.ullClassic;
    if (uMoved != uWhole) ++m_tally.ullBroken;
}

}  // namespace LoadTest
