#include "tools/wildcard.h"

#include <gtest/gtest.h>

using namespace qelftp;

namespace {

TEST(UrlPattern, IsInTheLastPartOnly) {
    EXPECT_EQ(UrlPattern("ftp://h/a/b"), std::nullopt);
    EXPECT_EQ(UrlPattern("ftp://h"), std::nullopt);
    EXPECT_EQ(UrlPattern("ftp://h*"), std::nullopt);
    EXPECT_EQ(UrlPattern("ftp://h/*/b"), std::nullopt);
    EXPECT_EQ(UrlPattern("ftp://h/*/"), std::nullopt);
    EXPECT_EQ(UrlPattern("ftp://h/a/*.c"), "*.c");
    EXPECT_EQ(UrlPattern("ftp://h/a?"), "a?");
    EXPECT_EQ(UrlPattern("ftp://h/[ab]"), "[ab]");
}

struct SMatchRow {
    const char* pszUrl;
    const char* pszName;
    bool bMatches;
};

TEST(UrlPattern, Matches) {
    constexpr SMatchRow kRows[] = {
        {"ftp://h/*.csv", "may.csv", true},     {"ftp://h/*.csv", "may.txt", false},
        {"ftp://h/*", ".hidden", false},        {"ftp://h/.*", ".hidden", true},
        {"ftp://h/m?y", "may", true},           {"ftp://h/[!a]x", "bx", true},
        {"ftp://h/%2a*", "*b", true},           {"ftp://h/%2a*", "ab", false},
        {"ftp://h/a%5bb]*", "a[b]c", true},     {"ftp://h/a\\*", "a\\b", true},
        {"ftp://h/%5c*", "\\b", true},          {"ftp://h/a[b*", "a[bc", true},
        {"ftp://h/%c3%a4*", "\xc3\xa4x", true}, {"ftp://h/a%20*", "a b", true},
        {"ftp://h/*%25", "50%", true},          {"ftp://h/[a-c]", "b", true},
        {"ftp://h/[%2d]*", "-x", true},
    };
    for (const SMatchRow& row : kRows) {
        const auto pattern = UrlPattern(row.pszUrl);
        ASSERT_TRUE(pattern) << row.pszUrl;
        EXPECT_EQ(MatchesPattern(*pattern, row.pszName), row.bMatches)
            << row.pszUrl << " " << row.pszName << " " << *pattern;
    }
}

}  // namespace
