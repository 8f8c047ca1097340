#include "src/ftp/listparser.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "src/ftp/listtime.h"

namespace RVN_FTP_CLIENT {
namespace {

std::tm Today() {
    std::tm today{};
    today.tm_year = 2026 - 1900;
    today.tm_mon = 11 - 1;
    today.tm_mday = 21;
    return today;
}

// "type|size|time|name", or "-" when there is no entry.
std::string Shown(const TkFileInfo* pEntry) {
    if (pEntry == nullptr) return "-";
    return std::to_string(pEntry->ucFileType) + '|' + pEntry->strFileSize + '|' +
           pEntry->strModifyTime + '|' + pEntry->strFileName;
}

std::string Parsed(const std::string& strLine, ESelect eSelect = ESelect::Readable) {
    return Shown(ParseListLine(strLine, eSelect, Today()).get());
}

struct SLine {
    const char* pszLine;
    const char* pszEntry;
};

template <std::size_t nCount>
void ExpectLines(const SLine (&lines)[nCount]) {
    for (const SLine& line : lines)
        EXPECT_EQ(Parsed(line.pszLine), line.pszEntry) << '"' << line.pszLine << '"';
}

TEST(ParseListLine, UnixStyle) {
    const SLine lines[] = {
        {"drwxr-xr-x 2 u g 4096 Mar 3 2019 my dir", "1|4096|2019-03-03|my dir"},
        {"-rw-r--r--   1 u  g     123 Nov 21 09:05 a.txt", "0|123|2026-11-21 09:05|a.txt"},
        {"-rw-r--r--   1 u  g     123 Nov 22 09:05 a.txt", "0|123|2025-11-22 09:05|a.txt"},
        {"drwxr-xr-x 2 u g 4096 Feb 29 00:00 d", "1|4096|2026-02-29|d"},
        {"-rw-r--r-- 1 u g 0 2019 3 4 numbers", "0|0|2019-03-04|numbers"},
        {"-rw-r--r-- 1 u g 0 3 4 10:11 numbers", "0|0|2026-03-04 10:11|numbers"},
        {"-rw-r--r-- 1 u g size Mar 3 2019 a", "0|size|2019-03-03|a"},
        {"-rw-r--r-- 1 u g 18446744073709551616 Mar 3 2019 a",
         "0|18446744073709551616|2019-03-03|a"},
        {"-r 1 u g 5 Mar 3 2019 short permissions", "0|5|2019-03-03|short permissions"},
    };
    ExpectLines(lines);
}

TEST(ParseListLine, Links) {
    const SLine lines[] = {
        {"lrwxrwxrwx 1 u g 7 Jan 05 12:30 cur -> /a/b", "2|7|2026-01-05 12:30|cur"},
        {"lrwxrwxrwx 1 u g 7 Dec 05 12:30 cur -> /a/b", "2|7|2025-12-05 12:30|cur"},
        {"lrwxrwxrwx 1 u g 7 Mar 3 2019 a -> b -> c", "2|7|2019-03-03|a"},
        {"lrwxrwxrwx 1 u g 7 Mar 3 2019 two words -> b", "2|7|2019-03-03|two words"},
        {"lrwxrwxrwx 1 u g 7 Mar 3 2019 bare", "2|7|2019-03-03|bare"},
        {"lrwxrwxrwx 1 u g 7 Mar 3 2019 a->b", "2|7|2019-03-03|a->b"},
        {"lrwxrwxrwx 1 u g 7 Mar 3 2019 a ->", "2|7|2019-03-03|a ->"},
        {"lrwxrwxrwx 1 u g 7 Mar 3 2019 a\t->\tb", "2|7|2019-03-03|a\t->\tb"},
        // Only a link's name is cut.
        {"-rw-r--r-- 1 u g 7 Mar 3 2019 a -> b", "0|7|2019-03-03|a -> b"},
        {"drwxr-xr-x 1 u g 7 Mar 3 2019 a -> b", "1|7|2019-03-03|a -> b"},
        // The dot rule looks at the column before the cut.
        {"lrwxrwxrwx 1 u g 7 Mar 3 2019 . -> b", "2|7|2019-03-03|."},
        {"lrwxrwxrwx 1 u g 7 Mar 3 2019 ..", "-"},
    };
    ExpectLines(lines);
}

TEST(ParseListLine, OtherKindsOfUnixEntriesGiveNone) {
    for (const char* pszLine : {
             "crw-rw-rw- 1 u g 7 Mar 3 2019 null",
             "brw-rw-rw- 1 u g 7 Mar 3 2019 sda",
             "prw-rw-rw- 1 u g 7 Mar 3 2019 pipe",
             "srw-rw-rw- 1 u g 7 Mar 3 2019 socket",
             "Drw-rw-rw- 1 u g 7 Mar 3 2019 door",
             "rw-rw-rw- 1 u g 7 Mar 3 2019 kind missing",
         }) {
        EXPECT_EQ(Parsed(pszLine), "-") << pszLine;
        EXPECT_EQ(Parsed(pszLine, ESelect::All), "-") << pszLine;
    }
}

TEST(ParseListLine, DosStyle) {
    const SLine lines[] = {
        {"12-31-19 11:59PM 1234 a b.txt", "0|1234|12-31-19 11:59PM|a b.txt"},
        {"01-05-19  10:00AM       <DIR>          logs", "1|0|01-05-19 10:00AM|logs"},
        {"01-05-19 10:00AM DIR logs", "1|0|01-05-19 10:00AM|logs"},
        {"01-05-19 10:00AM xDIRx logs", "1|0|01-05-19 10:00AM|logs"},
        {"01-05-19 10:00AM <dir> logs", "0|<dir>|01-05-19 10:00AM|logs"},
        {"01-05-19 10:00AM <JUNCTION> logs", "0|<JUNCTION>|01-05-19 10:00AM|logs"},
        {"2019-01-05 10:00 12,345 a", "0|12,345|2019-01-05 10:00|a"},
        {"1 2 3 4 5 6 7 8 9 10", "0|3|1 2|4 5 6 7 8 9 10"},
        {"01-05-19 10:00AM <DIR> .", "-"},
        {"01-05-19 10:00AM <DIR> ..", "-"},
        {"01-05-19 10:00AM <DIR> ...", "1|0|01-05-19 10:00AM|..."},
        // The kind of file is never a link, and no name is cut.
        {"01-05-19 10:00AM <SYMLINKD> a -> b", "0|<SYMLINKD>|01-05-19 10:00AM|a -> b"},
        // Four columns are read as this style whatever they hold.
        {"not a date really", "0|date|not a|really"},
    };
    ExpectLines(lines);
}

TEST(ParseListLine, DosStyleIsNotSubjectToPermissions) {
    EXPECT_EQ(Parsed("--- 10:00AM 5 a", ESelect::Readable), "0|5|--- 10:00AM|a");
}

TEST(ParseListLine, ColumnsAreApartByBlanksAndTabsInAnyMix) {
    const SLine lines[] = {
        {"drwxr-xr-x\t2\tu\tg\t4096\tMar\t3\t2019\tmy dir", "1|4096|2019-03-03|my dir"},
        {"drwxr-xr-x \t 2 u\t\tg  4096 \tMar 3 2019\t  my\tdir ", "1|4096|2019-03-03|my\tdir "},
        {"12-31-19\t11:59PM \t 1234\ta  b\t", "0|1234|12-31-19 11:59PM|a  b\t"},
        {"drwxr-xr-x 2 u g 4096 Mar 3 2019 a  b", "1|4096|2019-03-03|a  b"},
    };
    ExpectLines(lines);
}

TEST(ParseListLine, AnyOtherNumberOfColumnsGivesNone) {
    const char* const words[] = {"d", "a", "r", "g", "4096", "Mar", "3", "2019", "name"};
    std::string strLine;
    for (std::size_t nColumns = 1; nColumns <= 9; ++nColumns) {
        strLine += (nColumns > 1 ? " " : "") + std::string(words[nColumns - 1]);
        if (nColumns == 4) {
            EXPECT_EQ(Parsed(strLine), "0|r|d a|g");
        } else if (nColumns == 9) {
            EXPECT_EQ(Parsed(strLine, ESelect::All), "1|4096|2019-03-03|name");
        } else {
            EXPECT_EQ(Parsed(strLine, ESelect::All), "-") << strLine;
        }
    }
    EXPECT_EQ(Parsed("total 12"), "-");
    EXPECT_EQ(Parsed("12"), "-");
    EXPECT_EQ(Parsed("12 34 56"), "-");
    EXPECT_EQ(Parsed(""), "-");
    EXPECT_EQ(Parsed(" "), "-");
    EXPECT_EQ(Parsed("\t \t"), "-");
}

TEST(ParseListLine, ALeadingGapIsAColumnToo) {
    // What stands before the first separator is the first column, and it is empty here.
    EXPECT_EQ(Parsed(" drwxr-xr-x 2 u g 4096 Mar 3 2019 d", ESelect::All), "-");
    EXPECT_EQ(Parsed(" 10:00AM 5 a"), "0|5| 10:00AM|a");
}

TEST(ParseListLine, DropsTheDotNames) {
    EXPECT_EQ(Parsed("drwxr-xr-x 2 u g 4096 Mar 3 2019 ."), "-");
    EXPECT_EQ(Parsed("drwxr-xr-x 2 u g 4096 Mar 3 2019 ..", ESelect::All), "-");
    EXPECT_EQ(Parsed("drwxr-xr-x 2 u g 4096 Mar 3 2019 ..."), "1|4096|2019-03-03|...");
    EXPECT_EQ(Parsed("drwxr-xr-x 2 u g 4096 Mar 3 2019 .a"), "1|4096|2019-03-03|.a");
    EXPECT_EQ(Parsed("drwxr-xr-x 2 u g 4096 Mar 3 2019 . "), "1|4096|2019-03-03|. ");
}

TEST(ParseListLine, SelectsByPermissions) {
    const std::string strLine = "---------- 1 u g 5 Mar 3 2019 hidden";
    EXPECT_EQ(Parsed(strLine, ESelect::Readable), "-");
    EXPECT_EQ(Parsed(strLine, ESelect::All), "0|5|2019-03-03|hidden");
    EXPECT_EQ(Parsed("d--x--x--x 1 u g 5 Mar 3 2019 d", ESelect::Readable), "-");
    EXPECT_EQ(Parsed("d--x--x--x 1 u g 5 Mar 3 2019 d", ESelect::All), "1|5|2019-03-03|d");
    EXPECT_EQ(Parsed("l--------- 1 u g 5 Mar 3 2019 l -> x", ESelect::Readable), "-");
    EXPECT_EQ(Parsed("-------r-- 1 u g 5 Mar 3 2019 f", ESelect::Readable), "0|5|2019-03-03|f");
    EXPECT_EQ(Parsed("--w------- 1 u g 5 Mar 3 2019 f", ESelect::Readable), "0|5|2019-03-03|f");
}

TEST(ESelect, HasTheNumbersOfTheFlag) {
    EXPECT_EQ(static_cast<int>(ESelect::Readable), 0);
    EXPECT_EQ(static_cast<int>(ESelect::All), 1);
    EXPECT_EQ(sizeof(ESelect), 1U);
}

TEST(IsUnreadable, LooksForRThenWAfterTheFirstCharacter) {
    for (const char* pszPermissions : {"", "-", "d", "r", "w", "----------", "d--x--x--x", "lR",
                                       "-W", "r---------", "w---------"}) {
        EXPECT_TRUE(IsUnreadable(pszPermissions)) << pszPermissions;
    }
    for (const char* pszPermissions :
         {"-r", "-w", "-rw-------", "---------r", "---------w", "d-wx------", "rr", "xxw"}) {
        EXPECT_FALSE(IsUnreadable(pszPermissions)) << pszPermissions;
    }
}

// ---- Whole listings ----

std::vector<std::string> ParsedText(const std::string& strText,
                                    ESelect eSelect = ESelect::Readable) {
    CEntryList list;
    ParseListText(strText, eSelect, list.m_entries);
    std::vector<std::string> shown;
    for (const TkFileInfo* pEntry : list.m_entries)
        shown.push_back(Shown(pEntry));
    return shown;
}

using Entries = std::vector<std::string>;

TEST(ParseListText, GivesTheEntriesInOrder) {
    EXPECT_EQ(ParsedText("total 3\r\n"
                         "drwxr-xr-x 2 u g 4096 Mar 3 2019 .\r\n"
                         "drwxr-xr-x 2 u g 4096 Mar 3 2019 ..\r\n"
                         "-rw-r--r-- 1 u g 7 Mar 3 2019 b\r\n"
                         "drwxr-xr-x 2 u g 4096 Mar 3 2019 a\r\n"),
              (Entries{"0|7|2019-03-03|b", "1|4096|2019-03-03|a"}));
}

TEST(ParseListText, TakesBothLineEndsAndBothStylesMixed) {
    EXPECT_EQ(ParsedText("-rw-r--r-- 1 u g 7 Mar 3 2019 a\n"
                         "12-31-19 11:59PM 1234 b\r\n"
                         "12-31-19 11:59PM <DIR> c\n"),
              (Entries{"0|7|2019-03-03|a", "0|1234|12-31-19 11:59PM|b", "1|0|12-31-19 11:59PM|c"}));
}

TEST(ParseListText, DropsOneCarriageReturnOnly) {
    EXPECT_EQ(ParsedText("12-31-19 11:59PM 1 a\r\r\n"), (Entries{"0|1|12-31-19 11:59PM|a\r"}));
    EXPECT_EQ(ParsedText("12-31-19 11:59PM 1 a\rb\n"), (Entries{"0|1|12-31-19 11:59PM|a\rb"}));
    EXPECT_EQ(ParsedText("\r\n\n\r\n"), Entries{});
}

TEST(ParseListText, IgnoresALastLineWithoutLineFeed) {
    EXPECT_EQ(ParsedText("12-31-19 11:59PM 1 a\n12-31-19 11:59PM 1 b"),
              (Entries{"0|1|12-31-19 11:59PM|a"}));
    EXPECT_EQ(ParsedText("12-31-19 11:59PM 1 a\r"), Entries{});
    EXPECT_EQ(ParsedText(""), Entries{});
    EXPECT_EQ(ParsedText("\n"), Entries{});
}

TEST(ParseListText, PassesTheSelectionOn) {
    const std::string strText = "---------- 1 u g 5 Mar 3 2019 hidden\n";
    EXPECT_EQ(ParsedText(strText, ESelect::Readable), Entries{});
    EXPECT_EQ(ParsedText(strText, ESelect::All), (Entries{"0|5|2019-03-03|hidden"}));
}

TEST(ParseListText, AppendsToWhatTheVectorHolds) {
    CEntryList list;
    ParseListText("12-31-19 11:59PM 1 a\n", ESelect::Readable, list.m_entries);
    ParseListText("12-31-19 11:59PM 1 b\n", ESelect::Readable, list.m_entries);
    ASSERT_EQ(list.m_entries.size(), 2U);
    EXPECT_EQ(list.m_entries[0]->strFileName, "a");
    EXPECT_EQ(list.m_entries[1]->strFileName, "b");
}

TEST(ParseListText, AZeroByteEndsItsLineOnly) {
    const char text[] =
        "12-31-19 11:59PM 1 a\0hidden\r\n"
        "\0drwxr-xr-x 2 u g 4096 Mar 3 2019 none\n"
        "12-31-19 11:59\0PM 1 none\n"
        "12-31-19 11:59PM 1 b\n";
    EXPECT_EQ(ParsedText(std::string(text, sizeof text - 1)),
              (Entries{"0|1|12-31-19 11:59PM|a", "0|1|12-31-19 11:59PM|b"}));
}

TEST(ParseListText, TakesALineOfOneMebibyte) {
    std::string strName(1U << 20, 'x');
    for (std::size_t i = 0; i < strName.size(); ++i)
        strName[i] = static_cast<char>('a' + i % 26);
    EXPECT_EQ(ParsedText("-rw-r--r-- 1 u g 7 Mar 3 2019 " + strName + "\r\n"),
              (Entries{"0|7|2019-03-03|" + strName}));
    EXPECT_EQ(ParsedText(std::string(1U << 20, ' ') + "\n"), Entries{});
    EXPECT_EQ(ParsedText(strName + "\n12-31-19 11:59PM 1 b\n"),
              (Entries{"0|1|12-31-19 11:59PM|b"}));
}

TEST(ParseListText, KeepsBytesThatAreNoUtf8) {
    EXPECT_EQ(ParsedText("-rw-r--r-- 1 u g 7 Mar 3 2019 \xe4\xff\x80\n"),
              (Entries{"0|7|2019-03-03|\xe4\xff\x80"}));
    EXPECT_EQ(ParsedText("\xb2-31-19 11:59PM 1 a\n"), (Entries{"0|1|\xb2-31-19 11:59PM|a"}));
}

TEST(ParseListText, TellsTheYearFromTodaysDate) {
    std::tm today = LocalToday();
    std::string strText;
    Entries entries;
    Entries expected;
    do {  // once more if midnight fell in between
        today = LocalToday();
        // No day but the 31st is followed by day 32, but days are not checked.
        const std::string strMonth = std::to_string(today.tm_mon + 1);
        const int nYear = today.tm_year + 1900;
        expected.clear();
        strText.clear();
        for (const int nDay : {today.tm_mday, today.tm_mday + 1}) {
            char szDate[32];
            std::snprintf(szDate, sizeof szDate, "%d-%02d-%02d",
                          nYear - (nDay > today.tm_mday ? 1 : 0), today.tm_mon + 1, nDay);
            expected.push_back("0|7|" + std::string(szDate) + " 12:30|f");
            strText += "-rw-r--r-- 1 u g 7 " + strMonth + ' ' + std::to_string(nDay) + " 12:30 f\n";
        }
        entries = ParsedText(strText);
    } while (LocalToday().tm_mday != today.tm_mday);
    EXPECT_EQ(entries, expected);
}

TEST(ParseListText, TakesTenThousandLinesInBoundedTime) {
    std::string strText;
    for (int i = 0; i < 10000; ++i)
        strText += "-rw-r--r--   1 user  group  " + std::to_string(i) + " Mar  3  2019 file " +
                   std::to_string(i) + "\r\n";
    const auto start = std::chrono::steady_clock::now();
    const Entries entries = ParsedText(strText);
    const auto spent = std::chrono::steady_clock::now() - start;
    ASSERT_EQ(entries.size(), 10000U);
    EXPECT_EQ(entries[9999], "0|9999|2019-03-03|file 9999");
    EXPECT_LT(spent, std::chrono::seconds(5));
}

TEST(CEntryList, DeletesItsEntries) {  // a leak here is seen by the address sanitizer
    CEntryList list;
    list.m_entries.push_back(new TkFileInfo);
    list.m_entries.push_back(nullptr);
    EXPECT_EQ(list.m_entries.size(), 2U);
}

}  // namespace
}  // namespace RVN_FTP_CLIENT
