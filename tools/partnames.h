#ifndef QEL_TOOLS_PARTNAMES_H
#define QEL_TOOLS_PARTNAMES_H

#include <optional>
#include <string>
#include <string_view>

namespace qelftp {

// "a/x" for "a/x.part", the name that a file has while it is being fetched; empty for other paths.
inline std::optional<std::string> FileOfPart(const std::string& strPath) {
    constexpr std::string_view kPart = ".part";
    if (strPath.size() <= kPart.size()) return {};
    const std::size_t nFile = strPath.size() - kPart.size();
    if (std::string_view(strPath).substr(nFile) != kPart) return {};
    return strPath.substr(0, nFile);
}

}  // namespace qelftp

#endif
