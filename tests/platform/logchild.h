#ifndef QEL_TESTS_PLATFORM_LOGCHILD_H
#define QEL_TESTS_PLATFORM_LOGCHILD_H

namespace PlatformTest {

// How much platform_logchild writes.
constexpr int kLogThreads = 8;
constexpr int kLogLines = 250;        // of each thread
constexpr int kRotatedLines = 12000;  // of more than a thousand bytes each

}  // namespace PlatformTest

#endif
