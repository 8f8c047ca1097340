#ifndef QEL_STANDALONE_CHARSET_H
#define QEL_STANDALONE_CHARSET_H

#include <string>

// Conversion between character sets, as far as the platform needs it. Not visible outside.
namespace qel_standalone {

constexpr const char* kUtf8 = "UTF-8";

// Name of the character set of the calling thread's LC_CTYPE locale.
[[gnu::visibility("hidden")]] const char* LocaleCharset();

// text in the character set pszTo. Unchanged when it is not valid in pszFrom, cannot be written
// in pszTo, or a set is unknown. Both sets must contain ASCII: an ASCII text is not looked at
// closer. May change errno.
[[gnu::visibility("hidden")]] std::string ConvertText(const char* pszText, const char* pszFrom,
                                                      const char* pszTo);

}  // namespace qel_standalone

#endif
