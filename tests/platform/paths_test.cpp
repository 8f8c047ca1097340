#include "platform/paths.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/platform/serverpath.h"

namespace PlatformTest {
namespace {

TEST(ServerPath, IsTheEnvironmentVariableFirst) {
    ExpectServerPath({"/opt/server", 1, "/opt/server"});
    ExpectServerPath({"/opt/server/", 1, "/opt/server/"});
    ExpectServerPath({"not there", 1, "not there"});
}

TEST(ServerPath, IsUnknownWhenTheVariableIsEmpty) {
    ExpectServerPath({"", 0, ""});
}

TEST(ServerPath, IsBuiltIntoTheLibraryOtherwise) {
    const bool bInstalled = std::filesystem::is_directory(QEL_SERVER_INSTALL_DIR);
    ExpectServerPath({nullptr, 1, bInstalled ? QEL_SERVER_INSTALL_DIR : QEL_SERVER_BUILD_DIR});
}

TEST(AppendDirSeparator, AddsOneUnlessThereIsOne) {
    struct SSeparatorCase {
        std::string strBefore;
        std::string strAfter;
    };
    const SSeparatorCase rows[] = {
        {"", "/"},      {"/", "/"},        {"\\", "\\"},         {"a", "a/"},       {"a/", "a/"},
        {"a\\", "a\\"}, {"/a/b", "/a/b/"}, {"/a/b//", "/a/b//"}, {"a\\b", "a\\b/"},
    };
    for (const SSeparatorCase& row : rows) {
        std::string strPath = row.strBefore;
        TQ_UTIL::AppendDirSeparator(strPath);
        EXPECT_EQ(strPath, row.strAfter);
    }
}

}  // namespace
}  // namespace PlatformTest
