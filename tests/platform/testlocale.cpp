#include "tests/platform/testlocale.h"

#include <gtest/gtest.h>
#include <locale.h>
#include <stdlib.h>

#include "tests/platform/scratchdirectory.h"

namespace PlatformTest {

bool UseLocale(const std::string& strName) {
    setenv("LOCPATH", QEL_TEST_LOCALES, 1);
    if (setlocale(LC_ALL, strName.c_str()) != nullptr) return true;
    ADD_FAILURE() << "The locale " << strName << " could not be made in " << QEL_TEST_LOCALES
                  << " when the tests were built. Debian's package `locales` has what localedef "
                  << "needs. It said:\n"
                  << ReadFile(std::string(QEL_TEST_LOCALES) + "/" + strName + ".log");
    return false;
}

}  // namespace PlatformTest
