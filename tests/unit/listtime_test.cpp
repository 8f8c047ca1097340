#include "src/ftp/listtime.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <ctime>
#include <string>

#include "tests/support/recordinglog.h"

namespace RVN_FTP_CLIENT {
namespace {

std::tm Day(int nYear, int nMonth, int nDay) {
    std::tm day{};
    day.tm_year = nYear - 1900;
    day.tm_mon = nMonth - 1;
    day.tm_mday = nDay;
    return day;
}

TEST(MonthToNumber, KnowsTheTwelveNames) {
    const char* const names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const char* const numbers[] = {"01", "02", "03", "04", "05", "06",
                                   "07", "08", "09", "10", "11", "12"};
    for (int i = 0; i < 12; ++i)
        EXPECT_STREQ(MonthToNumber(names[i]), numbers[i]) << names[i];
}

TEST(MonthToNumber, TakesAnyCaseAndLooksAtThreeLetters) {
    EXPECT_STREQ(MonthToNumber("jan"), "01");
    EXPECT_STREQ(MonthToNumber("FEB"), "02");
    EXPECT_STREQ(MonthToNumber("mAR"), "03");
    EXPECT_STREQ(MonthToNumber("December"), "12");
    EXPECT_STREQ(MonthToNumber("Sept"), "09");
    EXPECT_STREQ(MonthToNumber("Mai"), "00");
    EXPECT_STREQ(MonthToNumber("Okt"), "00");
}

TEST(MonthToNumber, GivesZerosForAnythingElse) {
    for (const char* pszText : {"", "J", "Ja", " Jan", "1", "01", "2019",
                                "D\xe9"
                                "c",
                                "xJan"})
        EXPECT_STREQ(MonthToNumber(pszText), "00") << pszText;
}

TEST(MonthToNumber, TakesNoOtherCharacterForALetter) {
    for (std::size_t nAt = 0; nAt < 3; ++nAt) {
        std::string strText = "Feb";
        int nKnown = 0;
        for (int c = 0; c < 256; ++c) {
            strText[nAt] = static_cast<char>(c);
            if (std::string("00") != MonthToNumber(strText)) ++nKnown;
        }
        EXPECT_EQ(nKnown, 2) << nAt;  // the letter, large and small
    }
}

struct STime {
    const char* pszText;
    int nHour;
    int nMinute;
};

TEST(GetHourAndMin, SplitsAtTheFirstColon) {
    const STime times[] = {
        {"12:30", 12, 30}, {"00:00", 0, 0},      {"9:5", 9, 5},     {"09:08", 9, 8},
        {"12:", 12, 0},    {":30", 0, 30},       {":", 0, 0},       {"12:30:45", 12, 30},
        {"1230", 0, 0},    {"", 0, 0},           {"noon", 0, 0},    {"ab:cd", 0, 0},
        {"25:61", 25, 61}, {"12:30 pm", 12, 30}, {"-1:-2", -1, -2},
    };
    for (const STime& time : times) {
        int nHour = -7;
        int nMinute = -7;
        GetHourAndMin(time.pszText, nHour, nMinute);
        EXPECT_EQ(nHour, time.nHour) << time.pszText;
        EXPECT_EQ(nMinute, time.nMinute) << time.pszText;
    }
}

TEST(GetHourAndMin, ReportsANullTextAndLeavesTheTime) {
    TestSupport::RecordingLog::Clear();
    int nHour = 7;
    int nMinute = 8;
    GetHourAndMin(nullptr, nHour, nMinute);
    EXPECT_EQ(nHour, 7);
    EXPECT_EQ(nMinute, 8);
    const auto affirms = TestSupport::RecordingLog::Affirms();
    ASSERT_EQ(affirms.size(), 1U);
    EXPECT_EQ(affirms[0].uCode, 0xafff0002U);
    EXPECT_EQ(affirms[0].strText, "This pointer is NULL: szHM");
    EXPECT_EQ(affirms[0].strFile, "ftpclientImpl");
    EXPECT_EQ(affirms[0].strFunction, "GetHourAndMin");
    EXPECT_EQ(affirms[0].nLine, 828);
    EXPECT_EQ(TestSupport::RecordingLog::All().size(), 1U);
}

// ---- The date text ----

struct SDate {
    const char* pszFirst;
    const char* pszSecond;
    const char* pszThird;
    const char* pszText;
};

template <std::size_t nCount>
void ExpectDates(const SDate (&dates)[nCount], const std::tm& today) {
    for (const SDate& date : dates) {
        EXPECT_EQ(BuildModifyTime(date.pszFirst, date.pszSecond, date.pszThird, today),
                  date.pszText)
            << date.pszFirst << ' ' << date.pszSecond << ' ' << date.pszThird;
    }
}

TEST(BuildModifyTime, MonthNameAndYear) {
    const SDate dates[] = {
        {"Mar", "3", "2019", "2019-03-03"},  {"mar", "03", "2019", "2019-03-03"},
        {"Dec", "31", "1999", "1999-12-31"}, {"January", "1", "2030", "2030-01-01"},
        {"Feb", "29", "2019", "2019-02-29"}, {"Feb", "45", "2019", "2019-02-45"},
        {"Feb", "x", "2019", "2019-02-00"},  {"Feb", "5", "99", "99-02-05"},
        {"Feb", "5", "209", "209-02-05"},    {"Feb", "5", "12019", "12019-02-05"},
        {"Feb", "5", "2019x", "2019-02-05"}, {"Feb", "-5", "-3", "-3-02--5"},
        {"Feb", "5", "+2019", "2019-02-05"},
    };
    ExpectDates(dates, Day(2026, 11, 21));
}

TEST(BuildModifyTime, MonthNameAndTime) {
    const SDate dates[] = {
        {"Jan", "05", "12:30", "2026-01-05 12:30"}, {"Nov", "21", "9:05", "2026-11-21 09:05"},
        {"Jan", "5", "00:01", "2026-01-05 00:01"},  {"Jan", "5", "01:00", "2026-01-05 01:00"},
        {"Jan", "5", "99:99", "2026-01-05 99:99"},  {"Jan", "5", "12:30:59", "2026-01-05 12:30"},
        {"Jan", "5", "x:30", "2026-01-05 00:30"},   {"Jan", "5", "7:", "2026-01-05 07:00"},
    };
    ExpectDates(dates, Day(2026, 11, 21));
}

TEST(BuildModifyTime, DoesNotWriteMidnight) {
    const SDate dates[] = {
        {"Feb", "29", "00:00", "2024-02-29"}, {"Feb", "29", "0:0", "2024-02-29"},
        {"Feb", "29", ":", "2024-02-29"},     {"Feb", "29", "ab:cd", "2024-02-29"},
        {"2", "29", "00:00", "2024-02-29"},
    };
    ExpectDates(dates, Day(2024, 3, 1));
}

TEST(BuildModifyTime, NumbersOnly) {
    const SDate dates[] = {
        {"2019", "3", "4", "2019-03-04"},          {"2019", "03", "04", "2019-03-04"},
        {"2019", "13", "32", "2019-13-32"},        {"3", "4", "12:30", "2026-03-04 12:30"},
        {"03", "04", "12:30", "2026-03-04 12:30"}, {"12", "4", "12:30", "2025-12-04 12:30"},
        {"12", "1", "00:00", "2025-12-01"},
    };
    ExpectDates(dates, Day(2026, 11, 21));
}

TEST(BuildModifyTime, TextThatIsNoNumberIsZero) {
    const SDate dates[] = {
        // no month name, no time: year unknown, month and day 0
        {"x", "y", "z", "2026-00-00"},
        {"", "", "", "2026-00-00"},
        {"x", "3", "4", "2026-03-04"},
        {"0000", "3", "4", "2026-03-04"},
        {"0", "12", "4", "2025-12-04"},
        // ... with a time
        {"x", "y", "12:30", "2026-00-00 12:30"},
        {"Okt", "25", "10:15", "2026-00-25 10:15"},
        // a month name and no year
        {"Mar", "3", "soon", "2026-03-03"},
        {"Dec", "3", "", "2025-12-03"},
        {"Dec", "3", "0", "2025-12-03"},
    };
    ExpectDates(dates, Day(2026, 11, 21));
}

// A sign, and what a column can begin with though it is no blank of a listing; then digits up to
// whatever else comes.
TEST(BuildModifyTime, ReadsNumbersAsStrtolDoes) {
    const SDate dates[] = {
        {"Mar", "+3", "2019", "2019-03-03"},
        {"Mar", "\v\r3", "2019", "2019-03-03"},
        {"Mar", "3rd", "2019AD", "2019-03-03"},
        {"Mar", "-3", "2019", "2019-03--3"},
        {"Mar", "+-3", "2019", "2019-03-00"},
        {"Mar", "-+3", "2019", "2019-03-00"},
        {"Mar", "+", "2019", "2019-03-00"},
        {"Mar", "-", "2019", "2019-03-00"},
        {"Mar", "0x3", "2019", "2019-03-00"},
        {"Mar", "3", "+9:\f08", "2026-03-03 09:08"},
        {"Mar", "2147483648", "1", "1-03-2147483647"},
        {"Mar", "-2147483649", "1", "1-03--2147483648"},
    };
    ExpectDates(dates, Day(2026, 11, 21));
}

TEST(BuildModifyTime, NumbersTooLargeStayFinite) {
    const std::string strText = BuildModifyTime("99999999999999999999", "99999999999",
                                                "-99999999999999999999", Day(2026, 11, 21));
    EXPECT_EQ(strText, "2147483647-2147483647--2147483648");
    EXPECT_EQ(BuildModifyTime("Jan", "1", "99999999999:-99999999999", Day(2026, 11, 21)),
              "2026-01-01 2147483647:-2147483648");
}

TEST(BuildModifyTime, NeverDatesAnEntryInTheFuture) {
    struct SYearRule {
        int nMonth;
        int nDay;
        const char* pszYear;
    };
    const char* const names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const SYearRule rules[] = {
        {6, 15, "2026"},  // today
        {6, 14, "2026"}, {6, 1, "2026"}, {5, 31, "2026"}, {1, 1, "2026"},
        {6, 16, "2025"},  // tomorrow
        {6, 30, "2025"}, {7, 1, "2025"}, {7, 15, "2025"}, {12, 31, "2025"},
    };
    const std::tm today = Day(2026, 6, 15);
    for (const SYearRule& rule : rules) {
        char szDate[16];
        std::snprintf(szDate, sizeof szDate, "-%02d-%02d", rule.nMonth, rule.nDay);
        const std::string strExpected = rule.pszYear + std::string(szDate) + " 12:30";
        const std::string strDay = std::to_string(rule.nDay);
        EXPECT_EQ(BuildModifyTime(names[rule.nMonth - 1], strDay, "12:30", today), strExpected);
        EXPECT_EQ(BuildModifyTime(std::to_string(rule.nMonth), strDay, "12:30", today),
                  strExpected);
    }
}

TEST(BuildModifyTime, YearRuleAtTheEndsOfTheYear) {
    EXPECT_EQ(BuildModifyTime("Dec", "31", "23:59", Day(2026, 12, 31)), "2026-12-31 23:59");
    EXPECT_EQ(BuildModifyTime("Jan", "1", "00:01", Day(2026, 12, 31)), "2026-01-01 00:01");
    EXPECT_EQ(BuildModifyTime("Dec", "31", "23:59", Day(2027, 1, 1)), "2026-12-31 23:59");
    EXPECT_EQ(BuildModifyTime("Jan", "1", "23:59", Day(2027, 1, 1)), "2027-01-01 23:59");
    EXPECT_EQ(BuildModifyTime("Jan", "2", "00:01", Day(2027, 1, 1)), "2026-01-02 00:01");
}

TEST(BuildModifyTime, AGivenYearIsNotCorrected) {
    EXPECT_EQ(BuildModifyTime("Dec", "31", "2027", Day(2026, 6, 15)), "2027-12-31");
    EXPECT_EQ(BuildModifyTime("2027", "12", "31", Day(2026, 6, 15)), "2027-12-31");
}

// ---- Today ----

class CTimeZone {
public:
    explicit CTimeZone(const char* pszZone) {
        if (const char* pszOld = ::getenv("TZ")) {
            m_bWasSet = true;
            m_strOld = pszOld;
        }
        Set(pszZone);
    }
    ~CTimeZone() { Set(m_bWasSet ? m_strOld.c_str() : nullptr); }
    CTimeZone(const CTimeZone&) = delete;
    CTimeZone& operator=(const CTimeZone&) = delete;

private:
    static void Set(const char* pszZone) {
        if (pszZone != nullptr) {
            ::setenv("TZ", pszZone, 1);
        } else {
            ::unsetenv("TZ");
        }
        ::tzset();
    }
    bool m_bWasSet = false;
    std::string m_strOld;
};

void ExpectTodayIs(std::time_t offset) {
    std::tm expected{};
    std::tm today{};
    std::time_t before = 0;
    do {  // once more if midnight fell in between
        before = std::time(nullptr) + offset;
        today = LocalToday();
    } while ((std::time(nullptr) + offset) / 86400 != before / 86400);
    ASSERT_NE(::gmtime_r(&before, &expected), nullptr);
    EXPECT_EQ(today.tm_year, expected.tm_year);
    EXPECT_EQ(today.tm_mon, expected.tm_mon);
    EXPECT_EQ(today.tm_mday, expected.tm_mday);
}

// The two are 25 hours apart: at any moment at least one of them is in another day than UTC.
TEST(LocalToday, IsTheLocalDate) {
    {
        const CTimeZone east("EAST-14");
        ExpectTodayIs(14 * 3600);
    }
    const CTimeZone west("WEST+11");
    ExpectTodayIs(-11 * 3600);
}

}  // namespace
}  // namespace RVN_FTP_CLIENT
