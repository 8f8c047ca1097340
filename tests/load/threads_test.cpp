// The other load tests with few sessions, for ThreadSanitizer.

#include <gtest/gtest.h>

#include "tests/load/descriptors.h"
#include "tests/load/ftpload.h"
#include "tests/load/manysessions.h"
#include "tests/load/settings.h"
#include "tests/load/sftpload.h"

namespace LoadTest {
namespace {

class SomeFtpSessions : public CManySessions {};
class KilledFtpSessions : public CFtpLoad {};
class KilledSftpSessions : public CSftpLoad {};

TEST_F(SomeFtpSessions, WorkAtTheSameTime) {
    SilenceLog();  // before any of them has logged: the level is read once
    Run(24, 3 * 24);
}

TEST(SomeSftpSessions, WorkAtTheSameTime) {
    RunManySftpSessions(8, OpenDescriptors() + 2 * 8);
}

TEST_F(KilledFtpSessions, AreRaceFree) {
    Run(8, Duration(4));
}

TEST_F(KilledSftpSessions, AreRaceFree) {
    Run(8, Duration(4));
}

}  // namespace
}  // namespace LoadTest
