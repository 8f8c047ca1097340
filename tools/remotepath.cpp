#include "tools/remotepath.h"

#include <sstream>
#include <string_view>

namespace qelftp {

std::string NormalPath(const std::string& strPath) {
    std::string strNormal = "/";
    std::istringstream levels(strPath);
    std::string strLevel;
    while (std::getline(levels, strLevel, '/')) {
        if (strLevel.empty() || strLevel == ".") continue;
        strNormal = strLevel == ".." ? ParentOf(strNormal) : Below(strNormal, strLevel);
    }
    return strNormal;
}

std::string ParentOf(const std::string& strPath) {
    const std::size_t nLast = strPath.rfind('/');
    return nLast == 0 || nLast == std::string::npos ? "/" : strPath.substr(0, nLast);
}

std::string NameOf(const std::string& strPath) {
    return strPath.substr(strPath.find_last_of("/\\") + 1);
}

std::string Below(const std::string& strDir, const std::string& strName) {
    return strDir == "/" ? strDir + strName : strDir + "/" + strName;
}

bool FitsOnCommandLine(const std::string& strText) {
    return strText.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos;
}

}  // namespace qelftp
