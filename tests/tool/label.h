#ifndef QEL_TESTS_TOOL_LABEL_H
#define QEL_TESTS_TOOL_LABEL_H

#include <fmt/format.h>

#include <string>

namespace ToolTest {

// A text as a part of a test's name: what ctest or a shell would stumble over becomes "_1b" and the
// like.
inline std::string Label(const std::string& strText) {
    std::string strLabel;
    for (const char c : strText) {
        const bool bPlain =
            (c >= '-' && c <= ':') || (c >= '@' && c <= 'Z') || c == '_' || (c >= 'a' && c <= 'z');
        strLabel +=
            bPlain ? std::string(1, c) : fmt::format("_{:02x}", static_cast<unsigned char>(c));
    }
    return strLabel.empty() ? "empty" : strLabel;
}

}  // namespace ToolTest

#endif
