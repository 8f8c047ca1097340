#include "standalone/charset.h"

#include <iconv.h>
#include <langinfo.h>
#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

namespace qel_standalone {
namespace {

class CConverter {
public:
    CConverter(const char* pszFrom, const char* pszTo) : m_converter(iconv_open(pszTo, pszFrom)) {}
    ~CConverter() {
        if (IsOpen()) iconv_close(m_converter);
    }

    CConverter(const CConverter&) = delete;
    CConverter& operator=(const CConverter&) = delete;

    bool IsOpen() const { return m_converter != reinterpret_cast<iconv_t>(-1); }

    // Appends the converted text to strOut. False when some of it has no exact counterpart.
    bool Convert(const std::string& strText, std::string& strOut) {
        char* pText = const_cast<char*>(strText.data());  // iconv does not write to it
        std::size_t nLeft = strText.size();
        return Run(&pText, &nLeft, strOut) && Run(nullptr, nullptr, strOut);
    }

private:
    // One pass over the input, or, without input, the end of a stateful output.
    bool Run(char** ppText, std::size_t* pnLeft, std::string& strOut) {
        for (;;) {
            char block[4096];
            char* pBlock = block;
            std::size_t nFree = sizeof(block);
            const std::size_t nInexact = iconv(m_converter, ppText, pnLeft, &pBlock, &nFree);
            const bool bBlockFull = nInexact == static_cast<std::size_t>(-1) && errno == E2BIG;
            if (nInexact != 0 && !bBlockFull) return false;
            strOut.append(block, sizeof(block) - nFree);
            if (!bBlockFull) return true;
        }
    }

    iconv_t m_converter;
};

bool IsAscii(const std::string& strText) {
    return std::all_of(strText.begin(), strText.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

const char* LocaleCharset() {
    return nl_langinfo(CODESET);
}

std::string ConvertText(const char* pszText, const char* pszFrom, const char* pszTo) {
    std::string strText = pszText;
    if (strcasecmp(pszFrom, pszTo) == 0 || IsAscii(strText)) return strText;
    CConverter converter(pszFrom, pszTo);
    std::string strConverted;
    if (!converter.IsOpen() || !converter.Convert(strText, strConverted)) return strText;
    return strConverted;
}

}  // namespace qel_standalone
