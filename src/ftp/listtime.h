#ifndef QEL_FTP_LISTTIME_H
#define QEL_FTP_LISTTIME_H

#include <ctime>
#include <string>
#include <string_view>

namespace RVN_FTP_CLIENT {

// The local date now, from which the year of an entry is told that shows a time instead.
std::tm LocalToday();

// "01" to "12" for text that begins with an English month's first three letters in any case, else
// "00".
const char* MonthToNumber(std::string_view strMonth);

// "12:30" into 12 and 30; both 0 without ":". A null text is reported to the host and changes
// neither.
void GetHourAndMin(const char* szHM, int& nHour, int& nMinute);

// The uniform date text of a Unix-style line: "2019-03-03", and " 12:30" behind it unless that is
// midnight. Columns are month name, day, year or time; or year, month, day; or month, day, time.
// Without a year the entry is taken to be of the last twelve months, so never of the future.
// Values out of range are written as read.
std::string BuildModifyTime(std::string_view strFirst, std::string_view strSecond,
                            std::string_view strThird, const std::tm& today);

}  // namespace RVN_FTP_CLIENT

#endif
