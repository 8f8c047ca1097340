#ifndef QEL_TOOLS_SAFENAME_H
#define QEL_TOOLS_SAFENAME_H

#include <cstddef>
#include <string>

namespace qelftp {

constexpr std::size_t kMaxNameBytes = 255;  // NAME_MAX of Linux's file systems

// Why a name that came from a server may not become one component of a local path; empty when it
// may. A server's listing is no authority on where local files go: "..", separators (the backslash
// is one for the library) and control characters, those of Unicode's second block included, are
// refused. strName is in the local encoding.
std::string UnsafeNameReason(const std::string& strName);

bool IsSafeName(const std::string& strName);

}  // namespace qelftp

#endif
