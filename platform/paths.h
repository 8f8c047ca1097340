#ifndef QEL_PLATFORM_PATHS_H
#define QEL_PLATFORM_PATHS_H

#include <string>

// Where the server application is installed. Both questions have the same answer; the two names
// are those of two generations of the host's own libraries.

namespace TQ_UTIL {

// Stores the installation directory (with or without a separator at its end) and returns 1. Any
// other result means that it is not known; path is then empty.
int SovGetServerPath_WB(std::string& path);

// Adds "/" unless the path already ends in a separator. An empty path becomes "/".
void AppendDirSeparator(std::string& path);

}  // namespace TQ_UTIL

namespace tq_zeltsdk_wrap {

// Stores the installation directory in out. The library passes two empty texts and does not look
// at the result; an unknown directory leaves out empty.
int SovGetServerPath(std::string& out, const std::string& component, const std::string& instance);

}  // namespace tq_zeltsdk_wrap

#endif
