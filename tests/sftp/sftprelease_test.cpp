// The end of a connection.

#include <ace/DLL.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "include/sftpclient.h"
#include "src/sftp/sftpsession.h"
#include "tests/sftp/fakeserver.h"
#include "tests/sftp/fakewrapper.h"
#include "tests/sftp/memory.h"
#include "tests/support/recordinglog.h"

namespace {

using RVN_FTP_CLIENT::CSftpClient;
using RVN_FTP_CLIENT::SFTP_Session;
using RVN_FTP_CLIENT::StSFTPConnectionInfo;
using TestSftp::CFake;
using TestSftp::CFakeServer;
using TestSupport::RecordingLog;
using TQ_UTIL::StFTPAccountInfo;
using Texts = std::vector<std::string>;

StSFTPConnectionInfo* Open(const StFTPAccountInfo& account = StFTPAccountInfo()) {
    auto* pInfo = new StSFTPConnectionInfo;
    EXPECT_NE(CSftpClient::getSFTPSession(pInfo, account), nullptr);
    return pInfo;
}

// Tells when it goes; stands in for the library's own object, which must thus be deletable through
// its virtual destructor.
class CTellingSession : public SFTP_Session {
public:
    CTellingSession() : SFTP_Session(StFTPAccountInfo()) {}
    ~CTellingSession() override { CFake::Instance().Record("(callback deleted)"); }
};

static_assert(!std::is_final<SFTP_Session>::value, "hosts and tests derive from it");

TEST(SftpRelease, OfNothingIsNothing) {
    const CFakeServer server;
    EXPECT_EQ(CSftpClient::releaseSFTPConnection(nullptr), 0);
    EXPECT_EQ(CFake::Instance().Calls(), Texts{});
    EXPECT_EQ(RecordingLog::All().size(), 0U);
}

TEST(SftpRelease, TakesDownInOrder) {
    const CFakeServer server;
    StSFTPConnectionInfo* pInfo = Open();
    delete pInfo->pSessionCB;
    pInfo->pSessionCB = new CTellingSession;
    CFake::Instance().ForgetCalls();
    EXPECT_EQ(CSftpClient::releaseSFTPConnection(pInfo), 0);
    EXPECT_EQ(CFake::Instance().Calls(),
              (Texts{"closeSession", "SFTP_freeSession", "SFTP_finiLibrary", "(callback deleted)",
                     "(unloaded)"}));
    EXPECT_FALSE(server.Loaded());
    EXPECT_EQ(RecordingLog::All().size(), 0U);
}

TEST(SftpRelease, IgnoresAFailedClose) {
    const CFakeServer server;
    CFake::Instance().SetResult("closeSession", -1);
    StSFTPConnectionInfo* pInfo = Open();
    CFake::Instance().ForgetCalls();
    EXPECT_EQ(CSftpClient::releaseSFTPConnection(pInfo), 0);
    EXPECT_EQ(CFake::Instance().Calls(),
              (Texts{"closeSession", "SFTP_freeSession", "SFTP_finiLibrary", "(unloaded)"}));
    EXPECT_EQ(RecordingLog::All().size(), 0U);
}

TEST(SftpRelease, DoesWithoutCallbackObjectAndLibraryHandle) {
    const CFakeServer server;
    StSFTPConnectionInfo* pInfo = Open();
    delete pInfo->pSessionCB;
    pInfo->pSessionCB = nullptr;
    const std::unique_ptr<ACE_DLL> dll(pInfo->pAceDLL);
    pInfo->pAceDLL = nullptr;
    EXPECT_EQ(CSftpClient::releaseSFTPConnection(pInfo), 0);
    EXPECT_EQ(CFake::Instance().Count("SFTP_finiLibrary"), 1U);
    EXPECT_TRUE(server.Loaded());
}

TEST(SftpRelease, LeavesNothingAllocated) {
    const CFakeServer server;
    CFake::Instance().bRecording = false;
    CSftpClient::releaseSFTPConnection(Open());  // what is made once per process is there now
    const long nBefore = TestSftp::LiveBlocks();
    CSftpClient::releaseSFTPConnection(Open());
    EXPECT_EQ(TestSftp::LiveBlocks(), nBefore);
    EXPECT_EQ(CFake::Instance().nLiveBlocks, 0);
}

TEST(SftpRelease, PairsEachInitialisationWithAnEnd) {
    const CFakeServer server;
    for (std::size_t nConnection = 1; nConnection <= 2; ++nConnection) {
        StSFTPConnectionInfo* pInfo = Open();
        EXPECT_EQ(CFake::Instance().Count("SFTP_initLibrary"), nConnection);
        EXPECT_EQ(CFake::Instance().Count("SFTP_finiLibrary"), nConnection - 1);
        CSftpClient::releaseSFTPConnection(pInfo);
        EXPECT_EQ(CFake::Instance().Count("SFTP_finiLibrary"), nConnection);
        EXPECT_FALSE(server.Loaded());
    }
    EXPECT_EQ(CFake::Instance().Count("(loaded)"), 2U);
    EXPECT_EQ(CFake::Instance().Count("(unloaded)"), 2U);
}

TEST(SftpRelease, KeepsTheLibraryForTheOtherConnection) {
    const CFakeServer server;
    StSFTPConnectionInfo* pFirst = Open();
    StSFTPConnectionInfo* pSecond = Open();
    EXPECT_EQ(CFake::Instance().Count("SFTP_initLibrary"), 2U);
    CSftpClient::releaseSFTPConnection(pFirst);
    EXPECT_TRUE(server.Loaded());
    EXPECT_EQ(CFake::Instance().Count("SFTP_finiLibrary"), 1U);
    CSftpClient::releaseSFTPConnection(pSecond);
    EXPECT_FALSE(server.Loaded());
    EXPECT_EQ(CFake::Instance().Count("SFTP_finiLibrary"), 2U);
}

TEST(SftpRelease, OverwritesTheExpectedHostKeyBeforeItsMemoryIsFreed) {
    const CFakeServer server;
    StFTPAccountInfo account;
    account.strHostKey = "ssh-rsa AAAAB3NzaC1yc2EAAAADAQABAAABgQ-a-key-of-some-length";
    account.strCheckHostKey = "a switch that is long enough to be allocated";
    StSFTPConnectionInfo* pInfo = Open(account);
    const std::string strWiped(account.strHostKey.size(), '*');
    TestSftp::WatchFreed(account.strHostKey, strWiped);
    CSftpClient::releaseSFTPConnection(pInfo);
    const TestSftp::SFreed freed = TestSftp::StopWatching();
    EXPECT_EQ(freed.nPlain, 0);
    EXPECT_EQ(freed.nWiped, 1);
}

}  // namespace
