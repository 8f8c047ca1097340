#include "tools/listedtime.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace qelftp {
namespace {

constexpr unsigned int kMinute = 60;
constexpr unsigned int kDay = 24 * 60 * 60;

struct SFields {
    int nYear = 0;
    int nMonth = 0;
    int nDay = 0;
    int nHour = 0;
    int nMinute = 0;
};

std::optional<std::int64_t> Seconds(const SFields& fields) {
    std::tm text{};
    text.tm_year = fields.nYear - 1900;
    text.tm_mon = fields.nMonth - 1;
    text.tm_mday = fields.nDay;
    text.tm_hour = fields.nHour;
    text.tm_min = fields.nMinute;
    std::tm real = text;
    const std::time_t seconds = ::timegm(&real);
    // The 31st of April becomes the 1st of May: not what the server meant, whatever that was.
    if (real.tm_mon != text.tm_mon || real.tm_mday != text.tm_mday || real.tm_hour != text.tm_hour)
        return {};
    return static_cast<std::int64_t>(seconds);
}

std::optional<SFields> UnixFields(const char* pszText, bool& bTime) {
    SFields fields;
    int nEnd = 0;
    // NOLINTNEXTLINE(cert-err34-c): four digits at most, which every int can hold
    const int nRead = std::sscanf(pszText, "%4d-%2d-%2d%n %2d:%2d%n", &fields.nYear, &fields.nMonth,
                                  &fields.nDay, &nEnd, &fields.nHour, &fields.nMinute, &nEnd);
    if ((nRead != 3 && nRead != 5) || pszText[nEnd] != '\0' || fields.nYear < 1900) return {};
    bTime = nRead == 5;
    return fields;
}

std::optional<SFields> DosFields(const char* pszText) {
    SFields fields;
    std::array<char, 3> half{};
    int nEnd = 0;
    const int nRead =
        // NOLINTNEXTLINE(cert-err34-c): as above
        std::sscanf(pszText, "%2d-%2d-%4d %2d:%2d%n%2[APMapm]%n", &fields.nMonth, &fields.nDay,
                    &fields.nYear, &fields.nHour, &fields.nMinute, &nEnd, half.data(), &nEnd);
    if (nRead < 5 || pszText[nEnd] != '\0') return {};
    // Two digits as POSIX's strptime reads them.
    if (fields.nYear < 100) fields.nYear += fields.nYear < 69 ? 2000 : 1900;
    if (half[0] == '\0') return fields;
    const bool bAfternoon = half[0] == 'P' || half[0] == 'p';
    if (fields.nHour < 1 || fields.nHour > 12 || (half[1] | 0x20) != 'm') return {};
    fields.nHour = fields.nHour % 12 + (bAfternoon ? 12 : 0);
    return fields;
}

}  // namespace

std::optional<SListedTime> ParseListedTime(const std::string& strText) {
    if (strText.empty() || strText.size() != std::strlen(strText.c_str())) return {};
    bool bTime = true;
    std::optional<SFields> fields = UnixFields(strText.c_str(), bTime);
    if (!fields) {
        bTime = true;
        fields = DosFields(strText.c_str());
    }
    if (!fields) return {};
    const std::optional<std::int64_t> llSeconds = Seconds(*fields);
    if (!llSeconds) return {};
    return SListedTime{*llSeconds, bTime ? kMinute : kDay};
}

}  // namespace qelftp
