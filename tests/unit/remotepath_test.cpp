#include "src/ftp/remotepath.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/recordinglog.h"

namespace RVN_FTP_CLIENT {
namespace {

using TestSupport::RecordingLog;

struct SJoin {
    const char* pszPath;
    const char* pszRoot;
    const char* pszJoined;
};

TEST(AddRoodDir, JoinsPathsToTheRoot) {
    const SJoin joins[] = {
        {"a/b", "/home/u", "/home/u/a/b"},
        {"/a", "/home/u/", "/home/u/a"},
        {"a", "/home/u/", "/home/u/a"},
        {"/home/u/x", "/home/u", "/home/u/home/u/x"},
        {"/", "/home/u", "/home/u/"},
        {"a/", "/home/u", "/home/u/a/"},
        {"//a", "/home/u", "/home/u//a"},
        {"a", "home", "home/a"},
        // the root of the server
        {"a", "/", "/a"},
        {"/a", "/", "/a"},
        {"/", "/", "/"},
        {"a", "//", "/a"},
        {"/a/b", "//", "/a/b"},
        // only one separator goes from the end of any other root
        {"a", "/home//", "/home//a"},
        {"a", "///", "///a"},
        // backslashes: converted in the root, kept in the path
        {"in", "C:\\ftp\\", "C:/ftp/in"},
        {"in", "C:\\ftp", "C:/ftp/in"},
        {"\\in", "/data", "/data\\in"},
        {"\\in", "C:\\", "C:\\in"},
        {"a\\b", "/data", "/data/a\\b"},
        {"in", "\\", "/in"},
        {"in", "\\\\", "/in"},
        {"in", "\\/", "/in"},
        {"\\in", "/", "\\in"},
        {"\\", "/data", "/data\\"},
        // any bytes
        {"\xc3\xa4 b", "/\xff", "/\xff/\xc3\xa4 b"},
        {"..", "/data", "/data/.."},
    };
    RecordingLog::Clear();
    for (const SJoin& join : joins)
        EXPECT_EQ(addRoodDir(join.pszPath, join.pszRoot), join.pszJoined)
            << join.pszPath << " below " << join.pszRoot;
    EXPECT_TRUE(RecordingLog::All().empty());
}

void ExpectWarning(int nLine) {
    const auto errors = RecordingLog::Errors();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].uCode, 0U);
    EXPECT_EQ(errors[0].strText,
              "[FTPCLIENT]FTPRoot is empty! It is dangerous for other ftp handles!");
    EXPECT_EQ(errors[0].strFile, "ftpclientImpl");
    EXPECT_EQ(errors[0].strFunction, "addRoodDir");
    EXPECT_EQ(errors[0].nLine, nLine);
    EXPECT_TRUE(errors[0].bFiltered);
    EXPECT_EQ(RecordingLog::All().size(), 1U);
}

TEST(AddRoodDir, WarnsOfAnEmptyRootAndLeavesThePath) {
    for (const char* pszPath : {"x", "/x", "\\x", "a/b", "", "/"}) {
        RecordingLog::Clear();
        EXPECT_EQ(addRoodDir(pszPath, ""), pszPath);
        ExpectWarning(950);
    }
}

TEST(AddRoodDir, WarnsOfAnEmptyPathAndLeavesItEmpty) {
    for (const char* pszRoot : {"/data", "/", "//", "C:\\"}) {
        RecordingLog::Clear();
        EXPECT_EQ(addRoodDir("", pszRoot), "");
        ExpectWarning(955);
    }
}

struct SSplit {
    const char* pszPath;
    const char* pszDir;
    const char* pszName;
};

TEST(SplitPath, SplitsAtTheLastSeparator) {
    const SSplit splits[] = {
        {"a\\b\\c.txt", "a/b", "c.txt"},
        {"/c.txt", "/", "c.txt"},
        {"\\c.txt", "/", "c.txt"},
        {"c.txt", "", "c.txt"},
        {"", "", ""},
        {"/", "/", ""},
        {"\\", "/", ""},
        {"a/", "a", ""},
        {"/a/", "/a", ""},
        {"a/b", "a", "b"},
        {"/a/b", "/a", "b"},
        {"a\\b/c", "a/b", "c"},
        {"a/b\\c", "a/b", "c"},
        {"//c", "/", "c"},
        {"a//c", "a/", "c"},
        {"C:\\ftp\\in.txt", "C:/ftp", "in.txt"},
        {"a b/c d", "a b", "c d"},
    };
    for (const SSplit& split : splits) {
        const SSplitPath parts = SplitPath(split.pszPath);
        EXPECT_EQ(parts.strDir, split.pszDir) << split.pszPath;
        EXPECT_EQ(parts.strName, split.pszName) << split.pszPath;
    }
}

TEST(RemotePath, HasItsLimit) {
    EXPECT_EQ(kMaxRemotePath, 260U);
}

}  // namespace
}  // namespace RVN_FTP_CLIENT
