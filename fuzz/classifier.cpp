// Input: three digits, the reply's text; from the first zero byte on, a wildcard pattern for it.

#include <string>

#include "fuzz/require.h"
#include "fuzz/slowmatch.h"
#include "include/ftpresult.h"
#include "src/ftp/replyclass.h"
#include "src/ftp/wildmatch.h"

namespace QelFuzz {
namespace {

using namespace RVN_FTP_CLIENT;

constexpr std::size_t kMaxSlow = 1U << 16;  // steps that the slow matcher is given

bool Holds(const std::string& strText, const char* pszWords) {
    return strText.find(pszWords) != std::string::npos;
}

bool AnnouncesShutdown(const std::string& strText) {
    std::size_t nAt = 0;
    for (const char* pszWord : {"FTP", "server", "shutdown"}) {
        nAt = strText.find(pszWord, nAt);
        if (nAt == std::string::npos) return false;
        nAt += std::string(pszWord).size();
    }
    return true;
}

unsigned int ByCode(unsigned int uCode) {
    switch (uCode) {
        case 421:
            return 0x3bb0000f;
        case 425:
            return 0x3bb00010;
        case 426:
            return 0x3bb00011;
        case 450:
            return 0x3bb00012;
        case 451:
            return 0x3bb00013;
        case 452:
            return 0x3bb00014;
        case 501:
            return 0x3bb00015;
        case 521:
            return 0x3bb00016;
        case 530:
            return 0x3bb0001a;
        case 550:
            return 0x3bb00019;
        case 552:
            return 0x3bb00018;
        case 553:
            return 0x3bb00017;
        default:
            return 0x4007001a;
    }
}

unsigned int Expected(unsigned int uCode, const std::string& strText) {
    if (AnnouncesShutdown(strText)) return 0x3bb0001c;
    if (uCode != 501 && uCode != 550) return ByCode(uCode);
    if (Holds(strText, "Permission denied") || Holds(strText, "permission denied")) {
        return 0x3bb0000d;
    }
    for (const char* pszWords : {"No such file or directory", "no such file or directory",
                                 "Can't open file", "Unknown directory"}) {
        if (Holds(strText, pszWords)) return 0x3bb0000e;
    }
    return Holds(strText, "exists") ? 0x3bb00016 : ByCode(uCode);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    if (nSize < 3) return 0;
    std::string_view strRest = TextOf(pData, nSize);
    unsigned int uCode = 0;
    for (; strRest.size() > nSize - 3; strRest.remove_prefix(1))
        uCode = uCode * 10 + static_cast<unsigned char>(strRest.front()) % 16U;
    const std::string strText(TakeUntil(strRest, '\0'));
    const std::string strPattern(TakeUntil(strRest, '\0'));

    RequireEqual(Expected(uCode, strText), ClassifyReply(uCode, strText), "class of a reply");
    if (strText.size() * strPattern.size() > kMaxSlow) return 0;
    const bool bMatches = MatchesSlowly(strText, strPattern, true);
    RequireEqual(bMatches ? 1 : 0, WildMatch(strText.c_str(), strPattern.c_str()), "WildMatch");
    RequireEqual(bMatches && !strText.empty() ? 1 : 0,
                 WildMatchGuarded(strText.c_str(), strPattern.c_str()), "WildMatchGuarded");
    return 0;
}

}  // namespace QelFuzz
