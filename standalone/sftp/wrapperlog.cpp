#include "standalone/sftp/wrapperlog.h"

#include "platform/logging.h"

namespace sftpwrapper {

void LogError(int nCode, const char* pszFunction, const std::string& strText, int nLine) {
    const std::string strLine =
        TQ_UTIL::CWBLogFilter::getInstance()->filter("[SFTPWRAPPER]" + strText);
    LogProcess::Error(static_cast<unsigned int>(nCode), strLine,
                      LocationInfo("sftpwrapper", pszFunction, nLine));
}

}  // namespace sftpwrapper
