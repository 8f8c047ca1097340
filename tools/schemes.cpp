#include "tools/schemes.h"

#include <pwd.h>
#include <unistd.h>

#include "platform/encoding.h"
#include "tools/ftpsession.h"
#include "tools/sftpsession.h"

namespace qelftp {
namespace {

std::string Anonymous() {
    return "anonymous";
}

// As other programs on SSH do it: who works here is meant to be known there by the same name.
std::string LocalUser() {
    const passwd* const pUser = ::getpwuid(::getuid());
    return pUser != nullptr ? ZeltGlobalUtils::LOCTOUTF8(pUser->pw_name) : "";
}

constexpr SScheme kSchemes[] = {
    {"ftp", 21, Anonymous, false, OpenFtpSession},
    {"sftp", 22, LocalUser, true, OpenSftpSession},
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
