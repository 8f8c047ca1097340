#include "src/support/log.h"

#include <cerrno>

namespace RVN_FTP_CLIENT {
namespace {

std::string Filtered(const std::string& strMessage) {
    return TQ_UTIL::CWBLogFilter::getInstance()->filter(LogPrefix + strMessage);
}

}  // namespace

void LogError(unsigned int uCode, const std::string& strMessage, const LocationInfo& where) {
    const int nErrno = errno;
    LogProcess::Error(uCode, Filtered(strMessage), where);
    errno = nErrno;
}

void LogInfo(const std::string& strMessage, const LocationInfo& where) {
    const int nErrno = errno;
    LogProcess::Info(Filtered(strMessage), where);
    errno = nErrno;
}

}  // namespace RVN_FTP_CLIENT
