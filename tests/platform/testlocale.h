#ifndef QEL_TESTS_PLATFORM_TESTLOCALE_H
#define QEL_TESTS_PLATFORM_TESTLOCALE_H

#include <string>

namespace PlatformTest {

// Puts the process under one of the locales that the build made, or under "C". False when it is
// missing; the test has failed then.
bool UseLocale(const std::string& strName);

}  // namespace PlatformTest

#endif
