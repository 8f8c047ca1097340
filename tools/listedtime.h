#ifndef QEL_TOOLS_LISTEDTIME_H
#define QEL_TOOLS_LISTEDTIME_H

#include <cstdint>
#include <optional>
#include <string>

namespace qelftp {

struct SListedTime {
    std::int64_t llSeconds = 0;   // since 1970-01-01, the listing taken for UTC
    unsigned int uPrecision = 1;  // seconds
};

// The time column of an FTP listing as the library hands it over: "2019-03-03", "2019-03-03 12:30",
// and of a DOS-style listing "03-23-19 12:30PM" (month, day, year). A date alone is exact to a day,
// although it may also stand for midnight. Empty for any other text.
std::optional<SListedTime> ParseListedTime(const std::string& strText);

}  // namespace qelftp

#endif
