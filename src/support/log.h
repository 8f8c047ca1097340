#ifndef QEL_SUPPORT_LOG_H
#define QEL_SUPPORT_LOG_H

#include <string>

#include "platform/logging.h"
#include "src/support/logprefix.h"

namespace RVN_FTP_CLIENT {

// The code of a failure that has no number of its own.
constexpr unsigned int kNoLogCode = 0xFFFFFFFFU;

// The one way to the host's log: prefix + message, through the host's filter, to the host's log.
// errno is left as it was, so that a caller may log between a failure and its handling.
void LogError(unsigned int uCode, const std::string& strMessage, const LocationInfo& where);
void LogInfo(const std::string& strMessage, const LocationInfo& where);

}  // namespace RVN_FTP_CLIENT

#endif
