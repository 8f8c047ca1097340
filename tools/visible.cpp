#include "tools/visible.h"

#include <fmt/format.h>

#include <cwchar>
#include <cwctype>

namespace qelftp {
namespace {

// Bytes of the printable character at the start of the text; 0 when there is none.
std::size_t PrintableBytes(const char* pText, std::size_t nSize) {
    std::mbstate_t state{};
    wchar_t character = 0;
    const std::size_t nBytes = std::mbrtowc(&character, pText, nSize, &state);
    const bool bCharacter = nBytes != 0 && nBytes <= nSize;  // neither NUL nor an error
    return bCharacter && std::iswprint(static_cast<std::wint_t>(character)) != 0 ? nBytes : 0;
}

}  // namespace

std::string VisibleText(const std::string& strText) {
    std::string strVisible;
    for (std::size_t nAt = 0; nAt < strText.size();) {
        const std::size_t nBytes = PrintableBytes(strText.data() + nAt, strText.size() - nAt);
        if (nBytes == 0) {
            strVisible += fmt::format("\\x{:02x}", static_cast<unsigned char>(strText[nAt++]));
            continue;
        }
        if (strText[nAt] == '\\') strVisible += '\\';
        strVisible.append(strText, nAt, nBytes);
        nAt += nBytes;
    }
    return strVisible;
}

}  // namespace qelftp
