#include "platform/paths.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <climits>
#include <cstdlib>

namespace {

bool IsDirectory(const char* pszPath) {
    struct stat status {};
    return stat(pszPath, &status) == 0 && S_ISDIR(status.st_mode);
}

// The server's directory of the installation that this library is part of, wherever it was moved
// to. Links are resolved first, for a loader may have found the library through one.
std::string ServerPathBesideLibrary() {
    Dl_info self{};
    char resolved[PATH_MAX];
    if (dladdr(reinterpret_cast<const void*>(&ServerPathBesideLibrary), &self) == 0) return {};
    if (realpath(self.dli_fname, resolved) == nullptr) return {};
    const std::string strLibrary = resolved;
    return strLibrary.substr(0, strLibrary.rfind('/')) + "/qelftpclient/server";
}

// Empty when not known. The directory holds code that will be loaded, so a program that runs with
// more rights than its caller does not take it from the caller's environment.
std::string ServerPath() {
    if (const char* pszChosen = secure_getenv("QEL_SERVER_PATH")) return pszChosen;
    for (const std::string& strBuiltIn :
         {ServerPathBesideLibrary(), std::string(QEL_SERVER_INSTALL_DIR),
          std::string(QEL_SERVER_BUILD_DIR)})
        if (IsDirectory(strBuiltIn.c_str())) return strBuiltIn;
    return {};
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
