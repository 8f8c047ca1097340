#include "standalone/sftp/algorithmlist.h"

#include <algorithm>
#include <cstdio>

#include "platform/sftpwrapper.h"
#include "standalone/sftp/wrapperlog.h"

namespace sftpwrapper {
namespace {

const char* NameOf(const SAlgorithmFamily& family, int nId) {
    const SAlgorithm* pEnd = family.pFirst + family.uCount;
    const SAlgorithm* pFound = std::find_if(
        family.pFirst, pEnd, [nId](const SAlgorithm& algorithm) { return algorithm.nId == nId; });
    return pFound == pEnd ? nullptr : pFound->pszName;
}

std::string Hexadecimal(int nId) {
    char szText[16];
    (void)std::snprintf(szText, sizeof szText, "0x%x", static_cast<unsigned int>(nId));  // fits
    return szText;
}

}  // namespace

std::vector<std::string> NamesOf(const SAlgorithmFamily& family, const int* pIds,
                                 std::size_t uCount) {
    std::vector<std::string> names;
    std::string strUnknown;
    for (std::size_t i = 0; i < uCount; ++i) {
        const char* pszName = NameOf(family, pIds[i]);
        if (pszName == nullptr)
            strUnknown += ' ' + Hexadecimal(pIds[i]);
        else if (std::find(names.begin(), names.end(), pszName) == names.end())
            names.emplace_back(pszName);
    }
    if (!strUnknown.empty())
        LogError(SFTP_ERR_ALGORITHMS, "NamesOf",
                 std::string("Unknown identifiers in the ") + family.pszTitle +
                     " list are skipped:" + strUnknown,
                 __LINE__);
    return names;
}

std::string Joined(const std::vector<std::string>& names) {
    std::string strList;
    for (const std::string& strName : names) {
        if (!strList.empty()) strList += ',';
        strList += strName;
    }
    return strList;
}

}  // namespace sftpwrapper
