#include "tools/failure.h"

#include <fmt/format.h>

#include <cstring>

#include "tools/visible.h"

namespace qelftp {

std::string FailureText(const SFailure& failure) {
    std::string strText =
        fmt::format("{} {}: {}", failure.strOperation, VisibleText(failure.strSubject),
                    VisibleText(failure.strMeaning));
    if (failure.uCode) {
        strText += failure.eCodeKind == ECodeKind::Sftp
                       ? fmt::format(" (SFTP error {})", *failure.uCode)
                       : fmt::format(" (0x{:08x})", *failure.uCode);
    }
    if (!failure.strAdvice.empty()) strText += "; " + failure.strAdvice;
    return strText;
}

SFailure LocalFailure(const std::string& strOperation, const std::string& strPath, int nErrno) {
    return {strOperation, strPath, std::strerror(nErrno), std::nullopt, ""};
}

}  // namespace qelftp
