// The order of the two directories that are compiled into the platform. The library's own ones lie
// where a test must not create or remove anything, so this program has its own copy of that code,
// told of two directories of the build tree.

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/platform/serverpath.h"

namespace PlatformTest {
namespace {

TEST(BuiltInServerPath, IsTheInstalledDirectoryThenTheBuiltOneThenUnknown) {
    namespace fs = std::filesystem;
    fs::create_directories(QEL_SERVER_INSTALL_DIR);
    fs::create_directories(QEL_SERVER_BUILD_DIR);
    ExpectServerPath({nullptr, 1, QEL_SERVER_INSTALL_DIR});
    ExpectServerPath({"/opt/server", 1, "/opt/server"});
    ExpectServerPath({"", 0, ""});
    fs::remove(QEL_SERVER_INSTALL_DIR);
    ExpectServerPath({nullptr, 1, QEL_SERVER_BUILD_DIR});
    fs::remove(QEL_SERVER_BUILD_DIR);
    ExpectServerPath({nullptr, 0, ""});
}

}  // namespace
}  // namespace PlatformTest
