#include "tests/support/onebyte.h"

#include <ace/ACE.h>
#include <ace/Time_Value.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <string>
#include <vector>

#include "tests/support/sockets.h"

namespace {

using namespace TestSupport;

constexpr std::size_t kControlReceive = 520;

class OneByteTest : public testing::Test {
protected:
    OneByteTest() {
        std::array<int, 2> fds{};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds.data()), 0);
        m_near = CHandle(fds[0]);
        m_far = CHandle(fds[1]);
        EXPECT_EQ(::send(m_far.Get(), "hello", 5, 0), 5);
        OneByte::ClearCounts();
    }

    // As the library receives: through ACE, with a time-out.
    std::string Receive(std::size_t nCapacity, int nTimeout = 1) {
        std::array<char, 1024> bytes{};
        const ACE_Time_Value timeout(nTimeout, 0);
        const ssize_t nGot = ACE::recv(m_near.Get(), bytes.data(), nCapacity, &timeout);
        return nGot < 0 ? "(none)" : std::string(bytes.data(), static_cast<std::size_t>(nGot));
    }

    CHandle m_near;
    CHandle m_far;
};

TEST_F(OneByteTest, PassesReceivesOnWhenOff) {
    EXPECT_EQ(Receive(kControlReceive), "hello");
    EXPECT_EQ(OneByte::Receives(), 1);
}

TEST_F(OneByteTest, CutsControlReceivesToOneByteWhenOn) {
    const OneByte one(true);
    EXPECT_EQ(Receive(kControlReceive), "h");
    EXPECT_EQ(Receive(kControlReceive), "e");
    EXPECT_EQ(OneByte::Receives(), 2);
}

TEST_F(OneByteTest, LeavesOtherReceivesAlone) {
    const OneByte one(true);
    EXPECT_EQ(Receive(1024), "hello");
    EXPECT_EQ(OneByte::Receives(), 0);
}

TEST_F(OneByteTest, IsOffAgainAtItsEnd) {
    { const OneByte one(true); }
    EXPECT_EQ(Receive(kControlReceive), "hello");
}

TEST_F(OneByteTest, RecordsTheTimeOutsOfWaits) {
    EXPECT_EQ(Receive(kControlReceive, 7), "hello");
    EXPECT_EQ(Receive(kControlReceive, 0), "(none)");
    EXPECT_EQ(OneByte::WaitsMs(), (std::vector<int>{7000, 0}));
    EXPECT_EQ(OneByte::Receives(), 1);
    OneByte::ClearCounts();
    EXPECT_EQ(OneByte::WaitsMs(), std::vector<int>{});
    EXPECT_EQ(OneByte::Receives(), 0);
}

}  // namespace
