#include "tools/remotepath.h"

#include <gtest/gtest.h>

#include <string>

using namespace qelftp;
using namespace std::string_literals;

namespace {

struct SPair {
    const char* pszGiven;
    const char* pszExpected;
};

TEST(RemotePath, NormalFormNeverLeavesTheLoginDirectory) {
    for (const SPair& row : {
             SPair{"", "/"},
             SPair{"/", "/"},
             SPair{"a", "/a"},
             SPair{"/a/b", "/a/b"},
             SPair{"/a/b/", "/a/b"},
             SPair{"///a///b", "/a/b"},
             SPair{"/./a/.", "/a"},
             SPair{"/..", "/"},
             SPair{"/a/../../..", "/"},
             SPair{"/a/b/../c", "/a/c"},
             SPair{"/../a", "/a"},
             SPair{"/..a/.b/c..", "/..a/.b/c.."},
             SPair{"/a b/ ", "/a b/ "},
         }) {
        EXPECT_EQ(NormalPath(row.pszGiven), row.pszExpected) << row.pszGiven;
    }
}

TEST(RemotePath, ParentIsOneLevelUpAndNotAboveTheTop) {
    for (const SPair& row : {SPair{"/", "/"}, SPair{"/a", "/"}, SPair{"/a/b", "/a"},
                             SPair{"/a/b/c", "/a/b"}, SPair{"/a\\b", "/"}}) {
        EXPECT_EQ(ParentOf(row.pszGiven), row.pszExpected) << row.pszGiven;
    }
}

TEST(RemotePath, NameFollowsTheLastSeparatorOfEitherKind) {
    for (const SPair& row :
         {SPair{"/a", "a"}, SPair{"/a/b.txt", "b.txt"}, SPair{"b", "b"}, SPair{"/a/", ""},
          SPair{"/x/a\\b", "b"}, SPair{"../c d", "c d"}, SPair{"", ""}}) {
        EXPECT_EQ(NameOf(row.pszGiven), row.pszExpected) << row.pszGiven;
    }
}

TEST(RemotePath, BelowAddsOneSeparator) {
    EXPECT_EQ(Below("/", "a"), "/a");
    EXPECT_EQ(Below("/a", "b"), "/a/b");
}

TEST(RemotePath, LineEndsAndZeroBytesDoNotFitOnACommandLine) {
    for (const std::string& strBad : {"a\rb"s, "a\nb"s, "a\0b"s, "\n"s}) {
        EXPECT_FALSE(FitsOnCommandLine(strBad)) << testing::PrintToString(strBad);
    }
    for (const std::string& strGood : {""s, "a b"s, "\x1b\x7f\x01"s, "\xc3\xa4"s}) {
        EXPECT_TRUE(FitsOnCommandLine(strGood)) << testing::PrintToString(strGood);
    }
}

}  // namespace
