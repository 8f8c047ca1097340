#include "tests/support/tempdir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

namespace {

using namespace TestSupport;

TEST(TempDir, IsGoneWithItsContentsAtTheEnd) {
    std::filesystem::path path;
    {
        const TempDir dir;
        path = dir.Path();
        std::filesystem::create_directory(dir.File("sub"));
        WriteFile(dir.File("sub/file"), std::string("a\0b\r\n", 5));
        EXPECT_EQ(ReadFile(dir.File("sub/file")), std::string("a\0b\r\n", 5));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(TempDir, FileHelpersTellOfFailures) {
    const TempDir dir;
    EXPECT_THROW(WriteFile(dir.File("missing/file"), "x"), std::runtime_error);
    EXPECT_THROW(ReadFile(dir.File("missing")), std::runtime_error);
}

}  // namespace
