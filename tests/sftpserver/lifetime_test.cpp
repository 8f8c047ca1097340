#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "standalone/sftp/secret.h"
#include "tests/sftpserver/hostsession.h"
#include "tests/sftpserver/opensshserver.h"
#include "tests/support/onebyte.h"

namespace {

using namespace TestSupport;

std::ptrdiff_t OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

std::string OutputOf(const std::vector<std::string>& arguments) {
    const TempDir temp;
    SChildOptions options;
    options.strOutputFile = temp.File("out");
    EXPECT_EQ(RunProgram(arguments, options), 0) << arguments[0];
    return ReadFile(options.strOutputFile);
}

TEST(Wrapper, IsUnloadedAfterAConnectionWasUsed) {
    const OpenSshServer server;
    ASSERT_FALSE(WrapperIsLoaded());
    {
        HostSession session(PasswordAccount(server));
        ASSERT_EQ(session->connect(), SFTP_OK) << session.Error();
        EXPECT_TRUE(WrapperIsLoaded());
    }
    EXPECT_FALSE(WrapperIsLoaded());
}

TEST(Wrapper, StaysWhileOneOfTwoConnectionsIsInUse) {
    const OpenSshServer server;
    auto pFirst = std::make_unique<HostSession>(PasswordAccount(server));
    HostSession second(PasswordAccount(server));
    ASSERT_EQ((*pFirst)->connect(), SFTP_OK) << pFirst->Error();
    ASSERT_EQ(second->connect(), SFTP_OK) << second.Error();
    pFirst.reset();
    SFTP_FileInfo info = {};
    EXPECT_EQ(second->stat(SFTP_String("/"), info), SFTP_OK) << second.Error();
}

TEST(Wrapper, ReturnsEveryDescriptorHoweverAConnectionEnds) {
    OpenSshServer server;
    TQ_UTIL::StFTPAccountInfo refused = PasswordAccount(server);
    refused.cipherPassword = TQ_UTIL::CcipheString("coffee");
    TQ_UTIL::StFTPAccountInfo distrusted = PasswordAccount(server);
    distrusted.strHostKey = "ssh-ed25519 AAAA";
    const auto nConnect = [&](const TQ_UTIL::StFTPAccountInfo& account) {
        HostSession session(account);
        return session->connect();
    };
    ASSERT_EQ(nConnect(PasswordAccount(server)), SFTP_OK);  // what a first use opens for good
    const std::ptrdiff_t nBefore = OpenDescriptors();
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(nConnect(PasswordAccount(server)), SFTP_OK);
        EXPECT_EQ(nConnect(refused), SFTP_ERR_AUTH);
        EXPECT_EQ(nConnect(distrusted), SFTP_ERR_HOST_KEY);
    }
    {
        HostSession session(PasswordAccount(server));
        ASSERT_EQ(session->connect(), SFTP_OK) << session.Error();
        server.Kill();
        SFTP_FileInfo info = {};
        EXPECT_EQ(session->stat(SFTP_String("/"), info), SFTP_ERR_LOST);
        EXPECT_EQ(nConnect(PasswordAccount(server)), SFTP_ERR_CONNECT);
    }
    EXPECT_EQ(OpenDescriptors(), nBefore);
}

// Bytes in use by all threads' arenas. A sanitizer's own allocator says 0 and looks for leaks
// itself.
std::size_t HeapInUse() {
    OneByte::ClearCounts();  // the test's own notes of every poll()
    ::malloc_trim(0);  // small blocks set aside for reuse count as in use until they are merged
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

TEST(Wrapper, LeaksNothingInAThousandConnections) {
    const OpenSshServer server;
    const auto nOpenAndRelease = [&](int nTimes) {
        for (int i = 0; i < nTimes; ++i)
            HostSession session(PasswordAccount(server));
    };
    const auto nConnectAndRelease = [&](int nTimes) {
        for (int i = 0; i < nTimes; ++i) {
            HostSession session(PasswordAccount(server));
            ASSERT_EQ(session->connect(), SFTP_OK) << session.Error();
        }
    };
    // What a first use keeps for good, and what the allocator sets aside: it counts as in use.
    nConnectAndRelease(80);
    const std::ptrdiff_t nDescriptors = OpenDescriptors();
    const std::size_t uBefore = HeapInUse();
    nOpenAndRelease(1000);
    const std::size_t uOpened = HeapInUse();
    nConnectAndRelease(80);
    const std::size_t uConnected = HeapInUse();
    EXPECT_LT(uOpened, uBefore + 16 * 1024);     // 16 bytes each
    EXPECT_LT(uConnected, uOpened + 16 * 1024);  // 200 bytes each
    EXPECT_EQ(OpenDescriptors(), nDescriptors);
}

TEST(Wrapper, HasTheEntryPointsAndNothingElse) {
    std::istringstream lines(OutputOf({"/usr/bin/nm", "-D", "--defined-only", kWrapper}));
    std::vector<std::string> names;
    std::string strAddress;
    std::string strType;
    for (std::string strName; lines >> strAddress >> strType >> strName;)
        names.push_back(strName);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names,
              (std::vector<std::string>{"SFTP_finiLibrary", "SFTP_freeSession", "SFTP_getErrorDesc",
                                        "SFTP_getGlobalCTX", "SFTP_getLastError",
                                        "SFTP_getNewSession", "SFTP_initLibrary"}));
}

class EntryPoints : public testing::Test {
protected:
    void SetUp() override {
        m_pLibrary = ::dlopen(kWrapper, RTLD_LAZY | RTLD_GLOBAL);
        ASSERT_NE(m_pLibrary, nullptr) << ::dlerror();
    }
    void TearDown() override { ::dlclose(m_pLibrary); }

    template <class Function>
    Function Symbol(const char* pszName) {
        return reinterpret_cast<Function>(::dlsym(m_pLibrary, pszName));
    }

    void* m_pLibrary = nullptr;
};

TEST_F(EntryPoints, GiveSessionsOnlyWhileTheLibraryIsInitialised) {
    const auto pInit = Symbol<PFN_SFTP_initLibrary>("SFTP_initLibrary");
    const auto pFini = Symbol<PFN_SFTP_finiLibrary>("SFTP_finiLibrary");
    const auto pNew = Symbol<PFN_SFTP_getNewSession>("SFTP_getNewSession");
    const auto pFree = Symbol<PFN_SFTP_freeSession>("SFTP_freeSession");
    const auto pLastError = Symbol<PFN_SFTP_getLastError>("SFTP_getLastError");
    const auto pErrorText = Symbol<PFN_SFTP_getErrorDesc>("SFTP_getErrorDesc");
    EXPECT_EQ(pNew(), nullptr);
    pFini();  // without a counterpart: must not count below zero
    ASSERT_EQ(pInit(), 0);
    ASSERT_EQ(pInit(), 0);
    pFini();
    SFTP_Session_Wrp* pSession = pNew();
    ASSERT_NE(pSession, nullptr);
    EXPECT_EQ(pLastError(pSession), SFTP_OK);
    EXPECT_STREQ(pErrorText(pSession), "");
    EXPECT_EQ(pSession->connect(), SFTP_ERR_ARGUMENT);
    EXPECT_EQ(pLastError(pSession), SFTP_ERR_ARGUMENT);
    EXPECT_STREQ(pErrorText(pSession), "no server was named");
    pFree(pSession);
    pFree(nullptr);
    EXPECT_EQ(pLastError(nullptr), SFTP_ERR_ARGUMENT);
    EXPECT_STREQ(pErrorText(nullptr), "no session");
    pFini();
    EXPECT_EQ(pNew(), nullptr);
}

TEST_F(EntryPoints, RefuseArgumentsThatMakeNoSense) {
    ASSERT_EQ(Symbol<PFN_SFTP_initLibrary>("SFTP_initLibrary")(), 0);
    SFTP_Session_Wrp* pSession = Symbol<PFN_SFTP_getNewSession>("SFTP_getNewSession")();
    const SFTP_String null;
    const SFTP_String text("x");
    int nDetail = 0;
    EXPECT_EQ(pSession->setServerInfo(null, 22, text), SFTP_ERR_ARGUMENT);
    EXPECT_EQ(pSession->setServerInfo(text, 0, text), SFTP_ERR_ARGUMENT);
    EXPECT_EQ(pSession->setServerInfo(text, 65536, text), SFTP_ERR_ARGUMENT);
    EXPECT_EQ(pSession->setServerInfo(text, 22, null), SFTP_ERR_ARGUMENT);
    EXPECT_EQ(pSession->setPassword(null), SFTP_ERR_ARGUMENT);
    EXPECT_EQ(pSession->setRSAPrivateKey(null, 1, &nDetail, null), SFTP_ERR_PRIVATE_KEY);
    EXPECT_EQ(pSession->setRSAPrivateKey(text, 2, nullptr, null), SFTP_ERR_PRIVATE_KEY);
    EXPECT_EQ(Symbol<PFN_SFTP_getGlobalCTX>("SFTP_getGlobalCTX")()->setGlobalOption(15), SFTP_OK);
    EXPECT_EQ(pSession->setSessionOption(15), SFTP_OK);
    Symbol<PFN_SFTP_freeSession>("SFTP_freeSession")(pSession);
    Symbol<PFN_SFTP_finiLibrary>("SFTP_finiLibrary")();
}

}  // namespace

namespace {

// A block that is about to be freed, and what it held then.
std::atomic<const void*> g_pWatched{nullptr};
char g_atRelease[16];

}  // namespace

void operator delete[](void* pBlock) noexcept {
    if (pBlock != nullptr && pBlock == g_pWatched) std::memcpy(g_atRelease, pBlock, 8);
    std::free(pBlock);
}

void operator delete[](void* pBlock, std::size_t) noexcept {
    operator delete[](pBlock);
}

void* operator new[](std::size_t uSize, const std::nothrow_t&) noexcept {
    return std::malloc(uSize);
}

void* operator new[](std::size_t uSize) {
    void* pBlock = std::malloc(uSize);
    if (pBlock == nullptr) throw std::bad_alloc();
    return pBlock;
}

namespace {

void ExpectWipedAtRelease(void (*pRelease)(std::unique_ptr<sftpwrapper::CSecret>& pSecret)) {
    auto pSecret = std::make_unique<sftpwrapper::CSecret>();
    pSecret->Set("teatime");
    std::memset(g_atRelease, '?', sizeof g_atRelease);
    g_pWatched = pSecret->Text();
    pRelease(pSecret);
    g_pWatched = nullptr;
    EXPECT_EQ(std::string(g_atRelease, 8), std::string(8, '\0'));
}

TEST(Secret, IsWipedBeforeItsMemoryIsFreed) {
    ExpectWipedAtRelease([](auto& pSecret) { pSecret->Wipe(); });
    ExpectWipedAtRelease([](auto& pSecret) { pSecret->Set("coffee"); });
    ExpectWipedAtRelease([](auto& pSecret) { pSecret.reset(); });
}

}  // namespace
