// Input: a text for the host's log. The filter is the stand-alone platform's.

#include <cctype>
#include <string>

#include "fuzz/require.h"
#include "platform/logging.h"

namespace QelFuzz {
namespace {

bool IsWord(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

bool IsPassAt(const std::string& strText, std::size_t nAt) {
    const std::string strPass = "PASS ";
    if (nAt > 0 && IsWord(strText[nAt - 1])) return false;
    for (std::size_t i = 0; i < strPass.size(); ++i) {
        if (nAt + i >= strText.size()) return false;
        if (std::toupper(static_cast<unsigned char>(strText[nAt + i])) != strPass[i]) return false;
    }
    return true;
}

void RequireNoControl(const std::string& strSafe) {
    for (std::size_t n = 0; n < strSafe.size(); ++n) {
        const auto uByte = static_cast<unsigned char>(strSafe[n]);
        Require(uByte >= 0x20 && uByte != 0x7f, "no control byte");
    }
    // The characters of other blocks that end lines or turn the direction, in UTF-8; U+0080 to
    // U+009F are 0xC2 and a second byte.
    for (std::size_t n = 0; n + 1 < strSafe.size(); ++n) {
        const auto uSecond = static_cast<unsigned char>(strSafe[n + 1]);
        Require(strSafe[n] != '\xC2' || uSecond < 0x80 || uSecond > 0x9F,
                "no C1 control character");
    }
    for (const char* pszActive : {"\xE2\x80\xA8", "\xE2\x80\xA9", "\xE2\x80\xAA", "\xE2\x80\xAB",
                                  "\xE2\x80\xAC", "\xE2\x80\xAD", "\xE2\x80\xAE", "\xE2\x81\xA6",
                                  "\xE2\x81\xA7", "\xE2\x81\xA8", "\xE2\x81\xA9"}) {
        Require(strSafe.find(pszActive) == std::string::npos, "no active character");
    }
}

void RequireMasked(const std::string& strSafe) {
    for (std::size_t n = 0; n < strSafe.size(); ++n) {
        if (!IsPassAt(strSafe, n)) continue;
        const std::string strAfter = strSafe.substr(n + 5);
        Require(strAfter.rfind("****", 0) == 0, "what follows PASS is masked");
        const std::string strMore = strAfter.substr(4, 2);
        Require(strMore.empty() || strMore == "\\r" || strMore == "\\n",
                "the mask goes to the end of the line");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string strText(TextOf(pData, nSize));
    const std::string strSafe = TQ_UTIL::CWBLogFilter::getInstance()->filter(strText);
    RequireNoControl(strSafe);
    RequireMasked(strSafe);

    // A secret that nothing else of the line looks like.
    const std::string strSecret = "Kj9!q~Zx";
    if (strText.find(strSecret) != std::string::npos) return 0;
    const std::string strSent =
        strText.substr(0, nSize / 2) + "\nPASS " + strText.substr(nSize / 2);
    const std::size_t nEnd = strSent.find('\n', nSize / 2 + 6);
    std::string strHiding = strSent;
    strHiding.insert(nEnd == std::string::npos ? strSent.size() : nEnd, strSecret);
    Require(TQ_UTIL::CWBLogFilter::getInstance()->filter(strHiding).find(strSecret) ==
                std::string::npos,
            "the secret is gone");
    return 0;
}

}  // namespace QelFuzz
