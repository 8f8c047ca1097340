// The data socket of a session: opening it by connecting and by accepting.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <string>
#include <thread>

#include "tests/dialogue/descriptors.h"
#include "tests/dialogue/signals.h"
#include "tests/dialogue/transporttest.h"

namespace {

using namespace RVN_FTP_CLIENT;
using namespace TestSupport;

constexpr unsigned int kUntouchedIp = 0xDEADBEEF;
constexpr unsigned short kUntouchedPort = 4711;

sockaddr_in LocalAddress(unsigned int uIp) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(uIp);
    return address;
}

void BindTo(int fd, unsigned int uIp) {
    const sockaddr_in address = LocalAddress(uIp);
    ASSERT_EQ(::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
}

void ConnectTo(int fd, unsigned int uIp, unsigned short usPort) {
    sockaddr_in address = LocalAddress(uIp);
    address.sin_port = htons(usPort);
    ASSERT_EQ(::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
}

CHandle Listener() {
    CHandle listener = BindLoopback();
    StartListening(listener.Get());
    return listener;
}

// ---- Passive ----

class PassiveTest : public TransportTest {
protected:
    PassiveTest() { m_com.m_strHost = "127.0.0.1"; }

    int Open(unsigned short usPort, unsigned int uTimeout = 5) {
        m_uIp = kUntouchedIp;
        m_usPort = usPort;
        return m_com.OpenDataLink(m_uIp, m_usPort, uTimeout);
    }

    unsigned int m_uIp = 0;
    unsigned short m_usPort = 0;
};

TEST_F(PassiveTest, ConnectsToTheGivenPortAndTouchesNeitherOutput) {
    const CHandle listener = Listener();
    const unsigned short usPort = PortOf(listener.Get());
    EXPECT_EQ(Open(usPort), 0);
    EXPECT_EQ(m_uIp, kUntouchedIp);
    EXPECT_EQ(m_usPort, usPort);
    const CHandle accepted(::accept(listener.Get(), nullptr, nullptr));
    EXPECT_EQ(m_com.SendData("hello", 5), 5);
    char bytes[6] = "";
    EXPECT_EQ(::recv(accepted.Get(), bytes, 5, MSG_WAITALL), 5);
    EXPECT_STREQ(bytes, "hello");
    EXPECT_TRUE(RecordingLog::All().empty());
}

TEST_F(PassiveTest, ConnectsToTheHostOfTheControlConnection) {
    const CHandle listener = Listener();  // on 127.0.0.1 only
    m_com.m_strHost = "127.0.0.2";
    EXPECT_LT(Open(PortOf(listener.Get())), 0);
    m_com.m_strHost = "127.0.0.1";
    EXPECT_EQ(Open(PortOf(listener.Get())), 0);
}

TEST_F(PassiveTest, ResolvesTheHost) {
    const CHandle listener = Listener();
    Hooks::NameHost("ftp.example", "127.0.0.1");
    m_com.m_strHost = "ftp.example";
    EXPECT_EQ(Open(PortOf(listener.Get())), 0);
    Hooks::NameHost(nullptr, nullptr);
}

TEST_F(PassiveTest, FailsAtOnceWithoutLogWhenRefused) {
    const DeadPort dead;
    EXPECT_LT(Open(dead.Port()), 0);
    EXPECT_EQ(errno, ECONNREFUSED);
    EXPECT_TRUE(Hooks::Sleeps().empty());
    EXPECT_TRUE(RecordingLog::All().empty());
    EXPECT_EQ(m_com.m_DataSock.get_handle(), ACE_INVALID_HANDLE);
}

TEST_F(PassiveTest, FailsAtItsTimeoutOnASilentAddress) {
    const SilentPort silent;
    const Clock::time_point start = Clock::now();
    EXPECT_LT(Open(silent.Port(), 1), 0);
    EXPECT_GE(MsSince(start), 1000);
    EXPECT_TRUE(RecordingLog::All().empty());
}

TEST_F(PassiveTest, LeavesNoDescriptorAfterFailures) {
    const DeadPort dead;
    const SilentPort silent;
    const std::size_t nBefore = OpenDescriptors();
    EXPECT_LT(Open(dead.Port()), 0);
    EXPECT_EQ(OpenDescriptors(), nBefore);
    EXPECT_LT(Open(silent.Port(), 0), 0);
    EXPECT_EQ(OpenDescriptors(), nBefore);
    EXPECT_LT(Open(silent.Port(), 1), 0);
    EXPECT_EQ(OpenDescriptors(), nBefore);
}

TEST_F(PassiveTest, ReplacesADataConnectionThatIsStillOpen) {
    const CHandle listener = Listener();
    EXPECT_EQ(Open(PortOf(listener.Get())), 0);
    const CHandle first(::accept(listener.Get(), nullptr, nullptr));
    const std::size_t nBefore = OpenDescriptors();
    EXPECT_EQ(Open(PortOf(listener.Get())), 0);
    EXPECT_EQ(OpenDescriptors(), nBefore);
    char byte = 0;
    ASSERT_TRUE(WaitReadable(first.Get(), Millis(5000)));
    EXPECT_EQ(::recv(first.Get(), &byte, 1, 0), 0);
}

TEST_F(PassiveTest, MakesTheSocketNonBlockingAndCloseOnExec) {
    const CHandle listener = Listener();
    ASSERT_EQ(Open(PortOf(listener.Get())), 0);
    EXPECT_TRUE(IsNonBlocking(m_com.m_DataSock.get_handle()));
    EXPECT_TRUE(IsCloseOnExec(m_com.m_DataSock.get_handle()));
}

// ---- Active ----

// A control connection whose own address is not the usual one, so that it can be told from it.
class ActiveTest : public TransportTest {
protected:
    static constexpr unsigned int kOwnIp = 0x7F000005;    // 127.0.0.5
    static constexpr unsigned int kOtherIp = 0x7F000009;  // 127.0.0.9

    void SetUp() override {
        m_com.m_bPasv = 0;
        m_server = Listener();
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        BindTo(fd, kOwnIp);
        ConnectTo(fd, INADDR_LOOPBACK, PortOf(m_server.Get()));
        m_com.m_CtrlSock.set_handle(fd);
    }
    ~ActiveTest() override { Hooks::OnListen(nullptr); }

    static sockaddr_in AddressOf(int fd) {
        sockaddr_in address{};
        socklen_t nSize = sizeof address;
        EXPECT_EQ(::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &nSize), 0);
        return address;
    }

    static CHandle ConnectFrom(unsigned int uFromIp, unsigned short usPort) {
        CHandle socket(::socket(AF_INET, SOCK_STREAM, 0));
        BindTo(socket.Get(), uFromIp);
        ConnectTo(socket.Get(), kOwnIp, usPort);
        return socket;
    }

    CHandle m_server;
    unsigned short m_usPort = kUntouchedPort;
    unsigned int m_uIp = kUntouchedIp;
};

TEST_F(ActiveTest, ListensWhereTheControlConnectionIs) {
    ASSERT_EQ(m_com.ListenData(m_usPort, m_uIp), 0);
    EXPECT_EQ(m_uIp, kOwnIp);
    const sockaddr_in listening = AddressOf(m_com.m_ListenSock.get_handle());
    EXPECT_EQ(m_usPort, ntohs(listening.sin_port));
    EXPECT_NE(m_usPort, 0);
    EXPECT_EQ(ntohl(listening.sin_addr.s_addr), kOwnIp);
    EXPECT_TRUE(IsCloseOnExec(m_com.m_ListenSock.get_handle()));
}

TEST_F(ActiveTest, ChoosesAnotherPortEachTime) {
    ASSERT_EQ(m_com.ListenData(m_usPort, m_uIp), 0);
    const unsigned short usFirst = m_usPort;
    CFtpClientCom other;
    other.m_CtrlSock.set_handle(m_com.m_CtrlSock.get_handle());
    ASSERT_EQ(other.ListenData(m_usPort, m_uIp), 0);
    EXPECT_NE(m_usPort, usFirst);
    other.m_ListenSock.close();
}

TEST_F(ActiveTest, ReplacesAListeningSocketThatIsStillOpen) {
    ASSERT_EQ(m_com.ListenData(m_usPort, m_uIp), 0);
    const std::size_t nBefore = OpenDescriptors();
    ASSERT_EQ(m_com.ListenData(m_usPort, m_uIp), 0);
    EXPECT_EQ(OpenDescriptors(), nBefore);
}

TEST_F(ActiveTest, TellsItsAddressAlsoWhenListeningFails) {
    Hooks::FailNextListen(EADDRINUSE);
    EXPECT_EQ(m_com.ListenData(m_usPort, m_uIp), -1);
    EXPECT_EQ(m_uIp, kOwnIp);
    EXPECT_EQ(m_usPort, kUntouchedPort);
}

TEST_F(ActiveTest, LeavesNoDescriptorWhenListeningFails) {
    const std::size_t nBefore = OpenDescriptors();
    Hooks::FailNextListen(EADDRINUSE);
    EXPECT_EQ(m_com.ListenData(m_usPort, m_uIp), -1);
    EXPECT_EQ(OpenDescriptors(), nBefore);
}

TEST_F(ActiveTest, AcceptsADataConnectionFromAnyAddress) {
    ASSERT_EQ(m_com.ListenData(m_usPort, m_uIp), 0);
    const CHandle peer = ConnectFrom(kOtherIp, m_usPort);
    ASSERT_EQ(m_com.AcceptData(5), 0);
    ASSERT_EQ(::send(peer.Get(), "abc", 3, 0), 3);
    char bytes[4] = "";
    EXPECT_EQ(m_com.RecvData(bytes, 3, 5), 3);
    EXPECT_STREQ(bytes, "abc");
    EXPECT_TRUE(IsNonBlocking(m_com.m_DataSock.get_handle()));
    EXPECT_TRUE(IsCloseOnExec(m_com.m_DataSock.get_handle()));
    EXPECT_TRUE(RecordingLog::All().empty());
}

TEST_F(ActiveTest, ReplacesADataConnectionThatIsStillOpen) {
    ASSERT_EQ(m_com.ListenData(m_usPort, m_uIp), 0);
    const CHandle first = ConnectFrom(kOtherIp, m_usPort);
    ASSERT_EQ(m_com.AcceptData(5), 0);
    const CHandle second = ConnectFrom(kOtherIp, m_usPort);
    ASSERT_EQ(m_com.AcceptData(5), 0);
    char byte = 0;
    ASSERT_TRUE(WaitReadable(first.Get(), Millis(5000)));
    EXPECT_EQ(::recv(first.Get(), &byte, 1, 0), 0);  // its other end is closed
}

TEST_F(ActiveTest, FailsToAcceptAtItsTimeout) {
    ASSERT_EQ(m_com.ListenData(m_usPort, m_uIp), 0);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(m_com.AcceptData(1), -1);
    EXPECT_GE(MsSince(start), 1000);
    EXPECT_EQ(m_com.m_DataSock.get_handle(), ACE_INVALID_HANDLE);
    EXPECT_TRUE(RecordingLog::All().empty());
}

TEST_F(ActiveTest, DoesNotWaitToAcceptWithATimeoutOfZero) {
    ASSERT_EQ(m_com.ListenData(m_usPort, m_uIp), 0);
    EXPECT_EQ(m_com.AcceptData(0), -1);
    const CHandle peer = ConnectFrom(kOtherIp, m_usPort);
    EXPECT_EQ(m_com.AcceptData(0), 0);
}

TEST_F(ActiveTest, AcceptsWhileSignalsInterruptIt) {
    ASSERT_EQ(m_com.ListenData(m_usPort, m_uIp), 0);
    CHandle peer;
    std::thread late([&] {
        std::this_thread::sleep_for(Millis(300));
        peer = ConnectFrom(kOtherIp, m_usPort);
    });
    {
        const CSignals signals;
        EXPECT_EQ(m_com.AcceptData(10), 0);
    }
    late.join();
}

TEST_F(ActiveTest, FailsToAcceptWithoutListening) {
    EXPECT_EQ(m_com.AcceptData(0), -1);
}

TEST_F(ActiveTest, OpensTheDataLinkByListeningAndAccepting) {
    CHandle peer;
    unsigned short usListening = 0;
    Hooks::OnListen([&](unsigned short usPort) {
        usListening = usPort;
        peer = ConnectFrom(kOtherIp, usPort);
    });
    ASSERT_EQ(m_com.OpenDataLink(m_uIp, m_usPort, 5), 0);
    EXPECT_EQ(m_uIp, kOwnIp);
    EXPECT_EQ(m_usPort, usListening);
    EXPECT_EQ(m_com.SendData("x", 1), 1);
    char byte = 0;
    EXPECT_EQ(::recv(peer.Get(), &byte, 1, MSG_WAITALL), 1);
}

TEST_F(ActiveTest, FailsToOpenTheDataLinkWhenNobodyConnects) {
    const Clock::time_point start = Clock::now();
    EXPECT_LT(m_com.OpenDataLink(m_uIp, m_usPort, 1), 0);
    EXPECT_GE(MsSince(start), 1000);
    EXPECT_EQ(m_uIp, kOwnIp);
    EXPECT_NE(m_usPort, kUntouchedPort);
}

TEST_F(ActiveTest, ReportsSuccessAndTouchesNeitherOutputWhenListeningFails) {
    Hooks::FailNextListen(EADDRINUSE);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(m_com.OpenDataLink(m_uIp, m_usPort, 30), 0);
    EXPECT_LT(MsSince(start), 20000);  // there is nothing to accept from
    EXPECT_EQ(m_com.m_DataSock.get_handle(), ACE_INVALID_HANDLE);
    EXPECT_EQ(m_usPort, kUntouchedPort);
    EXPECT_EQ(m_uIp, kUntouchedIp);
    EXPECT_TRUE(RecordingLog::All().empty());
}

}  // namespace
