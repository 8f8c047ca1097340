#include "tools/schemes.h"

#include "tools/ftpsession.h"

namespace qelftp {
namespace {

constexpr SScheme kSchemes[] = {
    {"ftp", 21, OpenFtpSession},
};

}  // namespace

const SScheme* FindScheme(const std::string& strName) {
    for (const SScheme& scheme : kSchemes) {
        if (strName == scheme.pszName) return &scheme;
    }
    return nullptr;
}

std::string SupportedSchemes() {
    std::string strAll;
    for (const SScheme& scheme : kSchemes) {
        if (!strAll.empty()) strAll += ", ";
        strAll += std::string(scheme.pszName) + "://";
    }
    return strAll;
}

}  // namespace qelftp
