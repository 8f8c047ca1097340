#ifndef QEL_TOOLS_BASE64_H
#define QEL_TOOLS_BASE64_H

#include <optional>
#include <string>
#include <string_view>

namespace qelftp {

// RFC 4648, section 4, on one line; bytes in, bytes out. Empty when the text is nothing of the
// kind.
std::optional<std::string> FromBase64(std::string_view strText);
std::string ToBase64(std::string_view strBytes);

}  // namespace qelftp

#endif
