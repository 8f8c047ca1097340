#include "tools/visible.h"

#include <fmt/format.h>

#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <iterator>

namespace qelftp {
namespace {

// What the locale calls printable, but shows nothing of itself: it turns the direction of the text
// around it or stands unseen between two letters. Joiners (U+200C, U+200D) stay, since words of
// some languages need them.
struct SCodeRange {
    wchar_t first;
    wchar_t last;
};
constexpr SCodeRange kUnseen[] = {
    {0x00AD, 0x00AD}, {0x061C, 0x061C}, {0x180E, 0x180E},   {0x200B, 0x200B},
    {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F},   {0xFE00, 0xFE0E},
    {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE0FFF},
};

bool IsUnseen(wchar_t character) {
    return std::any_of(std::begin(kUnseen), std::end(kUnseen), [=](const SCodeRange& range) {
        return character >= range.first && character <= range.last;
    });
}

// Bytes of the printable character at the start of the text; 0 when there is none.
std::size_t PrintableBytes(const char* pText, std::size_t nSize) {
    std::mbstate_t state{};
    wchar_t character = 0;
    const std::size_t nBytes = std::mbrtowc(&character, pText, nSize, &state);
    const bool bCharacter = nBytes != 0 && nBytes <= nSize;  // neither NUL nor an error
    if (!bCharacter || IsUnseen(character)) return 0;
    return std::iswprint(static_cast<std::wint_t>(character)) != 0 ? nBytes : 0;
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
