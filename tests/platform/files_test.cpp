#include "platform/files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

#include "tests/platform/scratchdirectory.h"

namespace PlatformTest {
namespace {

struct SCloseFile {
    void operator()(FILE* pFile) const { std::fclose(pFile); }
};
using File = std::unique_ptr<FILE, SCloseFile>;

File Open(const std::string& strPath, const char* pszMode) {
    return File(ZELT_OS::fopen(strPath.c_str(), pszMode, "UTF-8"));
}

TEST(PlatformFopen, OpensInEachMode) {
    struct SModeCase {
        const char* pszMode;
        const char* pszLeft;  // of a file "old" to which "N" is written
    };
    const SModeCase rows[] = {
        {"wb", "N"}, {"w", "N"}, {"w+b", "N"}, {"ab", "oldN"}, {"r+b", "Nld"}, {"rb+", "Nld"},
    };
    const CScratchDirectory directory;
    const std::string strPath = directory.Path("file");
    for (const SModeCase& row : rows) {
        SCOPED_TRACE(row.pszMode);
        WriteFile(strPath, "old");
        File file = Open(strPath, row.pszMode);
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(std::fputc('N', file.get()), 'N');
        file.reset();
        EXPECT_EQ(ReadFile(strPath), row.pszLeft);
    }
}

TEST(PlatformFopen, ReadsInModeRb) {
    const CScratchDirectory directory;
    WriteFile(directory.Path("file"), "x");
    const File file = Open(directory.Path("file"), "rb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::fgetc(file.get()), 'x');
    EXPECT_EQ(std::fputc('N', file.get()), EOF);
}

TEST(PlatformFopen, NoProgramStartedByTheHostInheritsTheFile) {
    const CScratchDirectory directory;
    for (const char* pszMode : {"wb", "rb", "ab", "r+b", "w"}) {
        const File file = Open(directory.Path("file"), pszMode);
        ASSERT_NE(file, nullptr) << pszMode;
        EXPECT_EQ(fcntl(fileno(file.get()), F_GETFD), FD_CLOEXEC) << pszMode;
    }
}

struct SFailureCase {
    const char* pszName;
    const char* pszPath;  // below the directory, which holds "file"
    const char* pszMode;
    int nErrno;
};

TEST(PlatformFopen, FailsWithTheReason) {
    const SFailureCase rows[] = {
        {"missing file", "missing", "rb", ENOENT},
        {"missing directory", "missing/file", "wb", ENOENT},
        {"a directory to write", ".", "wb", EISDIR},
        {"a file as directory", "file/x", "rb", ENOTDIR},
        {"empty mode", "file", "", EINVAL},
        {"unknown mode", "file", "q", EINVAL},
    };
    const CScratchDirectory directory;
    WriteFile(directory.Path("file"), "x");
    for (const SFailureCase& row : rows) {
        SCOPED_TRACE(row.pszName);
        errno = 0;
        EXPECT_EQ(Open(directory.Path(row.pszPath), row.pszMode), nullptr);
        EXPECT_EQ(errno, row.nErrno);
    }
}

TEST(PlatformFopen, RefusesNullArguments) {
    const CScratchDirectory directory;
    const std::string strPath = directory.Path("file");
    WriteFile(strPath, "x");
    errno = 0;
    EXPECT_EQ(ZELT_OS::fopen(nullptr, "rb", "UTF-8"), nullptr);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(ZELT_OS::fopen(strPath.c_str(), nullptr, "UTF-8"), nullptr);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(ZELT_OS::fopen(strPath.c_str(), "rb", nullptr), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

TEST(PlatformAccess, TestsAsTheSystemDoes) {
    const CScratchDirectory directory;
    const std::string strFile = directory.Path("file");
    WriteFile(strFile, "x");
    EXPECT_EQ(ZELT_OS::access(strFile.c_str(), 0, "UTF-8"), 0);
    EXPECT_EQ(ZELT_OS::access(strFile.c_str(), R_OK | W_OK, "UTF-8"), 0);
    EXPECT_EQ(ZELT_OS::access(directory.Path(".").c_str(), 0, "UTF-8"), 0);
    errno = 0;
    EXPECT_EQ(ZELT_OS::access(strFile.c_str(), X_OK, "UTF-8"), -1);
    EXPECT_EQ(errno, EACCES);
    errno = 0;
    EXPECT_EQ(ZELT_OS::access(directory.Path("missing").c_str(), 0, "UTF-8"), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST(PlatformAccess, RefusesNullArguments) {
    errno = 0;
    EXPECT_EQ(ZELT_OS::access(nullptr, 0, "UTF-8"), -1);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(ZELT_OS::access("/", 0, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
}

}  // namespace
}  // namespace PlatformTest
