#include "src/ftp/wildmatch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace RVN_FTP_CLIENT {
namespace {

struct SCase {
    const char* pszText;
    const char* pszPattern;
    int nMatches;
};

TEST(WildMatch, FollowsItsRules) {
    const SCase cases[] = {
        {"", "", 1},
        {"a", "", 0},
        {"", "a", 0},
        {"abc", "abc", 1},
        {"abc", "ab", 0},
        {"ab", "abc", 0},
        // '*': any run, an empty one and line ends included
        {"", "*", 1},
        {"", "**", 1},
        {"abc", "*", 1},
        {"abc", "a*", 1},
        {"abc", "*c", 1},
        {"abc", "a*c", 1},
        {"ac", "a*c", 1},
        {"abc", "a*b", 0},
        {"550-one\r\n550 two\r\n", "*one*two*", 1},
        // '?': exactly one byte, a line end too
        {"a", "?", 1},
        {"", "?", 0},
        {"ab", "?", 0},
        {"ab", "a?", 1},
        {"a", "a?", 0},
        {"a\nc", "a?c", 1},
        {"ab", "?*", 1},
        {"a", "?*", 1},
        {"", "?*", 0},
        // ... but nothing directly after a '*'
        {"abc", "a*?", 1},
        {"ab", "a*?b", 1},
        {"ab", "a*??b", 1},
        {"ab", "a*?*?b", 1},
        {"b", "*?b", 1},
        // Case counts.
        {"abc", "aBc", 0},
        {"ABC", "*b*", 0},
        // On a mismatch the most recent '*' takes one byte more.
        {"aab", "*ab", 1},
        {"mississippi", "*iss*ip*", 1},
        {"mississippi", "*iss*iss*ppi", 1},
        {"mississippi", "*iss*iss*iss*", 0},
        {"abab", "*ab", 1},
        {"ababc", "*ab", 0},
        // Bytes above 127 are bytes like any other.
        {"\xe9t\xe9", "?t?", 1},
        {"\xe9t\xe9", "*\xe9", 1},
        {"\xe9t\xe9", "*\xe8", 0},
    };
    for (const SCase& test : cases) {
        EXPECT_EQ(WildMatch(test.pszText, test.pszPattern), test.nMatches)
            << "text \"" << test.pszText << "\", pattern \"" << test.pszPattern << '"';
    }
}

// The rules said once more, slowly: every split that a '*' allows is tried.
bool MatchesSlowly(const std::string& strText, const std::string& strPattern) {
    if (strText.empty()) return strPattern.find_first_not_of('*') == std::string::npos;
    if (strPattern.empty()) return false;
    if (strPattern[0] == '*') {
        const std::size_t nRest = strPattern.find_first_not_of("*?");
        if (nRest == std::string::npos) return true;
        for (std::size_t nTaken = 0; nTaken <= strText.size(); ++nTaken) {
            if (MatchesSlowly(strText.substr(nTaken), strPattern.substr(nRest))) return true;
        }
        return false;
    }
    if (strPattern[0] != '?' && strPattern[0] != strText[0]) return false;
    return MatchesSlowly(strText.substr(1), strPattern.substr(1));
}

std::vector<std::string> AllWords(const std::string& strAlphabet, std::size_t nLongest) {
    std::vector<std::string> words{""};
    std::size_t nFirstOfLength = 0;
    for (std::size_t nLength = 1; nLength <= nLongest; ++nLength) {
        const std::size_t nEnd = words.size();
        for (; nFirstOfLength < nEnd; ++nFirstOfLength) {
            for (const char c : strAlphabet)
                words.push_back(words[nFirstOfLength] + c);
        }
    }
    return words;
}

TEST(WildMatch, AgreesWithASlowMatcherOnAllShortWords) {
    const std::vector<std::string> texts = AllWords("ab", 6);
    const std::vector<std::string> patterns = AllWords("ab*?", 5);
    ASSERT_EQ(texts.size(), 127U);
    ASSERT_EQ(patterns.size(), 1365U);
    for (const std::string& strText : texts) {
        for (const std::string& strPattern : patterns) {
            ASSERT_EQ(WildMatch(strText.c_str(), strPattern.c_str()),
                      MatchesSlowly(strText, strPattern) ? 1 : 0)
                << "text \"" << strText << "\", pattern \"" << strPattern << '"';
        }
    }
}

TEST(WildMatch, StaysFastWhereEveryStarMustBacktrack) {
    const std::string strText(20000, 'a');
    std::string strPattern;
    for (int i = 0; i < 200; ++i)
        strPattern += "*a";
    EXPECT_EQ(WildMatch(strText.c_str(), (strPattern + "b").c_str()), 0);
    EXPECT_EQ(WildMatch(strText.c_str(), strPattern.c_str()), 1);
}

TEST(WildMatchGuarded, RefusesWhatIsAbsentOrEmpty) {
    EXPECT_EQ(WildMatchGuarded(nullptr, "*"), 0);
    EXPECT_EQ(WildMatchGuarded("a", nullptr), 0);
    EXPECT_EQ(WildMatchGuarded(nullptr, nullptr), 0);
    EXPECT_EQ(WildMatchGuarded("", "*"), 0);
    EXPECT_EQ(WildMatchGuarded("", ""), 0);
}

TEST(WildMatchGuarded, OtherwiseMatches) {
    EXPECT_EQ(WildMatchGuarded("abc", "a*"), 1);
    EXPECT_EQ(WildMatchGuarded("abc", "b*"), 0);
    EXPECT_EQ(WildMatchGuarded("abc", ""), 0);
}

}  // namespace
}  // namespace RVN_FTP_CLIENT
