// Bytes over an open control connection and over a data connection; closing.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tests/dialogue/descriptors.h"
#include "tests/dialogue/signals.h"
#include "tests/dialogue/transporttest.h"
#include "tests/support/payload.h"

namespace {

using namespace RVN_FTP_CLIENT;
using namespace TestSupport;

// ---- Sending and receiving: the same rules on both connections ----

struct SChannel {
    const char* pszName;
    int (CFtpClientCom::*send)(const char*, int);
    int (CFtpClientCom::*receive)(char*, int, int);
    ACE_SOCK_Stream CFtpClientCom::*socket;
};

std::ostream& operator<<(std::ostream& stream, const SChannel& row) {
    return stream << row.pszName;
}

constexpr SChannel kChannels[] = {
    {"Ctrl", &CFtpClientCom::SendCtrl, &CFtpClientCom::RecvCtrl, &CFtpClientCom::m_CtrlSock},
    {"Data", &CFtpClientCom::SendData, &CFtpClientCom::RecvData, &CFtpClientCom::m_DataSock},
};

class ChannelTest : public TransportTest, public testing::WithParamInterface<SChannel> {
protected:
    // The channel's socket becomes one end of a pair, whose other end is m_peer.
    void Open() {
        std::array<int, 2> fds{};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds.data()), 0);
        (m_com.*GetParam().socket).set_handle(fds[0]);
        m_peer = CHandle(fds[1]);
    }

    // The channel's socket becomes connected to the server by TCP.
    void ConnectTo(const ScriptedServer& server) {
        ASSERT_EQ(m_com.Connect(Param(server.Port()), 5), 0);
        if (GetParam().socket == &CFtpClientCom::m_CtrlSock) return;
        m_com.m_DataSock.set_handle(m_com.m_CtrlSock.get_handle());
        m_com.m_CtrlSock.set_handle(ACE_INVALID_HANDLE);
    }

    int Send(const char* pData, int nLength) { return (m_com.*GetParam().send)(pData, nLength); }
    int Receive(char* pBuffer, int nCapacity, int nTimeout) {
        return (m_com.*GetParam().receive)(pBuffer, nCapacity, nTimeout);
    }

    CHandle m_peer;
};

INSTANTIATE_TEST_SUITE_P(Channel, ChannelTest, testing::ValuesIn(kChannels),
                         [](const auto& tested) { return std::string(tested.param.pszName); });

TEST_P(ChannelTest, SendsEveryByte) {
    const std::string strBytes = Payload(4000000);
    ScriptedServer server{Wait(Millis(200)), ExpectBytes(strBytes)};  // the buffers fill up first
    ConnectTo(server);
    EXPECT_EQ(Send(strBytes.data(), static_cast<int>(strBytes.size())),
              static_cast<int>(strBytes.size()));
    server.ExpectFinished();
}

TEST_P(ChannelTest, SendsEveryByteAfterAnObstacleThatPasses) {
    for (const int nErrno : {EINTR, EWOULDBLOCK, ENOBUFS}) {
        SCOPED_TRACE(nErrno);
        Open();
        Hooks::FailNextSend(nErrno);
        EXPECT_EQ(Send("abc", 3), 3);
        std::string strReceived(4, '#');
        ASSERT_TRUE(WaitReadable(m_peer.Get(), Millis(0)));
        EXPECT_EQ(::recv(m_peer.Get(), strReceived.data(), 4, 0), 3);
        EXPECT_EQ(strReceived, "abc#");
        (m_com.*GetParam().socket).close();
    }
}

TEST_P(ChannelTest, FailsAtAnyOtherErrorOfSending) {
    for (const int nErrno : {EPIPE, ENOTCONN, EBADF}) {
        SCOPED_TRACE(nErrno);
        Open();
        Hooks::FailNextSend(nErrno);
        EXPECT_EQ(Send("abc", 3), -1);
        EXPECT_EQ(errno, nErrno);
        EXPECT_FALSE(WaitReadable(m_peer.Get(), Millis(0)));
        (m_com.*GetParam().socket).close();
    }
}

TEST_P(ChannelTest, ReturnsALengthBelowOneAndSendsNothing) {
    ScriptedServer server{ExpectSilence()};
    ConnectTo(server);
    for (const int nLength : {0, -1, -77})
        EXPECT_EQ(Send("bytes", nLength), nLength);
    server.ExpectFinished();
    EXPECT_TRUE(RecordingLog::All().empty());
}

TEST_P(ChannelTest, FailsToSendWithoutASignalWhenThePeerCloses) {
    for (const SStep& ending : {Close(), Reset()}) {
        SCOPED_TRACE(ending.strName);
        ScriptedServer server{Accept(), Wait(Millis(200)), ending};
        ConnectTo(server);
        const std::string strBytes(20000000, 'x');
        EXPECT_LT(Send(strBytes.data(), static_cast<int>(strBytes.size())), 0);
        EXPECT_LT(Send("again", 5), 0);
        server.ExpectFinished();
        EXPECT_TRUE(RecordingLog::All().empty());
    }
}

TEST_P(ChannelTest, FailsWithoutAConnection) {
    char bytes[4];
    const Clock::time_point start = Clock::now();
    EXPECT_LT(Send("x", 1), 0);
    EXPECT_LT(Receive(bytes, 4, 30), 0);
    EXPECT_LT(MsSince(start), 20000);  // no waiting for what cannot come
}

TEST_P(ChannelTest, ReceivesWhatIsThereUpToTheCapacityAndAddsNothing) {
    Open();
    ASSERT_EQ(::send(m_peer.Get(), "abcdefg", 7, 0), 7);
    std::string strBuffer(16, '#');
    EXPECT_EQ(Receive(strBuffer.data(), 4, 5), 4);
    EXPECT_EQ(strBuffer, "abcd############");
    EXPECT_EQ(Receive(strBuffer.data(), 16, 5), 3);
    EXPECT_EQ(strBuffer, "efgd############");
}

TEST_P(ChannelTest, DoesNotWaitForTheWholeCapacity) {
    ScriptedServer server{SayPieces({"one", "two"}, Millis(500))};
    ConnectTo(server);
    std::string strBuffer(16, '#');
    EXPECT_EQ(Receive(strBuffer.data(), 16, 5), 3);
    EXPECT_EQ(Receive(strBuffer.data(), 16, 5), 3);
    EXPECT_EQ(strBuffer.substr(0, 4), "two#");
    server.ExpectFinished();
}

TEST_P(ChannelTest, ReceivesZeroWhenThePeerHasClosed) {
    Open();
    m_peer.Close();
    char bytes[4];
    EXPECT_EQ(Receive(bytes, 4, 5), 0);
}

TEST_P(ChannelTest, ReceivesANegativeValueAtItsTimeout) {
    Open();
    char bytes[4];
    const Clock::time_point start = Clock::now();
    EXPECT_LT(Receive(bytes, 4, 1), 0);
    EXPECT_EQ(errno, ETIME);
    EXPECT_GE(MsSince(start), 1000);
}

TEST_P(ChannelTest, OnlyLooksWithATimeoutOfZero) {
    Open();
    char bytes[4];
    const Clock::time_point start = Clock::now();
    EXPECT_LT(Receive(bytes, 4, 0), 0);
    EXPECT_LT(MsSince(start), 10000);
    ASSERT_EQ(::send(m_peer.Get(), "ab", 2, 0), 2);
    EXPECT_EQ(Receive(bytes, 4, 0), 2);
}

TEST_P(ChannelTest, ReceivesANegativeValueAfterAReset) {
    ScriptedServer server{Expect("GO"), Reset()};
    ConnectTo(server);
    EXPECT_EQ(Send("GO\r\n", 4), 4);
    char bytes[4];
    EXPECT_LT(Receive(bytes, 4, 5), 0);
    EXPECT_EQ(errno, ECONNRESET);
    server.ExpectFinished();
    EXPECT_TRUE(RecordingLog::All().empty());
}

TEST_P(ChannelTest, SendsEveryByteWhileSignalsInterruptIt) {
    const std::string strBytes = Payload(8000000);
    ScriptedServer server{Wait(Millis(300)), ExpectBytes(strBytes)};
    ConnectTo(server);
    const CSignals signals;
    EXPECT_EQ(Send(strBytes.data(), static_cast<int>(strBytes.size())),
              static_cast<int>(strBytes.size()));
    server.ExpectFinished();
}

TEST_P(ChannelTest, ReceivesWhileSignalsInterruptIt) {
    ScriptedServer server{Wait(Millis(300)), Say("abc")};
    ConnectTo(server);
    const CSignals signals;
    char bytes[4] = "";
    EXPECT_EQ(Receive(bytes, 4, 10), 3);
    EXPECT_STREQ(bytes, "abc");
    server.ExpectFinished();
}

TEST_P(ChannelTest, KeepsItsTimeoutWhileSignalsInterruptIt) {
    Open();
    const CSignals signals;
    char bytes[4];
    const Clock::time_point start = Clock::now();
    EXPECT_LT(Receive(bytes, 4, 1), 0);
    EXPECT_GE(MsSince(start), 950);  // what is left is cut to milliseconds after each signal
    EXPECT_LT(MsSince(start), 20000);
}

// ---- Closing ----

class CloseTest : public TransportTest {
protected:
    static void Open(ACE_SOCK& socket) {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        ASSERT_NE(fd, -1);
        socket.set_handle(fd);
    }

    // Closing the socket fails from now on: its descriptor is gone.
    static void Break(ACE_SOCK& socket) {
        Open(socket);
        ASSERT_EQ(::close(socket.get_handle()), 0);
    }

    static void ExpectLog(const SLogEntry& entry, const char* pszText, int nLine) {
        EXPECT_EQ(entry.uCode, 0xFFFFFFFFU);  // what closing returned: -1
        EXPECT_EQ(entry.strText, pszText);
        EXPECT_EQ(entry.strFile, "ftpclientcom");
        EXPECT_EQ(entry.strFunction, "CloseDataSock");
        EXPECT_EQ(entry.nLine, nLine);
        EXPECT_TRUE(entry.bFiltered);
    }

    static constexpr const char* kDataLog = "[FTPCLIENT]CloseDataSock m_DataSock close failure!";
    static constexpr const char* kListenLog =
        "[FTPCLIENT]CloseDataSock m_ListenSock close failure!";
    static constexpr unsigned int kCloseFailed = 0x3bb0001b;
};

TEST_F(CloseTest, ClosesTheDataSocketAndInPassiveModeNothingElse) {
    Open(m_com.m_DataSock);
    Open(m_com.m_ListenSock);
    EXPECT_EQ(m_com.CloseDataSock(), 0);
    EXPECT_EQ(m_com.m_DataSock.get_handle(), ACE_INVALID_HANDLE);
    EXPECT_NE(m_com.m_ListenSock.get_handle(), ACE_INVALID_HANDLE);
    EXPECT_TRUE(RecordingLog::All().empty());
}

TEST_F(CloseTest, ClosesBothInActiveMode) {
    m_com.m_bPasv = 0;
    Open(m_com.m_DataSock);
    Open(m_com.m_ListenSock);
    EXPECT_EQ(m_com.CloseDataSock(), 0);
    EXPECT_EQ(m_com.m_DataSock.get_handle(), ACE_INVALID_HANDLE);
    EXPECT_EQ(m_com.m_ListenSock.get_handle(), ACE_INVALID_HANDLE);
    EXPECT_TRUE(RecordingLog::All().empty());
}

TEST_F(CloseTest, ReportsAFailureOfTheDataSocketInPassiveMode) {
    Break(m_com.m_DataSock);
    EXPECT_EQ(m_com.CloseDataSock(), -1);
    ASSERT_EQ(RecordingLog::All().size(), 1U);
    ExpectLog(RecordingLog::Errors()[0], kDataLog, 221);
}

TEST_F(CloseTest, DropsAFailureOfTheDataSocketInActiveMode) {
    m_com.m_bPasv = 0;
    Open(m_com.m_ListenSock);
    Break(m_com.m_DataSock);
    EXPECT_EQ(m_com.CloseDataSock(), 0);
    ASSERT_EQ(RecordingLog::All().size(), 1U);
    ExpectLog(RecordingLog::Errors()[0], kDataLog, 221);
    EXPECT_EQ(m_com.m_ListenSock.get_handle(), ACE_INVALID_HANDLE);
}

TEST_F(CloseTest, ReportsAFailureOfTheListeningSocketInActiveMode) {
    m_com.m_bPasv = 0;
    Open(m_com.m_DataSock);
    Break(m_com.m_ListenSock);
    EXPECT_EQ(m_com.CloseDataSock(), -1);
    ASSERT_EQ(RecordingLog::All().size(), 1U);
    ExpectLog(RecordingLog::Errors()[0], kListenLog, 230);
    EXPECT_EQ(m_com.m_DataSock.get_handle(), ACE_INVALID_HANDLE);
}

TEST_F(CloseTest, LogsBothFailuresInActiveMode) {
    m_com.m_bPasv = 0;
    Break(m_com.m_DataSock);
    m_com.m_ListenSock.set_handle(m_com.m_DataSock.get_handle());
    EXPECT_EQ(m_com.CloseDataSock(), -1);
    ASSERT_EQ(RecordingLog::All().size(), 2U);
    ExpectLog(RecordingLog::Errors()[0], kDataLog, 221);
    ExpectLog(RecordingLog::Errors()[1], kListenLog, 230);
}

TEST_F(CloseTest, ReturnsTheResultOfTheControlSocketWithoutLog) {
    Open(m_com.m_CtrlSock);
    EXPECT_EQ(m_com.CloseCtrlSock(), 0);
    EXPECT_EQ(m_com.m_CtrlSock.get_handle(), ACE_INVALID_HANDLE);
    Break(m_com.m_CtrlSock);
    EXPECT_EQ(m_com.CloseCtrlSock(), -1);
    EXPECT_TRUE(RecordingLog::All().empty());
}

TEST_F(CloseTest, IsHarmlessOnWhatIsNotOpen) {
    for (const int bPasv : {0, 1}) {
        m_com.m_bPasv = bPasv;
        m_com.CloseDataSock();
        m_com.CloseCtrlSock();
        EXPECT_EQ(m_com.CloseAll(), 0U);
    }
}

TEST_F(CloseTest, ClosesAll) {
    Open(m_com.m_DataSock);
    Open(m_com.m_CtrlSock);
    EXPECT_EQ(m_com.CloseAll(), 0U);
    EXPECT_EQ(m_com.m_DataSock.get_handle(), ACE_INVALID_HANDLE);
    EXPECT_EQ(m_com.m_CtrlSock.get_handle(), ACE_INVALID_HANDLE);
    EXPECT_TRUE(RecordingLog::All().empty());
}

TEST_F(CloseTest, ClosesTheControlSocketAlsoWhenTheDataSocketFails) {
    Open(m_com.m_CtrlSock);
    Break(m_com.m_DataSock);
    EXPECT_EQ(m_com.CloseAll(), kCloseFailed);
    EXPECT_EQ(m_com.m_CtrlSock.get_handle(), ACE_INVALID_HANDLE);
    ASSERT_EQ(RecordingLog::All().size(), 1U);
    ExpectLog(RecordingLog::Errors()[0], kDataLog, 221);
}

TEST_F(CloseTest, ReportsAControlSocketThatDoesNotClose) {
    Break(m_com.m_CtrlSock);
    EXPECT_EQ(m_com.CloseAll(), kCloseFailed);
    EXPECT_TRUE(RecordingLog::All().empty());
}

// ---- A host program with many descriptors ----

class ManyDescriptorsTest : public TransportTest {
protected:
    void SetUp() override {
        constexpr rlim_t kWanted = 2048;
        rlimit limit{};
        ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
        ASSERT_GE(limit.rlim_max, kWanted) << "this machine does not allow enough descriptors";
        limit.rlim_cur = kWanted;
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
        for (int i = 0; i < 1200; ++i) {
            m_open.emplace_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
            ASSERT_TRUE(m_open.back().IsOpen());
        }
    }

    std::vector<CHandle> m_open;
};

TEST_F(ManyDescriptorsTest, DoNotMatterInPassiveMode) {
    const std::string strBytes = Payload(2000000);
    ScriptedServer server{Say("220 hello\r\n"), SayPassive(), SendData("listing"), CloseData(),
                          ExpectBytes(strBytes)};
    Connect(server);
    ASSERT_GT(m_com.m_CtrlSock.get_handle(), 1024);
    std::string strBuffer(600, '\0');
    std::string strSaid;
    while (strSaid.find("227") == std::string::npos || strSaid.find(").") == std::string::npos) {
        const int nGot = m_com.RecvCtrl(strBuffer.data(), 520, 5);
        ASSERT_GT(nGot, 0);
        strSaid.append(strBuffer, 0, static_cast<std::size_t>(nGot));
    }
    unsigned int uHigh = 0;
    unsigned int uLow = 0;
    ASSERT_EQ(std::sscanf(strSaid.c_str() + strSaid.find("227"),
                          "227 Entering Passive Mode (127,0,0,1,%u,%u)", &uHigh, &uLow),
              2);
    unsigned int uIp = 0;
    auto usPort = static_cast<unsigned short>(uHigh * 256 + uLow);
    ASSERT_EQ(m_com.OpenDataLink(uIp, usPort, 5), 0);
    EXPECT_EQ(m_com.RecvData(strBuffer.data(), 600, 5), 7);
    EXPECT_EQ(m_com.RecvData(strBuffer.data(), 600, 5), 0);
    // More than the socket takes at once, so that sending has to wait.
    EXPECT_EQ(m_com.SendCtrl(strBytes.data(), static_cast<int>(strBytes.size())),
              static_cast<int>(strBytes.size()));
    EXPECT_LT(m_com.RecvCtrl(strBuffer.data(), 520, 1), 0);
    EXPECT_EQ(m_com.CloseAll(), 0U);
    server.ExpectFinished();
}

TEST_F(ManyDescriptorsTest, DoNotMatterInActiveMode) {
    ScriptedServer server{Accept()};
    Connect(server, 0);
    unsigned short usPort = 0;
    unsigned int uIp = 0;
    ASSERT_EQ(m_com.ListenData(usPort, uIp), 0);
    ASSERT_GT(m_com.m_ListenSock.get_handle(), 1024);
    const CHandle peer = ConnectLoopback(usPort);
    ASSERT_EQ(m_com.AcceptData(5), 0);
    ASSERT_EQ(::send(peer.Get(), "x", 1, 0), 1);
    char byte = 0;
    EXPECT_EQ(m_com.RecvData(&byte, 1, 5), 1);
    EXPECT_EQ(m_com.CloseAll(), 0U);
    server.ExpectFinished();
}

TEST_F(ManyDescriptorsTest, DoNotMatterForASilentServer) {
    const SilentPort silent;
    const Clock::time_point start = Clock::now();
    EXPECT_LT(m_com.Connect(Param(silent.Port()), 1), 0);
    EXPECT_GE(MsSince(start), 1000);
    ASSERT_EQ(RecordingLog::Errors().size(), 1U);
    EXPECT_EQ(RecordingLog::Errors()[0].strText,
              "[FTPCLIENT]CFtpClientCom::Connect error :Timer expired,ErrorCode:62\n");
}

}  // namespace
