#include "platform/paths.h"

#include <sys/stat.h>

#include <cstdlib>

namespace {

bool IsDirectory(const char* pszPath) {
    struct stat status {};
    return stat(pszPath, &status) == 0 && S_ISDIR(status.st_mode);
}

// Empty when not known. The directory holds code that will be loaded, so a program that runs with
// more rights than its caller does not take it from the caller's environment.
const char* ServerPath() {
    if (const char* pszChosen = secure_getenv("QEL_SERVER_PATH")) return pszChosen;
    for (const char* pszBuiltIn : {QEL_SERVER_INSTALL_DIR, QEL_SERVER_BUILD_DIR})
        if (IsDirectory(pszBuiltIn)) return pszBuiltIn;
    return "";
}

}  // namespace

int TQ_UTIL::SovGetServerPath_WB(std::string& path) {
    path = ServerPath();
    return path.empty() ? 0 : 1;
}

void TQ_UTIL::AppendDirSeparator(std::string& path) {
    if (path.empty() || (path.back() != '/' && path.back() != '\\')) path += '/';
}

int tq_zeltsdk_wrap::SovGetServerPath(std::string& out, const std::string& /*component*/,
                                      const std::string& /*instance*/) {
    return TQ_UTIL::SovGetServerPath_WB(out);
}
