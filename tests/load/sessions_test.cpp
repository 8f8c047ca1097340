#include "tests/load/descriptors.h"
#include "tests/load/manysessions.h"

namespace LoadTest {
namespace {

using ManySessions = CManySessions;

TEST_F(ManySessions, AThousandWorkAtTheSameTimeWithTwoAndAHalfThousandDescriptors) {
    Run(1'000, 2'500);
    EXPECT_GE(HighestPolled(), 2'500);
}

}  // namespace
}  // namespace LoadTest
