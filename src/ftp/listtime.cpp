#include "src/ftp/listtime.h"

#include <ace/OS_NS_time.h>
#include <strings.h>

#include <array>
#include <charconv>
#include <climits>
#include <cstdlib>

#include "platform/logging.h"

namespace RVN_FTP_CLIENT {
namespace {

constexpr unsigned int kNullPointerCode = 0xafff0002U;
constexpr int kLineNullTime = 828;
constexpr int kTmYearBase = 1900;

constexpr const char* kUnknownMonth = "00";
constexpr std::array<const char*, 12> kMonthNames = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::array<const char*, 12> kMonthNumbers = {"01", "02", "03", "04", "05", "06",
                                                       "07", "08", "09", "10", "11", "12"};

// Text that is no number reads as 0; a number too large for its type as the largest.
int ReadNumber(const char* pszText) {
    const long lValue = std::strtol(pszText, nullptr, 10);
    if (lValue > INT_MAX) return INT_MAX;
    if (lValue < INT_MIN) return INT_MIN;
    return static_cast<int>(lValue);
}

// Listings of a hundred thousand lines are common, and snprintf would be half their cost.
void AppendNumber(std::string& strText, int nNumber, std::size_t nMinDigits = 1) {
    std::array<char, 12> digits{};
    const std::to_chars_result result =
        std::to_chars(digits.data(), digits.data() + digits.size(), nNumber);
    const std::size_t nDigits = static_cast<std::size_t>(result.ptr - digits.data());
    if (nDigits < nMinDigits) strText.append(nMinDigits - nDigits, '0');
    strText.append(digits.data(), nDigits);
}

void AppendTwoDigits(std::string& strText, int nNumber) {
    AppendNumber(strText, nNumber, 2);
}

int YearOfEntry(int nMonth, int nDay, const std::tm& today) {
    const int nThisMonth = today.tm_mon + 1;
    const bool bLaterInYear = nThisMonth < nMonth || (nThisMonth == nMonth && today.tm_mday < nDay);
    return today.tm_year + kTmYearBase - (bLaterInYear ? 1 : 0);
}

}  // namespace

std::tm LocalToday() {
    const std::time_t now = std::time(nullptr);
    std::tm today{};
    ACE_OS::localtime_r(&now, &today);
    return today;
}

const char* MonthToNumber(const std::string& strMonth) {
    for (std::size_t i = 0; i < kMonthNames.size(); ++i) {
        if (::strncasecmp(strMonth.c_str(), kMonthNames[i], 3) == 0) return kMonthNumbers[i];
    }
    return kUnknownMonth;
}

void GetHourAndMin(const char* szHM, int& nHour, int& nMinute) {
    if (szHM == nullptr) {
        _Log_Affirm(kNullPointerCode, "This pointer is NULL: szHM",
                    LocationInfo("ftpclientImpl", "GetHourAndMin", kLineNullTime));
        return;
    }
    const std::string strTime = szHM;
    const std::size_t nColon = strTime.find(':');
    const bool bTime = nColon != std::string::npos;
    nHour = bTime ? ReadNumber(strTime.substr(0, nColon).c_str()) : 0;
    nMinute = bTime ? ReadNumber(strTime.c_str() + nColon + 1) : 0;
}

std::string BuildModifyTime(const std::string& strFirst, const std::string& strSecond,
                            const std::string& strThird, const std::tm& today) {
    const int nNamedMonth = ReadNumber(MonthToNumber(strFirst));
    const bool bTime = strThird.find(':') != std::string::npos;
    int nYear = 0;
    int nMonth = 0;
    int nDay = 0;
    int nHour = 0;
    int nMinute = 0;
    if (nNamedMonth != 0) {
        nMonth = nNamedMonth;
        nDay = ReadNumber(strSecond.c_str());
        if (!bTime) nYear = ReadNumber(strThird.c_str());
    } else if (bTime) {
        nMonth = ReadNumber(strFirst.c_str());
        nDay = ReadNumber(strSecond.c_str());
    } else {
        nYear = ReadNumber(strFirst.c_str());
        nMonth = ReadNumber(strSecond.c_str());
        nDay = ReadNumber(strThird.c_str());
    }
    if (bTime) GetHourAndMin(strThird.c_str(), nHour, nMinute);
    if (nYear == 0) nYear = YearOfEntry(nMonth, nDay, today);

    // Midnight is not written: it cannot be told from "no time".
    std::string strTime;
    AppendNumber(strTime, nYear);
    AppendTwoDigits(strTime += '-', nMonth);
    AppendTwoDigits(strTime += '-', nDay);
    if (nHour != 0 || nMinute != 0) {
        AppendTwoDigits(strTime += ' ', nHour);
        AppendTwoDigits(strTime += ':', nMinute);
    }
    return strTime;
}

}  // namespace RVN_FTP_CLIENT
