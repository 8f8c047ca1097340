// Setting SFTP sessions up and taking them down, with each call failing in turn. The wrapper is the
// fake one, whose one session is never freed: a set-up that fails does not give its session back.
//
// QEL_FAIL and QEL_FAIL_N in the environment choose one failure and one n, see cases.h.

#include <ace/DLL.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <new>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "include/sftpclient.h"
#include "platform/resources.h"
#include "src/sftp/sftpclientreadcfg.h"
#include "tests/failing/allocation.h"
#include "tests/failing/cases.h"
#include "tests/failing/judge.h"
#include "tests/session/descriptors.h"
#include "tests/sftp/fakewrapper.h"
#include "tests/support/sockets.h"
#include "tests/support/tempdir.h"

using namespace FailingTest;
using namespace RVN_FTP_CLIENT;
using namespace TestSupport;
namespace fs = std::filesystem;

// The dynamic loader keeps its list of libraries where the sanitizer does not look; it knows who
// that is by the caller of malloc(), which is ours here.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:ld-linux\n";
}

// The fake wrapper's questions.
int FakeCalled(const char* /*pszOperation*/, const char* /*pszArguments*/) {
    return 0;
}

SFTP_Session_Wrp* FakeSession(SFTP_Session_Wrp* pOwn) {
    return pOwn;
}

namespace {

constexpr unsigned int kDone = 0;
constexpr unsigned int kNull = 1;
constexpr int kMaxMs = 5000;

// The server directory that the library is told of.
class CServerDirectory {
public:
    CServerDirectory() {
        const fs::path library = m_temp.Path() / "vesk/Zelt_3rdTools/lib/libkavo_sftp_wrapper.so";
        const fs::path config = m_temp.Path() / "vesk/PRWWBFrame/prw/qel/conf/sftpAlgorithm.cfg";
        fs::create_directories(library.parent_path());
        fs::create_directories(config.parent_path());
        fs::copy_file(QEL_FAKE_WRAPPER, library);
        WriteFile(config.string(),
                  "Cipher=a cipher with a long name;\na cipher with a long name=1\n"
                  "Mac=sha;\nsha=3\nKeyExchange=curve;group;\ncurve=4\ngroup=5\n"
                  "HostKey=ed;\ned=6\nAuthType=word;key;\nword=7\nkey=8\nCompression=zlib;\n"
                  "zlib=9\n");
        ::setenv("QEL_SERVER_PATH", m_temp.Path().c_str(), 1);
        ::setenv("QEL_LOG_LEVEL", "off", 1);
    }

private:
    TempDir m_temp;
};

// One connection's record, disposed of as the header says.
class CRecord {
public:
    CRecord() : m_pInfo(new StSFTPConnectionInfo) {}
    ~CRecord() {
        if (m_pInfo == nullptr) return;
        if (m_pInfo->pSession != nullptr) {
            CSftpClient::releaseSFTPConnection(m_pInfo);
            return;
        }
        delete m_pInfo->pAceDLL;
        delete m_pInfo;
    }
    CRecord(const CRecord&) = delete;
    CRecord& operator=(const CRecord&) = delete;

    StSFTPConnectionInfo* Get() { return m_pInfo; }
    StSFTPConnectionInfo* Release() { return std::exchange(m_pInfo, nullptr); }

private:
    StSFTPConnectionInfo* m_pInfo;
};

TQ_UTIL::StFTPAccountInfo Account(const char* pszAuthType) {
    TQ_UTIL::StFTPAccountInfo account;
    account.strHost = "a host with a long name";
    account.strUserName = "a user with a long name";
    account.nPort = 22;
    account.strAuthType = pszAuthType;
    account.cipherPassword = TQ_UTIL::CcipheString("a password of some length");
    account.cipherPassphrase = TQ_UTIL::CcipheString("a passphrase of some length");
    account.strPrivateKeyFile = "/a/key/file/with/a/long/name";
    account.strHostKeyFormat = "OPENSSH";
    account.strHostKey = "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5";
    return account;
}

unsigned int Result(const void* pResult) {
    return pResult == nullptr ? kNull : kDone;
}

struct SOperation {
    const char* pszName;
    const char* pszAuthType;
    bool bPrepared;  // with a session set up
    unsigned int (*pfnRun)(CRecord& record, const TQ_UTIL::StFTPAccountInfo& account);
};

unsigned int SetUp(CRecord& record, const TQ_UTIL::StFTPAccountInfo& account) {
    return Result(CSftpClient::getSFTPSession(record.Get(), account));
}

const std::vector<SOperation> kOperations = {
    {"load", "", false,
     [](CRecord& record, const TQ_UTIL::StFTPAccountInfo&) {
         record.Get()->pAceDLL = CSftpClient::loadSftpDll();
         return Result(record.Get()->pAceDLL);
     }},
    {"object", "", false,
     [](CRecord& record, const TQ_UTIL::StFTPAccountInfo&) {
         return Result(CSftpClient::getSFTPClientObject(record.Get()));
     }},
    {"session_password", "", false, SetUp},
    {"session_key", "pubkey", false, SetUp},
    {"release", "", true,
     [](CRecord& record, const TQ_UTIL::StFTPAccountInfo&) {
         return static_cast<unsigned int>(CSftpClient::releaseSFTPConnection(record.Release()));
     }},
};

void Watched(const SOperation& operation, CRecord& record, const TQ_UTIL::StFTPAccountInfo& account,
             const SFailure* pFailure, long nAt, SOutcome& outcome) {
    const auto start = Clock::now();
    CWatch watch(pFailure, nAt);
    try {
        outcome.uCode = operation.pfnRun(record, account);
    } catch (const std::bad_alloc&) {
        outcome.eEnd = EEnd::BadAlloc;
    } catch (...) {
        outcome.eEnd = EEnd::OtherException;
    }
    watch.End();
    outcome.nElapsedMs = static_cast<int>(MsSince(start));
    outcome.counts = watch.Counts();
}

// One connection, with the configuration read anew.
SOutcome RunOnce(const SOperation& operation, const SFailure* pFailure, long nAt) {
    SOutcome outcome;
    const TQ_UTIL::StFTPAccountInfo account = Account(operation.pszAuthType);
    const std::set<int> before = SessionTest::OpenDescriptors();
    {
        const CBlockList blocks;
        {
            CRecord record;
            if (operation.bPrepared && SetUp(record, account) != kDone)
                outcome.Problem("no session to release");
            Watched(operation, record, account, pFailure, nAt, outcome);
        }
        CSftpClientConfManager::Release();
        const SBlocks left = blocks.Live();
        if (left.nBlocks != 0)
            outcome.Problem(std::to_string(left.nBlocks) + " blocks of " +
                            std::to_string(left.nBytes) + " bytes are not freed");
    }
    if (SessionTest::OpenDescriptors() != before) outcome.Problem("descriptors are left open");
    return outcome;
}

SOutcome RunAndRunAgain(const SOperation& operation, const SFailure* pFailure, long nAt) {
    SOutcome outcome = RunOnce(operation, pFailure, nAt);
    const SOutcome next = RunOnce(operation, nullptr, 0);
    if (next.eEnd != EEnd::Returned || next.uCode != kDone)
        outcome.Problem("the next connection is not set up");
    if (next.szProblem[0] != '\0')
        outcome.Problem(std::string("in the next connection: ") + next.szProblem);
    return outcome;
}

// The library is opened twice, so that one failure to open it may be made up for.
SAllowed Allowed(const SFailure& failure) {
    switch (failure.eCall) {
        case ECall::Allocate:
            return {{kDone, kNull}, true};
        case ECall::Load:
            return {{kDone, kNull}};
        case ECall::Open:
        case ECall::Read:
        case ECall::Symbol:
            return {{kNull}};
        case ECall::Close:
            return {{kDone}};
        default:
            return {};
    }
}

std::ostream& operator<<(std::ostream& stream, const SOperation& operation) {
    return stream << operation.pszName;
}

class SftpOperation : public testing::TestWithParam<SOperation> {
    CServerDirectory m_directory;
};

TEST_P(SftpOperation, EndsWellWhateverCallFails) {
    // Before, for what is made at first use belongs to the process; the dynamic loader's list of
    // libraries grows with the second.
    for (int i = 0; i < 4; ++i)
        RunOnce(GetParam(), nullptr, 0);
    const SOutcome whole = RunOnce(GetParam(), nullptr, 0);
    ASSERT_STREQ(whole.szProblem, "");
    ASSERT_EQ(whole.uCode, kDone);
    ExpectAllowed(RunInProcesses(CasesOf(whole.counts),
                                 [](const SCase& which) {
                                     return RunAndRunAgain(GetParam(), which.pFailure, which.nAt);
                                 }),
                  std::string("failing_sftp_test --gtest_filter=*/") + GetParam().pszName, kMaxMs,
                  Allowed);
}

INSTANTIATE_TEST_SUITE_P(Each, SftpOperation, testing::ValuesIn(kOperations),
                         [](const testing::TestParamInfo<SOperation>& parameter) {
                             return std::string(parameter.param.pszName);
                         });

// ---- The resource files below it ----

constexpr int kResources = 20;

std::string ResourceKey(int i) {
    return "a key with a long name " + std::to_string(i);
}

SOutcome LoadResources(const std::string& strFile, const SFailure* pFailure, long nAt) {
    SOutcome outcome;
    {
        CWatch watch(pFailure, nAt);
        try {
            outcome.uCode = ZeltAddResFileWithAbsolute(strFile) != 0 ? kDone : kNull;
        } catch (const std::bad_alloc&) {
            outcome.eEnd = EEnd::BadAlloc;
        }
        watch.End();
        outcome.counts = watch.Counts();
    }
    for (int i = 0; i < kResources; ++i) {
        const char* pszValue = ZeltGetResString(ResourceKey(i));
        if (pszValue != nullptr && std::string(pszValue) != "the value of " + ResourceKey(i))
            outcome.Problem("a wrong value");
    }
    return outcome;
}

TEST(Resources, AreThereOrNotWhateverCallFails) {
    const TempDir temp;
    const std::string strFile = temp.File("some.cfg");
    std::string strText;
    for (int i = 0; i < kResources; ++i)
        strText += ResourceKey(i) + "=the value of " + ResourceKey(i) + "\n";
    WriteFile(strFile, strText);
    const std::vector<SResult> counted = RunInProcesses(
        {{nullptr, 0}}, [&](const SCase&) { return LoadResources(strFile, nullptr, 0); });
    ASSERT_EQ(counted[0].strEnd, "");
    ExpectAllowed(RunInProcesses(CasesOf(counted[0].outcome.counts),
                                 [&](const SCase& which) {
                                     return LoadResources(strFile, which.pFailure, which.nAt);
                                 }),
                  "failing_sftp_test --gtest_filter=Resources.*", kMaxMs, Allowed);
}

}  // namespace
