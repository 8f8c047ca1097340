#include "src/ftp/listtime.h"

#include <ace/OS_NS_time.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstddef>

#include "platform/logging.h"

namespace RVN_FTP_CLIENT {
namespace {

constexpr unsigned int kNullPointerCode = 0xafff0002U;
constexpr int kLineNullTime = 828;
constexpr int kTmYearBase = 1900;

constexpr const char* kUnknownMonth = "00";
constexpr std::size_t kMonthLetters = 3;

// The first three letters in one number that does not depend on their case: the bit that makes a
// capital small makes a letter of nothing else.
constexpr unsigned int MonthKey(std::string_view strMonth) {
    constexpr unsigned int kSmall = 0x20;
    unsigned int uKey = 0;
    for (std::size_t i = 0; i < kMonthLetters; ++i)
        uKey = uKey << 8U | static_cast<unsigned char>(strMonth[i]) | kSmall;
    return uKey;
}

struct SMonth {
    unsigned int uKey;
    const char* pszNumber;
};
constexpr SMonth kMonths[] = {
    {MonthKey("Jan"), "01"}, {MonthKey("Feb"), "02"}, {MonthKey("Mar"), "03"},
    {MonthKey("Apr"), "04"}, {MonthKey("May"), "05"}, {MonthKey("Jun"), "06"},
    {MonthKey("Jul"), "07"}, {MonthKey("Aug"), "08"}, {MonthKey("Sep"), "09"},
    {MonthKey("Oct"), "10"}, {MonthKey("Nov"), "11"}, {MonthKey("Dec"), "12"},
};

// As strtol reads a decimal number: blanks and one sign may be before it, anything behind it. Text
// that is no number reads as 0; a number too large for its type as the largest.
int ReadNumber(std::string_view strText) {
    constexpr std::string_view kBlanks = " \t\n\v\f\r";
    strText.remove_prefix(std::min(strText.find_first_not_of(kBlanks), strText.size()));
    const bool bPlus = !strText.empty() && strText.front() == '+';
    if (bPlus) strText.remove_prefix(1);
    const bool bMinus = !strText.empty() && strText.front() == '-';
    if (bPlus && bMinus) return 0;
    int nValue = 0;
    const std::from_chars_result result =
        std::from_chars(strText.data(), strText.data() + strText.size(), nValue);
    if (result.ec == std::errc::result_out_of_range) return bMinus ? INT_MIN : INT_MAX;
    return nValue;
}

// Composes the text in place: listings of a hundred thousand lines are common, and a string that
// grows would be allocated larger than it ends.
class CTimeText {
public:
    void Append(char c) { *m_pEnd++ = c; }

    void Append(int nNumber, std::ptrdiff_t nMinDigits) {
        std::array<char, kMaxNumber> digits{};
        const char* const pEnd =
            std::to_chars(digits.data(), digits.data() + digits.size(), nNumber).ptr;
        for (std::ptrdiff_t n = pEnd - digits.data(); n < nMinDigits; ++n)
            Append('0');
        m_pEnd = std::copy(static_cast<const char*>(digits.data()), pEnd, m_pEnd);
    }

    std::string Text() const {
        return {m_text.data(), static_cast<std::size_t>(m_pEnd - m_text.data())};
    }

private:
    static constexpr std::size_t kMaxNumber = 11;  // of an int, with its sign
    static constexpr std::size_t kNumbers = 5;     // each with a separator behind it

    std::array<char, kNumbers*(kMaxNumber + 1)> m_text{};
    char* m_pEnd = m_text.data();
};

int YearOfEntry(int nMonth, int nDay, const std::tm& today) {
    const int nThisMonth = today.tm_mon + 1;
    const bool bLaterInYear = nThisMonth < nMonth || (nThisMonth == nMonth && today.tm_mday < nDay);
    return today.tm_year + kTmYearBase - (bLaterInYear ? 1 : 0);
}

// Both 0 without ":".
void SplitTime(std::string_view strTime, int& nHour, int& nMinute) {
    const std::size_t nColon = strTime.find(':');
    const bool bTime = nColon != std::string_view::npos;
    nHour = bTime ? ReadNumber(strTime.substr(0, nColon)) : 0;
    nMinute = bTime ? ReadNumber(strTime.substr(nColon + 1)) : 0;
}

}  // namespace

std::tm LocalToday() {
    const std::time_t now = std::time(nullptr);
    std::tm today{};
    ACE_OS::localtime_r(&now, &today);
    return today;
}

const char* MonthToNumber(std::string_view strMonth) {
    if (strMonth.size() < kMonthLetters) return kUnknownMonth;
    const unsigned int uKey = MonthKey(strMonth);
    for (const SMonth& month : kMonths) {
        if (month.uKey == uKey) return month.pszNumber;
    }
    return kUnknownMonth;
}

void GetHourAndMin(const char* szHM, int& nHour, int& nMinute) {
    if (szHM == nullptr) {
        _Log_Affirm(kNullPointerCode, "This pointer is NULL: szHM",
                    LocationInfo("ftpclientImpl", "GetHourAndMin", kLineNullTime));
        return;
    }
    SplitTime(szHM, nHour, nMinute);
}

std::string BuildModifyTime(std::string_view strFirst, std::string_view strSecond,
                            std::string_view strThird, const std::tm& today) {
    const int nNamedMonth = ReadNumber(MonthToNumber(strFirst));
    const bool bTime = strThird.find(':') != std::string_view::npos;
    int nYear = 0;
    int nMonth = 0;
    int nDay = 0;
    int nHour = 0;
    int nMinute = 0;
    if (nNamedMonth != 0) {
        nMonth = nNamedMonth;
        nDay = ReadNumber(strSecond);
        if (!bTime) nYear = ReadNumber(strThird);
    } else if (bTime) {
        nMonth = ReadNumber(strFirst);
        nDay = ReadNumber(strSecond);
    } else {
        nYear = ReadNumber(strFirst);
        nMonth = ReadNumber(strSecond);
        nDay = ReadNumber(strThird);
    }
    if (bTime) SplitTime(strThird, nHour, nMinute);
    if (nYear == 0) nYear = YearOfEntry(nMonth, nDay, today);

    CTimeText text;
    text.Append(nYear, 1);
    text.Append('-');
    text.Append(nMonth, 2);
    text.Append('-');
    text.Append(nDay, 2);
    // Midnight is not written: it cannot be told from "no time".
    if (nHour != 0 || nMinute != 0) {
        text.Append(' ');
        text.Append(nHour, 2);
        text.Append(':');
        text.Append(nMinute, 2);
    }
    return text.Text();
}

}  // namespace RVN_FTP_CLIENT
