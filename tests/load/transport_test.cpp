// The waits of the transport that no exported operation reaches, without the low descriptors.

#include <gtest/gtest.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <memory>
#include <string>

#include "src/ftp/ftpclientcom.h"
#include "tests/load/descriptors.h"

namespace LoadTest {
namespace {

using namespace RVN_FTP_CLIENT;
using namespace TestSupport;

class TransportAboveTheLowDescriptors : public testing::Test {
protected:
    void SetUp() override {
        AllowDescriptors(2'000);
        m_pTaken = std::make_unique<CLowDescriptorsTaken>();
        m_listener = BindLoopback();
        StartListening(m_listener.Get());
    }
    void TearDown() override { m_com.CloseAll(); }

    void Connect(bool bPassive) {
        ASSERT_EQ(m_com.Connect({"127.0.0.1", PortOf(m_listener.Get()), bPassive ? 1 : 0}, 5), 0);
        m_control = CHandle(::accept(m_listener.Get(), nullptr, nullptr));
        ASSERT_GE(m_com.m_CtrlSock.get_handle(), FD_SETSIZE);
    }

    std::unique_ptr<CLowDescriptorsTaken> m_pTaken;
    CHandle m_listener;
    CHandle m_control;
    CFtpClientCom m_com;
};

TEST_F(TransportAboveTheLowDescriptors, AnActiveDataConnectionIsAccepted) {
    Connect(false);
    unsigned short usPort = 0;
    unsigned int uAddress = 0;
    ASSERT_EQ(m_com.ListenData(usPort, uAddress), 0);
    const CHandle data = ConnectLoopback(usPort);
    EXPECT_EQ(m_com.AcceptData(5), 0);
    ASSERT_EQ(::send(data.Get(), "tea", 3, 0), 3);
    char buffer[8] = {};
    EXPECT_EQ(m_com.RecvData(buffer, sizeof buffer, 5), 3);
    EXPECT_STREQ(buffer, "tea");
}

TEST_F(TransportAboveTheLowDescriptors, WaitingForAnActiveDataConnectionEndsInTime) {
    Connect(false);
    unsigned short usPort = 0;
    unsigned int uAddress = 0;
    ASSERT_EQ(m_com.ListenData(usPort, uAddress), 0);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(m_com.AcceptData(1), -1);
    EXPECT_GE(MsSince(start), 900);
}

TEST_F(TransportAboveTheLowDescriptors, ASilentPeerEndsBothDirectionsInTime) {
    Connect(true);
    const CHandle data = BindLoopback();
    StartListening(data.Get());
    unsigned int uAddress = 0;
    unsigned short usPort = PortOf(data.Get());
    ASSERT_EQ(m_com.OpenDataLink(uAddress, usPort, 5), 0);
    const Clock::time_point start = Clock::now();
    char buffer[8] = {};
    EXPECT_LT(m_com.RecvCtrl(buffer, sizeof buffer, 1), 0);
    EXPECT_LT(m_com.RecvData(buffer, sizeof buffer, 1), 0);
    const std::string strMuch(16'000'000, 'x');  // more than the sockets hold
    EXPECT_LT(m_com.SendData(strMuch.data(), static_cast<int>(strMuch.size()), 1), 0);
    EXPECT_GE(MsSince(start), 2'900);
    EXPECT_GE(HighestPolled(), FD_SETSIZE);
}

}  // namespace
}  // namespace LoadTest
