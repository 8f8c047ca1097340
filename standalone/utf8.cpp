#include "standalone/utf8.h"

namespace qel_standalone {
namespace {

// Forms of a character, by its first byte (RFC 3629, section 3).
struct SForm {
    unsigned char uMask;  // of the first byte: the bits that tell the form
    unsigned char uLead;  // their value
    std::size_t nBytes;
    char32_t cSmallest;  // a smaller code has a shorter form
};
constexpr SForm kForms[] = {
    {0x80, 0x00, 1, 0x0},
    {0xE0, 0xC0, 2, 0x80},
    {0xF0, 0xE0, 3, 0x800},
    {0xF8, 0xF0, 4, 0x10000},
};

constexpr SUtf8Char kNoCharacter = {0, 0};

SUtf8Char Decoded(std::string_view text, const SForm& form) {
    if (text.size() < form.nBytes) return kNoCharacter;
    char32_t cCode = static_cast<unsigned char>(text[0]) & static_cast<unsigned char>(~form.uMask);
    for (std::size_t i = 1; i < form.nBytes; ++i) {
        const auto uByte = static_cast<unsigned char>(text[i]);
        if ((uByte & 0xC0) != 0x80) return kNoCharacter;
        cCode = cCode << 6 | (uByte & 0x3F);
    }
    const bool bSurrogate = cCode >= 0xD800 && cCode <= 0xDFFF;
    if (cCode < form.cSmallest || cCode > 0x10FFFF || bSurrogate) return kNoCharacter;
    return {cCode, form.nBytes};
}

}  // namespace

SUtf8Char FirstUtf8Char(std::string_view text) {
    const auto uFirst = static_cast<unsigned char>(text[0]);
    for (const SForm& form : kForms)
        if ((uFirst & form.uMask) == form.uLead) return Decoded(text, form);
    return kNoCharacter;
}

}  // namespace qel_standalone
