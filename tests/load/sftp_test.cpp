// Without the low descriptors: all that these sessions use are beyond what select() can wait for.

#include <sys/select.h>

#include "tests/load/descriptors.h"
#include "tests/load/sftpload.h"

namespace LoadTest {
namespace {

constexpr std::size_t kDescriptors = 2'000;

TEST(ManySftpSessions, SixtyFourWorkAtTheSameTimeAboveTheLowDescriptors) {
    AllowDescriptors(kDescriptors);
    const CLowDescriptorsTaken taken;
    const std::size_t uBefore = OpenDescriptors();
    RunManySftpSessions(64, uBefore + 2 * 64);  // connection and local file of each
    EXPECT_EQ(OpenDescriptors(), uBefore);
    EXPECT_GE(HighestPolled(), FD_SETSIZE + 64);
}

using SftpKills = CSftpLoad;

TEST_F(SftpKills, SessionsMoveDataAndStayFlatInMemory) {
    AllowDescriptors(kDescriptors);
    const CLowDescriptorsTaken taken;
    Run(16, Duration(4));
}

}  // namespace
}  // namespace LoadTest
