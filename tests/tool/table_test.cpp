#include "tools/table.h"

#include <gtest/gtest.h>

#include <clocale>
#include <stdexcept>
#include <string>

#include "tools/visible.h"

using namespace qelftp;
using namespace std::string_literals;

namespace {

// Which characters are printable is the locale's business.
class InLocale {
public:
    explicit InLocale(const char* pszName) : m_strBefore(std::setlocale(LC_ALL, nullptr)) {
        if (std::setlocale(LC_ALL, pszName) == nullptr) throw std::runtime_error("no such locale");
    }
    ~InLocale() { std::setlocale(LC_ALL, m_strBefore.c_str()); }

private:
    std::string m_strBefore;
};

struct SPair {
    std::string strGiven;
    std::string strExpected;
};

TEST(VisibleText, NothingInItDrivesATerminal) {
    const InLocale utf8("C.UTF-8");
    for (const SPair& row : {
             SPair{"plain name.txt", "plain name.txt"},
             SPair{"", ""},
             SPair{"\x1b[31mred", "\\x1b[31mred"},
             SPair{"a\tb\rc\nd", "a\\x09b\\x0dc\\x0ad"},
             SPair{"bell\x07"s, "bell\\x07"},
             SPair{"zero\0byte"s, "zero\\x00byte"},
             SPair{"del\x7f", "del\\x7f"},
             SPair{"\xc2\x9b"
                   "31m",
                   "\\xc2\\x9b31m"},  // U+009B starts a control sequence, too
             SPair{"\x9b"
                   "31m",
                   "\\x9b31m"},
             SPair{"\xc3\xa4\xe6\xbc\xa2\xf0\x9f\x98\x80", "\xc3\xa4\xe6\xbc\xa2\xf0\x9f\x98\x80"},
             SPair{"cut \xc3", "cut \\xc3"},
             SPair{"\xc0\xaf", "\\xc0\\xaf"},           // an overlong form
             SPair{"\xed\xa0\x80", "\\xed\\xa0\\x80"},  // a surrogate
             SPair{"a\\x1b", "a\\\\x1b"},
         }) {
        EXPECT_EQ(VisibleText(row.strGiven), row.strExpected);
    }
}

TEST(VisibleText, OutsideOfAsciiOnlyWhatTheLocaleHas) {
    const InLocale ascii("C");
    EXPECT_EQ(VisibleText("\xc3\xa4"), "\\xc3\\xa4");
}

TEST(EntryTable, OfNothingIsEmpty) {
    EXPECT_EQ(EntryTable({}), "");
}

TEST(EntryTable, AlignsItsColumnsAndSortsByName) {
    EXPECT_EQ(EntryTable({{EEntryType::File, "1234567", "2019-03-03 12:30", "b c.txt"},
                          {EEntryType::Directory, "4096", "2019-03-03", "sub"},
                          {EEntryType::Link, "7", "12-31-19 11:59PM", "a"}}),
              "link        7  12-31-19 11:59PM  a\n"
              "file  1234567  2019-03-03 12:30  b c.txt\n"
              "dir      4096  2019-03-03        sub\n");
}

TEST(EntryTable, ShowsOneLinePerEntryWhateverTheServerSends) {
    EXPECT_EQ(EntryTable({{EEntryType::File, "1\x1b", "2\n3", "\x1b]0;title\x07"}}),
              "file  1\\x1b  2\\x0a3  \\x1b]0;title\\x07\n");
}

}  // namespace
