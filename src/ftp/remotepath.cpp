#include "src/ftp/remotepath.h"

#include <algorithm>

#include "src/support/log.h"

namespace RVN_FTP_CLIENT {
namespace {

// Said of an empty path as well: there, too, the operation would work outside its root.
constexpr const char* kEmptyRoot = "FTPRoot is empty! It is dangerous for other ftp handles!";
constexpr int kLineEmptyRoot = 950;
constexpr int kLineEmptyPath = 955;

void LogDangerousPath(int nLine) {
    LogError(0, kEmptyRoot, LocationInfo("ftpclientImpl", "addRoodDir", nLine));
}

}  // namespace

std::string addRoodDir(const std::string& path, const std::string& root) {
    if (root.empty()) {
        LogDangerousPath(kLineEmptyRoot);
        return path;
    }
    if (path.empty()) {
        LogDangerousPath(kLineEmptyPath);
        return path;
    }
    const bool bSeparated = path.front() == '/' || path.front() == '\\';
    std::string strBelow = bSeparated ? path : "/" + path;

    std::string strRoot = root;
    std::replace(strRoot.begin(), strRoot.end(), '\\', '/');
    if (strRoot.back() == '/') strRoot.pop_back();
    if (strRoot.empty() || strRoot == "/") return strBelow;
    return strRoot + strBelow;
}

SSplitPath SplitPath(const std::string& strPath) {
    std::string strSlashed = strPath;
    std::replace(strSlashed.begin(), strSlashed.end(), '\\', '/');
    const std::size_t nLast = strSlashed.rfind('/');
    if (nLast == std::string::npos) return {"", strSlashed};
    return {nLast == 0 ? "/" : strSlashed.substr(0, nLast), strSlashed.substr(nLast + 1)};
}

}  // namespace RVN_FTP_CLIENT
