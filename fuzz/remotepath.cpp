// Input: the session root, a line feed, a path as a caller gives it.

#include "src/ftp/remotepath.h"

#include <algorithm>
#include <string>

#include "fuzz/require.h"

namespace QelFuzz {
namespace {

using namespace RVN_FTP_CLIENT;

std::string Slashed(std::string strText) {
    std::replace(strText.begin(), strText.end(), '\\', '/');
    return strText;
}

std::string Joined(const std::string& strPath, const std::string& strRoot) {
    if (strRoot.empty() || strPath.empty()) return strPath;
    const bool bSeparated = strPath[0] == '/' || strPath[0] == '\\';
    const std::string strBelow = (bSeparated ? "" : "/") + strPath;
    const std::string strSlashed = Slashed(strRoot);
    if (strSlashed == "/" || strSlashed == "//") return strBelow;
    const bool bEnds = strSlashed[strSlashed.size() - 1] == '/';
    return strSlashed.substr(0, strSlashed.size() - (bEnds ? 1 : 0)) + strBelow;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    std::string_view strRest = TextOf(pData, nSize);
    const std::string strRoot(TakeUntil(strRest, '\n'));
    const std::string strPath(strRest);

    const std::string strJoined = addRoodDir(strPath, strRoot);
    RequireEqual(Joined(strPath, strRoot), strJoined, "path below the root");
    for (const std::string& strWhole : {strJoined, strPath}) {
        const SSplitPath split = SplitPath(strWhole);
        const std::string strSlashed = Slashed(strWhole);
        RequireEqual(std::string::npos, split.strName.find_first_of("/\\"),
                     "no separator in a name");
        const bool bSeparated = strSlashed.find('/') != std::string::npos;
        const bool bTop = bSeparated && strSlashed.rfind('/') == 0;
        RequireEqual(strSlashed,
                     (bTop ? "" : split.strDir) + (bSeparated ? "/" : "") + split.strName,
                     "directory and name give the path again");
        Require(!bTop || split.strDir == "/", "the directory of the top level");
    }
    return 0;
}

}  // namespace QelFuzz
