#include "tools/wildcard.h"

#include <fnmatch.h>

#include <string_view>

namespace qelftp {
namespace {

constexpr std::string_view kAfterScheme = "://";
constexpr std::string_view kSpecial = "*?[";

// What follows the path's last "/"; empty when there is no path.
std::string_view LastPart(std::string_view strUrl) {
    const std::size_t nScheme = strUrl.find(kAfterScheme);
    if (nScheme == std::string_view::npos) return {};
    const std::string_view strRest = strUrl.substr(nScheme + kAfterScheme.size());
    const std::size_t nLast = strRest.rfind('/');
    return nLast == std::string_view::npos ? std::string_view() : strRest.substr(nLast + 1);
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

std::optional<std::string> UrlPattern(const std::string& strUrl) {
    const std::string_view strPart = LastPart(strUrl);
    if (strPart.find_first_of(kSpecial) == std::string_view::npos) return {};
    std::string strPattern;
    for (std::size_t n = 0; n < strPart.size(); ++n) {
        const bool bHex = strPart[n] == '%' && n + 2 < strPart.size() &&
                          HexDigit(strPart[n + 1]) >= 0 && HexDigit(strPart[n + 2]) >= 0;
        if (bHex) {
            const int nByte = HexDigit(strPart[n + 1]) * 16 + HexDigit(strPart[n + 2]);
            // A backslash before a byte of a longer character would be wrong.
            if (nByte < 0x80) strPattern += '\\';
            strPattern += static_cast<char>(nByte);
            n += 2;
            continue;
        }
        if (strPart[n] == '\\') strPattern += '\\';
        strPattern += strPart[n];
    }
    return strPattern;
}

bool MatchesPattern(const std::string& strPattern, const std::string& strName) {
    return ::fnmatch(strPattern.c_str(), strName.c_str(), FNM_PERIOD) == 0;
}

}  // namespace qelftp
