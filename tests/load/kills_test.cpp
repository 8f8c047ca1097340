#include "tests/load/ftpload.h"

namespace LoadTest {
namespace {

using Kills = CFtpLoad;

TEST_F(Kills, TwentyFourSessionsMoveDataAndStayFlatInMemory) {
    Run(24, Duration(6));
}

}  // namespace
}  // namespace LoadTest
