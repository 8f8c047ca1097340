// From an empty record to a session with its algorithms, and every way this can end.

#include <ace/DLL.h>
#include <ace/OS_NS_Thread.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Static_Object_Lock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "include/sftpclient.h"
#include "src/sftp/sftpclientreadcfg.h"
#include "tests/sftp/fakeserver.h"
#include "tests/sftp/fakewrapper.h"
#include "tests/support/recordinglog.h"

namespace {

// The lock under which the configuration is made cannot be had.
bool g_bStaticLockFails = false;

}  // namespace

int ACE_OS::mutex_lock(ACE_mutex_t* m) {
    if (g_bStaticLockFails && m == &ACE_Static_Object_Lock::instance()->lock()) return -1;
    return pthread_mutex_lock(m) == 0 ? 0 : -1;
}

namespace {

using RVN_FTP_CLIENT::CSftpClient;
using RVN_FTP_CLIENT::StSFTPConnectionInfo;
using TestSftp::CFake;
using TestSftp::CFakeServer;
using TestSupport::RecordingLog;
using Texts = std::vector<std::string>;

void ExpectSetupInfo(const TestSupport::SLogEntry& entry, const std::string& strText) {
    EXPECT_EQ(entry.strText, "[FTPCLIENT]" + strText);
    EXPECT_EQ(entry.strFile, "sftpclient");
    EXPECT_EQ(entry.strFunction, "getSFTPClientObject");
    EXPECT_TRUE(entry.bFiltered);
}

const Texts kUpToSession = {"SFTP_initLibrary", "SFTP_getGlobalCTX", "setGlobalOption 15",
                            "SFTP_getNewSession"};
const Texts kLists = {"setCipherList 1 2", "setMacList 3",     "setKeyExchangeList 4 5",
                      "setHostKeyList 6",  "setCompression 9", "setAuthTypeList 7 8"};

Texts First(Texts texts, std::size_t nCount) {
    texts.resize(nCount);
    return texts;
}

Texts operator+(Texts left, const Texts& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// The calls into the wrapper library, without what is recorded around them.
Texts WrapperCalls() {
    Texts calls = CFake::Instance().Calls();
    const auto isAround = [](const std::string& strCall) {
        return strCall == "ACE::init" || strCall == "dlerror" || strCall[0] == '(';
    };
    calls.erase(std::remove_if(calls.begin(), calls.end(), isAround), calls.end());
    return calls;
}

TEST(SftpClientObject, BindsInitialisesAndHandsOverTheListsInOrder) {
    const CFakeServer server;
    StSFTPConnectionInfo info;
    ASSERT_NE(CSftpClient::getSFTPClientObject(&info), nullptr);
    EXPECT_EQ(WrapperCalls(), kUpToSession + kLists);
    EXPECT_EQ(RecordingLog::All().size(), 0U);

    ASSERT_NE(info.pAceDLL, nullptr);
    const auto address = [&info](const char* pszName) { return info.pAceDLL->symbol(pszName); };
    EXPECT_EQ(reinterpret_cast<void*>(info.pfnFiniLibrary), address("SFTP_finiLibrary"));
    EXPECT_EQ(reinterpret_cast<void*>(info.pfnFreeSession), address("SFTP_freeSession"));
    EXPECT_EQ(reinterpret_cast<void*>(info.pfnGetLastError), address("SFTP_getLastError"));
    EXPECT_EQ(reinterpret_cast<void*>(info.pfnGetErrorDesc), address("SFTP_getErrorDesc"));
    EXPECT_EQ(info.pSession, nullptr);
    EXPECT_EQ(info.pSessionCB, nullptr);

    // One block for each list, of its length, and all of them free again.
    EXPECT_EQ(CFake::Instance().nAllocations, 5);
    EXPECT_EQ(CFake::Instance().uLastSize, 2 * sizeof(int));
    EXPECT_EQ(CFake::Instance().nLiveBlocks, 0);
    delete info.pAceDLL;
}

TEST(SftpClientObject, HandsOverEveryIdentifierOfALongList) {
    CFakeServer server;
    std::string strNames;
    std::string strEntries;
    std::string strExpected = "setCipherList";
    for (int i = 0; i < 100; ++i) {
        const std::string strName = "long" + std::to_string(i);
        strNames += strName + ";";
        strEntries += strName + "=" + std::to_string(i % 10) + "\n";
        strExpected += " " + std::to_string(i % 10);
    }
    server.WriteConfig(std::string(TestSftp::kGoodConfig) + "Cipher=" + strNames + "\n" +
                       strEntries);
    StSFTPConnectionInfo info;
    ASSERT_NE(CSftpClient::getSFTPClientObject(&info), nullptr);
    EXPECT_EQ(CFake::Instance().Count(strExpected), 1U);
    delete info.pAceDLL;
}

TEST(SftpClientObject, HandsOverTheCompressionAsUnsigned) {
    CFakeServer server;
    server.WriteConfig(std::string(TestSftp::kGoodConfig) + "zlib=FFFFFFFF\n");
    StSFTPConnectionInfo info;
    ASSERT_NE(CSftpClient::getSFTPClientObject(&info), nullptr);
    EXPECT_EQ(CFake::Instance().Count("setCompression 4294967295"), 1U);
    delete info.pAceDLL;
}

TEST(SftpClientObject, IgnoresWhatTheListOperationsReturn) {
    const CFakeServer server;
    for (const char* pszOperation :
         {"setCipherList", "setMacList", "setKeyExchangeList", "setHostKeyList", "setCompression",
          "setAuthTypeList", "setGlobalOption"})
        CFake::Instance().SetResult(pszOperation, -1);
    StSFTPConnectionInfo info;
    EXPECT_NE(CSftpClient::getSFTPClientObject(&info), nullptr);
    EXPECT_EQ(WrapperCalls(), kUpToSession + kLists);
    delete info.pAceDLL;
}

TEST(SftpClientObject, TakesAnythingButMinusOneAsInitialised) {
    for (const int nResult : {0, 1, -2}) {
        const CFakeServer server;
        CFake::Instance().SetResult("SFTP_initLibrary", nResult);
        StSFTPConnectionInfo info;
        EXPECT_NE(CSftpClient::getSFTPClientObject(&info), nullptr) << nResult;
        delete info.pAceDLL;
    }
}

// ---- failures after the library was opened

struct SFailureRow {
    const char* pszWhat;
    const char* pszWithout;  // entry point that the library lacks
    std::function<void()> prepare;
    const char* pszText;
    Texts calls;
    int nBound;  // functions in the record afterwards
};

void FailAllocation(int nWhich) {
    CFake::Instance().nFailAllocation = nWhich;
}

const SFailureRow kFailures[] = {
    {"no initLibrary",
     "SFTP_initLibrary",
     [] {},
     "aceDLL->symbol return NULL.SFTP_initLibrary",
     {},
     0},
    {"initLibrary fails", "nothing", [] { CFake::Instance().SetResult("SFTP_initLibrary", -1); },
     "FP_INIT failed,dllError:SFTP_finiLibrary", First(kUpToSession, 1), 0},
    {"no finiLibrary", "SFTP_finiLibrary", [] {}, "aceDLL->symbol return NULL.SFTP_finiLibrary",
     First(kUpToSession, 1), 0},
    {"no freeSession", "SFTP_freeSession", [] {}, "aceDLL->symbol return NULL.SFTP_freeSession",
     First(kUpToSession, 1), 1},
    {"no getLastError", "SFTP_getLastError", [] {}, "aceDLL->symbol return NULL.SFTP_getLastError",
     First(kUpToSession, 1), 2},
    {"no getErrorDesc", "SFTP_getErrorDesc", [] {}, "aceDLL->symbol return NULL.SFTP_getErrorDesc",
     First(kUpToSession, 1), 3},
    {"no getGlobalCTX", "SFTP_getGlobalCTX", [] {}, "aceDLL->symbol return NULL.SFTP_getGlobalCTX",
     First(kUpToSession, 1), 4},
    {"no getNewSession", "SFTP_getNewSession", [] {},
     "aceDLL->symbol return NULL.SFTP_getNewSession", First(kUpToSession, 3), 4},
    {"no session", "nothing", [] { CFake::Instance().bNullSession = true; },
     "SFTP_Session_Wrp is NULL.", kUpToSession, 4},
    {"no memory for ciphers", "nothing", [] { FailAllocation(1); }, "Cipher arr is NULL.",
     kUpToSession, 4},
    {"no memory for MACs", "nothing", [] { FailAllocation(2); }, "MAC arr is NULL.",
     kUpToSession + First(kLists, 1), 4},
    {"no memory for key exchanges", "nothing", [] { FailAllocation(3); },
     "KeyExchange arr is NULL.", kUpToSession + First(kLists, 2), 4},
    {"no memory for host keys", "nothing", [] { FailAllocation(4); }, "HostKey arr is NULL.",
     kUpToSession + First(kLists, 3), 4},
    {"no memory for auth types", "nothing", [] { FailAllocation(5); }, "AuthType arr is NULL.",
     kUpToSession + First(kLists, 5), 4},
};

void ExpectAbandoned(const SFailureRow& row, const char* pszLoaderError) {
    SCOPED_TRACE(row.pszWhat);
    const CFakeServer server(row.pszWithout);
    row.prepare();
    CFake::Instance().FakeLoaderError(pszLoaderError);
    StSFTPConnectionInfo info;
    EXPECT_EQ(CSftpClient::getSFTPClientObject(&info), nullptr);

    EXPECT_EQ(info.pAceDLL, nullptr);
    EXPECT_EQ(WrapperCalls(), row.calls);  // above all: nothing is finished or freed
    const bool bound[] = {info.pfnFiniLibrary != nullptr, info.pfnFreeSession != nullptr,
                          info.pfnGetLastError != nullptr, info.pfnGetErrorDesc != nullptr};
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(bound[i], i < row.nBound) << "function " << i;
    EXPECT_EQ(info.pSession, nullptr);
    EXPECT_EQ(info.pSessionCB, nullptr);
    EXPECT_EQ(CFake::Instance().nLiveBlocks, 0);

    EXPECT_EQ(RecordingLog::All().size(), 1U);
    ASSERT_EQ(RecordingLog::Infos().size(), 1U);
    const std::string strTail = pszLoaderError == nullptr ? "" : std::string(",") + pszLoaderError;
    ExpectSetupInfo(RecordingLog::Infos()[0], row.pszText + strTail);

    // The loader is asked once the library is gone.
    const Texts calls = CFake::Instance().Calls();
    ASSERT_GE(calls.size(), 2U);
    EXPECT_EQ(calls[calls.size() - 2], "(unloaded)");
    EXPECT_EQ(calls.back(), "dlerror");
    EXPECT_FALSE(server.Loaded());
}

TEST(SftpClientObject, UnloadsAndExplainsEveryFailure) {
    for (const SFailureRow& row : kFailures)
        ExpectAbandoned(row, nullptr);
}

TEST(SftpClientObject, AppendsTheLoadersTextWhenThereIsOne) {
    for (const SFailureRow& row : kFailures)
        ExpectAbandoned(row, "loader: no such thing");
}

// With a second connection open the library is not closed by the failing one, and what the loader
// said last is still there.
TEST(SftpClientObject, AppendsTheRealLoadersText) {
    const CFakeServer server;
    StSFTPConnectionInfo open;
    ASSERT_NE(CSftpClient::getSFTPClientObject(&open), nullptr);
    CFake::Instance().bNullSession = true;
    StSFTPConnectionInfo failing;
    EXPECT_EQ(CSftpClient::getSFTPClientObject(&failing), nullptr);
    ASSERT_EQ(RecordingLog::Infos().size(), 1U);
    const std::string strText = RecordingLog::InfoTexts()[0];
    EXPECT_EQ(strText.rfind("[FTPCLIENT]SFTP_Session_Wrp is NULL.," + server.LibraryPath(), 0), 0U)
        << strText;
    delete open.pAceDLL;
    EXPECT_FALSE(server.Loaded());
}

TEST(SftpClientObject, AppendsNothingWhenTheRealLoaderHasNoError) {
    const CFakeServer server;
    CFake::Instance().bNullSession = true;
    StSFTPConnectionInfo info;
    EXPECT_EQ(CSftpClient::getSFTPClientObject(&info), nullptr);
    EXPECT_EQ(RecordingLog::InfoTexts(), Texts{"[FTPCLIENT]SFTP_Session_Wrp is NULL."});
}

// ---- failures before

TEST(SftpClientObject, NeedsARecord) {
    for (const char* pszLoaderError : {static_cast<const char*>(nullptr), "loader says no"}) {
        const CFakeServer server;
        CFake::Instance().FakeLoaderError(pszLoaderError);
        EXPECT_EQ(CSftpClient::getSFTPClientObject(nullptr), nullptr);
        EXPECT_EQ(CFake::Instance().Calls(), Texts{"dlerror"});
        EXPECT_FALSE(server.Loaded());
        EXPECT_EQ(RecordingLog::All().size(), 1U);
        ASSERT_EQ(RecordingLog::Infos().size(), 1U);
        ExpectSetupInfo(RecordingLog::Infos()[0],
                        std::string("pStSFTPConnectionInfo is null.SFTP_initLibrary") +
                            (pszLoaderError == nullptr ? "" : ",loader says no"));
    }
}

TEST(SftpClientObject, NeedsTheLibrary) {
    for (const char* pszLoaderError : {static_cast<const char*>(nullptr), "loader says no"}) {
        CFakeServer server;
        server.RemoveLibrary();
        CFake::Instance().FakeLoaderError(pszLoaderError);
        StSFTPConnectionInfo info;
        info.pAceDLL = reinterpret_cast<ACE_DLL*>(&info);  // stored before it is tested
        EXPECT_EQ(CSftpClient::getSFTPClientObject(&info), nullptr);
        EXPECT_EQ(info.pAceDLL, nullptr);
        EXPECT_EQ(info.pfnFiniLibrary, nullptr);
        EXPECT_EQ(RecordingLog::All().size(), 2U);
        ASSERT_EQ(RecordingLog::Infos().size(), 2U);
        EXPECT_EQ(RecordingLog::Infos()[0].strFunction, "loadSftpDll");
        ExpectSetupInfo(RecordingLog::Infos()[1],
                        std::string("loadSftpDll failed.SFTP_initLibrary") +
                            (pszLoaderError == nullptr ? "" : ",loader says no"));
    }
}

// ---- the configuration

// The library stays open and the session is not freed: the record is still the caller's to end.
void ExpectNoConfiguration(const CFakeServer& server) {
    CFake::Instance().FakeLoaderError("not for this text");
    StSFTPConnectionInfo info;
    EXPECT_EQ(CSftpClient::getSFTPClientObject(&info), nullptr);
    EXPECT_EQ(WrapperCalls(), kUpToSession);
    ASSERT_NE(info.pAceDLL, nullptr);
    EXPECT_TRUE(server.Loaded());
    EXPECT_NE(info.pfnFiniLibrary, nullptr);
    EXPECT_NE(info.pfnFreeSession, nullptr);
    EXPECT_EQ(info.pSession, nullptr);
    EXPECT_EQ(CFake::Instance().nAllocations, 0);

    EXPECT_EQ(RecordingLog::Infos().size(), 0U);
    ASSERT_GE(RecordingLog::Errors().size(), 1U);
    const auto error = RecordingLog::Errors().back();
    EXPECT_EQ(error.uCode, 0xFFFFFFFFU);
    ExpectSetupInfo(error, "CSftpClientConfManager::Instance is fail");
    delete info.pAceDLL;
    EXPECT_FALSE(server.Loaded());
}

TEST(SftpClientObject, KeepsTheLibraryOpenWhenAListIsEmpty) {
    for (const char* pszKey : {"Cipher", "Mac", "KeyExchange", "HostKey", "AuthType"}) {
        SCOPED_TRACE(pszKey);
        CFakeServer server;
        server.WriteConfig(std::string(TestSftp::kGoodConfig) + pszKey + "=\n");
        ExpectNoConfiguration(server);
        ASSERT_EQ(RecordingLog::Errors().size(), 2U);  // the first says which list
    }
}

TEST(SftpClientObject, KeepsTheLibraryOpenWithoutAConfiguration) {
    CFakeServer server;
    server.RemoveConfig();
    ExpectNoConfiguration(server);
}

TEST(SftpClientObject, KeepsTheLibraryOpenWithoutTheConfigurationsInstance) {
    const CFakeServer server;
    delete CSftpClient::loadSftpDll();  // ACE makes objects of its own under the same lock
    CFake::Instance().ForgetCalls();
    g_bStaticLockFails = true;
    ExpectNoConfiguration(server);
    g_bStaticLockFails = false;
    EXPECT_EQ(RecordingLog::Errors().size(), 1U);
}

TEST(SftpClientObject, NeedsNoCompression) {
    CFakeServer server;
    server.WriteConfig(std::string(TestSftp::kGoodConfig) + "Compression=\n");
    StSFTPConnectionInfo info;
    EXPECT_NE(CSftpClient::getSFTPClientObject(&info), nullptr);
    EXPECT_EQ(CFake::Instance().Count("setCompression 0"), 1U);
    delete info.pAceDLL;
}

// An allocator that fails but leaves a block behind: the list goes out as it is, and the block is
// freed like any other.
TEST(SftpClientObject, HandsOverAnEmptyListWhenTheAllocatorLeftABlock) {
    const CFakeServer server;
    void* pLeft = nullptr;
    ASSERT_EQ(kavo_sftp_malloc(&pLeft, 64), 0);
    CFake::Instance().pLeftByFailure = pLeft;
    FailAllocation(2);
    StSFTPConnectionInfo info;
    EXPECT_NE(CSftpClient::getSFTPClientObject(&info), nullptr);
    Texts lists = kLists;
    lists[1] = "setMacList";
    EXPECT_EQ(WrapperCalls(), kUpToSession + lists);
    EXPECT_EQ(CFake::Instance().nLiveBlocks, 0);
    delete info.pAceDLL;
}

}  // namespace
