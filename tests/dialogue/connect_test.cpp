// Opening the control connection.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <thread>

#include "tests/dialogue/descriptors.h"
#include "tests/dialogue/signals.h"
#include "tests/dialogue/transporttest.h"

namespace {

using namespace RVN_FTP_CLIENT;
using namespace TestSupport;

using ConnectTest = TransportTest;

constexpr unsigned int kConnectFailed = 0x3bb00001;

// The log of a failed attempt, whose text ends in the number of errno.
void ExpectConnectError(const SLogEntry& entry, int nErrno) {
    EXPECT_EQ(entry.uCode, kConnectFailed);
    EXPECT_EQ(entry.strText, std::string("[FTPCLIENT]CFtpClientCom::Connect error :") +
                                 std::strerror(nErrno) + ",ErrorCode:" + std::to_string(nErrno) +
                                 "\n");
    EXPECT_EQ(entry.strFile, "ftpclientcom");
    EXPECT_EQ(entry.strFunction, "Connect");
    EXPECT_EQ(entry.nLine, 51);
    EXPECT_TRUE(entry.bFiltered);
}

void ExpectOnlyConnectError(int nErrno) {
    const auto errors = RecordingLog::Errors();
    ASSERT_EQ(errors.size(), 1U);
    ExpectConnectError(errors[0], nErrno);
}

void ExpectOnePause(int nSeconds) {
    const auto sleeps = Hooks::Sleeps();
    ASSERT_EQ(sleeps.size(), 1U);
    EXPECT_EQ(sleeps[0].tv_sec, nSeconds);
    EXPECT_EQ(sleeps[0].tv_nsec, 0);
}

TEST_F(ConnectTest, BeginsPassiveWithoutHostAndPort) {
    EXPECT_EQ(m_com.m_strHost, "");
    EXPECT_EQ(m_com.m_nPort, 0U);
    EXPECT_EQ(m_com.m_bPasv, 1);
    EXPECT_EQ(m_com.m_CtrlSock.get_handle(), ACE_INVALID_HANDLE);
    EXPECT_EQ(m_com.m_DataSock.get_handle(), ACE_INVALID_HANDLE);
    EXPECT_EQ(m_com.m_ListenSock.get_handle(), ACE_INVALID_HANDLE);
}

TEST_F(ConnectTest, ConnectsAndTakesItsParameters) {
    ScriptedServer server{Say("220 hello\r\n")};
    EXPECT_EQ(m_com.Connect(Param(server.Port(), 0), 5), 0);
    EXPECT_EQ(m_com.m_strHost, "127.0.0.1");
    EXPECT_EQ(m_com.m_nPort, server.Port());
    EXPECT_EQ(m_com.m_bPasv, 0);
    char greeting[12] = "";
    EXPECT_EQ(m_com.RecvCtrl(greeting, 11, 5), 11);
    EXPECT_STREQ(greeting, "220 hello\r\n");
    EXPECT_TRUE(RecordingLog::All().empty());
    server.ExpectFinished();
}

TEST_F(ConnectTest, ConnectsToAHostByName) {
    ScriptedServer server{Accept()};
    Hooks::NameHost("ftp.example", "127.0.0.1");
    FtpSockParam param = Param(server.Port());
    param.strHost = "ftp.example";
    EXPECT_EQ(m_com.Connect(param, 5), 0);
    EXPECT_EQ(m_com.m_strHost, "ftp.example");
    Hooks::NameHost(nullptr, nullptr);
    server.ExpectFinished();
}

TEST_F(ConnectTest, TakesItsParametersAlsoWhenItFails) {
    const DeadPort dead;
    EXPECT_LT(m_com.Connect(Param(dead.Port(), 0), 0), 0);
    EXPECT_EQ(m_com.m_strHost, "127.0.0.1");
    EXPECT_EQ(m_com.m_nPort, dead.Port());
    EXPECT_EQ(m_com.m_bPasv, 0);
}

TEST_F(ConnectTest, LogsTwiceAndPausesWhenRefused) {
    const DeadPort dead;
    for (const int nTimeout : {1, 2}) {
        SCOPED_TRACE(nTimeout);
        RecordingLog::Clear();
        Hooks::ClearSleeps();
        const Clock::time_point start = Clock::now();
        EXPECT_LT(m_com.Connect(Param(dead.Port()), nTimeout), 0);
        EXPECT_GE(MsSince(start), 1000 * nTimeout);
        ExpectOnePause(nTimeout);

        const auto errors = RecordingLog::Errors();
        ASSERT_EQ(errors.size(), 2U);
        ExpectConnectError(errors[0], ECONNREFUSED);
        EXPECT_EQ(errors[1].uCode, 111U);
        EXPECT_EQ(errors[1].strText, "[FTPCLIENT]CFtpClientCom::Connect error :sleep ");
        EXPECT_EQ(errors[1].strFile, "ftpclientcom");
        EXPECT_EQ(errors[1].strFunction, "Connect");
        EXPECT_EQ(errors[1].nLine, 53);
    }
}

TEST_F(ConnectTest, PausesInFullWhileSignalsInterruptIt) {
    const DeadPort dead;
    const CSignals signals;
    const Clock::time_point start = Clock::now();
    EXPECT_LT(m_com.Connect(Param(dead.Port()), 1), 0);
    EXPECT_GE(MsSince(start), 1000);
    EXPECT_GT(Hooks::Sleeps().size(), 1U);  // it was interrupted
}

TEST_F(ConnectTest, GivesUpOnASilentAddressAtItsTimeoutWithoutPause) {
    const SilentPort silent;
    const Clock::time_point start = Clock::now();
    EXPECT_LT(m_com.Connect(Param(silent.Port()), 1), 0);
    EXPECT_GE(MsSince(start), 1000);
    ExpectOnlyConnectError(ETIME);
    EXPECT_TRUE(Hooks::Sleeps().empty());
}

TEST_F(ConnectTest, DoesNotWaitWithATimeoutOfZero) {
    const SilentPort silent;  // without any time-out an attempt would take minutes
    const Clock::time_point start = Clock::now();
    EXPECT_LT(m_com.Connect(Param(silent.Port()), 0), 0);
    EXPECT_LT(MsSince(start), 10000);
    ExpectOnlyConnectError(EWOULDBLOCK);
    EXPECT_TRUE(Hooks::Sleeps().empty());
}

TEST_F(ConnectTest, PausesForNoTimeWithATimeoutOfZero) {
    const DeadPort dead;
    EXPECT_LT(m_com.Connect(Param(dead.Port()), 0), 0);
    for (const timespec& sleep : Hooks::Sleeps())
        EXPECT_EQ(sleep.tv_sec, 0);
}

TEST_F(ConnectTest, DoesNotPauseForAnUnreachableHost) {
    ScriptedServer server{};
    Hooks::FailNextConnect(ENETUNREACH);
    EXPECT_LT(m_com.Connect(Param(server.Port()), 5), 0);
    ExpectOnlyConnectError(ENETUNREACH);
    EXPECT_TRUE(Hooks::Sleeps().empty());
    server.ExpectFinished();
}

TEST_F(ConnectTest, CountsTheWindowsCodeForAlreadyConnectedAsConnected) {
    ScriptedServer server{};
    Hooks::FailNextConnect(10056);
    EXPECT_EQ(m_com.Connect(Param(server.Port()), 5), 0);
    ExpectOnlyConnectError(10056);
    EXPECT_TRUE(Hooks::Sleeps().empty());
    server.ExpectFinished();
}

TEST_F(ConnectTest, FailsForAHostThatCannotBeResolved) {
    FtpSockParam param = Param(21);
    param.strHost = "no..such..host";  // an impossible name: no name server is asked
    errno = ECONNREFUSED;              // left over from something else: no reason to pause
    EXPECT_LT(m_com.Connect(param, 1), 0);
    const auto errors = RecordingLog::Errors();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].uCode, kConnectFailed);
    EXPECT_EQ(errors[0].strText.rfind("[FTPCLIENT]CFtpClientCom::Connect error :", 0), 0U)
        << errors[0];
    EXPECT_EQ(errors[0].nLine, 51);
    EXPECT_TRUE(Hooks::Sleeps().empty());
    EXPECT_EQ(m_com.m_strHost, "no..such..host");
}

TEST_F(ConnectTest, LeavesNoDescriptorAfterFailedAttempts) {
    const DeadPort dead;
    const SilentPort silent;
    FtpSockParam unknown = Param(21);
    unknown.strHost = "no..such..host";
    m_com.Connect(unknown, 0);  // whatever the resolver keeps open, it has opened now
    const std::size_t nBefore = OpenDescriptors();
    EXPECT_LT(m_com.Connect(Param(dead.Port()), 0), 0);
    EXPECT_EQ(OpenDescriptors(), nBefore);
    EXPECT_LT(m_com.Connect(Param(silent.Port()), 0), 0);
    EXPECT_EQ(OpenDescriptors(), nBefore);
    EXPECT_LT(m_com.Connect(Param(silent.Port()), 1), 0);
    EXPECT_EQ(OpenDescriptors(), nBefore);
    EXPECT_LT(m_com.Connect(unknown, 0), 0);
    EXPECT_EQ(OpenDescriptors(), nBefore);
    Hooks::FailNextConnect(ENETUNREACH);
    EXPECT_LT(m_com.Connect(Param(dead.Port()), 0), 0);
    EXPECT_EQ(OpenDescriptors(), nBefore);
}

TEST_F(ConnectTest, CanConnectAgainAfterClosing) {
    ScriptedServer server{Expect("A"), ExpectClose(), Expect("B")};
    Connect(server);
    EXPECT_EQ(m_com.SendCtrl("A\r\n", 3), 3);
    EXPECT_EQ(m_com.CloseAll(), 0U);
    Connect(server);
    EXPECT_EQ(m_com.SendCtrl("B\r\n", 3), 3);
    server.ExpectFinished();
}

TEST_F(ConnectTest, ReplacesAConnectionThatIsStillOpen) {
    ScriptedServer server{Expect("A"), ExpectClose(), Expect("B")};
    Connect(server);
    EXPECT_EQ(m_com.SendCtrl("A\r\n", 3), 3);
    Connect(server);
    EXPECT_EQ(m_com.SendCtrl("B\r\n", 3), 3);
    server.ExpectFinished();
}

TEST_F(ConnectTest, MakesTheSocketNonBlockingAndCloseOnExec) {
    ScriptedServer server{Accept()};
    Connect(server);
    EXPECT_TRUE(IsNonBlocking(m_com.m_CtrlSock.get_handle()));
    EXPECT_TRUE(IsCloseOnExec(m_com.m_CtrlSock.get_handle()));
    server.ExpectFinished();
}

TEST_F(ConnectTest, LeavesTheConnectionOpenWhenDestroyed) {
    ScriptedServer server{Accept(), ExpectSilence(Millis(300)), ExpectClose()};
    ACE_HANDLE handle = ACE_INVALID_HANDLE;
    {
        CFtpClientCom com;
        ASSERT_EQ(com.Connect(Param(server.Port()), 5), 0);
        handle = com.m_CtrlSock.get_handle();
    }
    std::this_thread::sleep_for(Millis(500));
    EXPECT_EQ(::close(handle), 0);
    server.ExpectFinished();
}

TEST(Sigpipe, IsIgnoredFromEachConstructionOn) {
    for (int i = 0; i < 2; ++i) {
        std::signal(SIGPIPE, SIG_DFL);
        { const CFtpClientCom com; }
        struct sigaction action = {};
        ASSERT_EQ(::sigaction(SIGPIPE, nullptr, &action), 0);
        EXPECT_EQ(action.sa_handler, SIG_IGN);
        EXPECT_EQ(action.sa_flags & ~0x04000000, 0);  // SA_RESTORER is the C library's own
    }
}

}  // namespace
