#include "src/sftp/sftpclientlog.h"

#include <dlfcn.h>

#include "src/support/log.h"

namespace RVN_FTP_CLIENT {

void LogSetupFailure(const std::string& strMessage, const LocationInfo& where) {
    const char* pszLoaderError = dlerror();
    LogInfo(pszLoaderError == nullptr ? strMessage : strMessage + "," + pszLoaderError, where);
}

}  // namespace RVN_FTP_CLIENT
