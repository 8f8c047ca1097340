#ifndef QEL_PLATFORM_ENCODING_H
#define QEL_PLATFORM_ENCODING_H

#include <string>

// Conversion between UTF-8 and the local encoding, the one of the process's LC_CTYPE locale (the
// program chooses it with setlocale; without that it is ASCII).
//
// A text that is not valid in its own encoding, or cannot be written in the other, comes back
// unchanged: names of files must survive. Arguments are zero-terminated; null counts as empty.

namespace ZeltGlobalUtils {

std::string UTF8TOLOC(const char* utf8);
std::string LOCTOUTF8(const char* text);

}  // namespace ZeltGlobalUtils

#endif
