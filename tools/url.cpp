#include "tools/url.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "tools/failure.h"
#include "tools/remotepath.h"
#include "tools/schemes.h"

namespace qelftp {
namespace {

constexpr std::string_view kAfterScheme = "://";
constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view kDigits = "0123456789";

// Without the locale: a URL means the same everywhere.
bool Consists(std::string_view strText, std::string_view strOfMore) {
    return std::all_of(strText.begin(), strText.end(), [strOfMore](char c) {
        return kLetters.find(c) != std::string_view::npos ||
               kDigits.find(c) != std::string_view::npos ||
               strOfMore.find(c) != std::string_view::npos;
    });
}

// RFC 3986, section 3.1: a letter, then letters, digits, "+", "-" and ".".
bool IsScheme(std::string_view strText) {
    return !strText.empty() && kLetters.find(strText.front()) != std::string_view::npos &&
           Consists(strText, "+-.");
}

std::string Lower(std::string_view strText) {
    std::string strLower(strText);
    for (char& c : strLower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return strLower;
}

std::string Decode(std::string_view strText, const char* pszPart) {
    std::string strDecoded;
    for (std::size_t n = 0; n < strText.size(); ++n) {
        if (strText[n] != '%') {
            strDecoded += strText[n];
            continue;
        }
        unsigned int uByte = 0;
        const std::string_view strHex = strText.substr(n + 1, 2);
        const auto parsed =
            std::from_chars(strHex.data(), strHex.data() + strHex.size(), uByte, 16);
        if (strHex.size() != 2 || parsed.ptr != strHex.data() + 2) {
            throw CUsageError(std::string("\"%\" in the ") + pszPart +
                              " of a URL must be followed by two hexadecimal digits; "
                              "\"%25\" stands for the sign itself");
        }
        strDecoded += static_cast<char>(uByte);
        n += 2;
    }
    if (!FitsOnCommandLine(strDecoded)) {
        throw CUsageError(std::string("the ") + pszPart +
                          " of a URL may not hold a line end or a zero byte");
    }
    return strDecoded;
}

std::string ParseUser(std::string_view strUserInfo) {
    if (strUserInfo.find(':') != std::string_view::npos) {
        throw CUsageError(
            "a URL may not hold a password, since others can see the command line: put it into "
            "QELFTP_PASSWORD or type it when asked (a \":\" in the user name is \"%3A\")");
    }
    std::string strUser = Decode(strUserInfo, "user");
    if (strUser.empty()) throw CUsageError("the user of a URL is empty; leave the \"@\" out, too");
    return strUser;
}

unsigned short ParsePort(std::string_view strPort) {
    unsigned short usPort = 0;
    const char* const pEnd = strPort.data() + strPort.size();
    const auto parsed = std::from_chars(strPort.data(), pEnd, usPort);
    if (parsed.ec != std::errc() || parsed.ptr != pEnd || usPort == 0) {
        throw CUsageError("the port of a URL must be a number from 1 to 65535");
    }
    return usPort;
}

std::string ParseHost(std::string_view strHost) {
    if (strHost.empty()) throw CUsageError("a URL must name a host: ftp://user@host:port/path");
    if (strHost.front() == '[') throw CUsageError("IPv6 addresses are not supported");
    if (!Consists(strHost, "-._")) {
        throw CUsageError("the host of a URL must be a name or a dotted address");
    }
    return std::string(strHost);
}

void ParseAuthority(std::string_view strAuthority, SUrl& url) {
    const std::size_t nAt = strAuthority.rfind('@');
    if (nAt != std::string_view::npos) {
        url.strUser = ParseUser(strAuthority.substr(0, nAt));
        url.bUserNamed = true;
        strAuthority.remove_prefix(nAt + 1);
    }
    const bool bBracket = !strAuthority.empty() && strAuthority.front() == '[';
    const std::size_t nColon = bBracket ? std::string_view::npos : strAuthority.find(':');
    url.strHost = ParseHost(strAuthority.substr(0, nColon));
    if (nColon == std::string_view::npos || nColon + 1 == strAuthority.size()) return;
    url.usPort = ParsePort(strAuthority.substr(nColon + 1));
}

}  // namespace

bool LooksLikeUrl(const std::string& strText) {
    return IsScheme(std::string_view(strText).substr(0, strText.find(kAfterScheme))) &&
           strText.find(kAfterScheme) != std::string::npos;
}

SUrl ParseUrl(const std::string& strText) {
    if (!LooksLikeUrl(strText)) {
        throw CUsageError(
            "a URL is expected: ftp://user@host:port/path or sftp://user@host:port/path");
    }
    const std::size_t nScheme = strText.find(kAfterScheme);
    SUrl url;
    url.strScheme = Lower(std::string_view(strText).substr(0, nScheme));
    const SScheme* const pScheme = FindScheme(url.strScheme);
    if (pScheme == nullptr) {
        throw CUsageError("URLs of " + url.strScheme +
                          ":// are not supported; these are: " + SupportedSchemes());
    }
    url.usPort = pScheme->usDefaultPort;
    url.strUser = pScheme->pDefaultUser();

    const std::string_view strRest =
        std::string_view(strText).substr(nScheme + kAfterScheme.size());
    const std::size_t nPath = std::min(strRest.find('/'), strRest.size());
    ParseAuthority(strRest.substr(0, nPath), url);
    const std::string strPath = Decode(strRest.substr(nPath), "path");
    url.strPath = NormalPath(strPath);
    url.bDirectory = strPath.empty() || strPath.back() == '/' || url.strPath == "/";
    return url;
}

std::string WithoutPasswords(const std::string& strText) {
    std::string strMasked = strText;
    std::size_t nAfter = 0;
    while ((nAfter = strMasked.find(kAfterScheme, nAfter)) != std::string::npos) {
        nAfter += kAfterScheme.size();
        // A password may hold blanks and separators, too: better too much is masked than too
        // little.
        const std::size_t nAt = strMasked.rfind('@');
        const std::size_t nColon = strMasked.find(':', nAfter);
        if (nAt == std::string::npos || nColon == std::string::npos || nColon >= nAt) continue;
        strMasked.replace(nColon + 1, nAt - nColon - 1, "***");
    }
    return strMasked;
}

}  // namespace qelftp
