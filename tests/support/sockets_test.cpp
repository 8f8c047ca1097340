#include "tests/support/sockets.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

using namespace TestSupport;

TEST(DeadPort, Refuses) {
    const DeadPort dead;
    EXPECT_FALSE(ConnectLoopback(dead.Port()).IsOpen());
    EXPECT_EQ(errno, ECONNREFUSED);
}

TEST(SilentPort, NeitherAcceptsNorRefuses) {
    const SilentPort silent;
    const Clock::time_point start = Clock::now();
    EXPECT_FALSE(ConnectLoopback(silent.Port(), Millis(300)).IsOpen());
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_GE(MsSince(start), 290);
}

}  // namespace
