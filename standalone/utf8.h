#ifndef QEL_STANDALONE_UTF8_H
#define QEL_STANDALONE_UTF8_H

#include <cstddef>
#include <string_view>

namespace qel_standalone {

struct SUtf8Char {
    char32_t cCode;
    std::size_t nBytes;  // 0: the text does not start with a character; cCode is then 0
};

// The character at the start of text, which is not empty. Strict (RFC 3629): neither overlong
// forms nor surrogates nor codes above U+10FFFF.
[[gnu::visibility("hidden")]] SUtf8Char FirstUtf8Char(std::string_view text);

}  // namespace qel_standalone

#endif
