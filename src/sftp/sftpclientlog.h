#ifndef QEL_SFTP_SFTPCLIENTLOG_H
#define QEL_SFTP_SFTPCLIENTLOG_H

#include <string>

#include "platform/logging.h"

namespace RVN_FTP_CLIENT {

constexpr const char* kSftpClientFile = "sftpclient";  // in all log locations of the client

// Logs a failed set-up, at information level: the caller sees the null result and decides how bad
// it is. The dynamic loader is asked for its last error here and now; if it has one, that follows
// after a comma.
void LogSetupFailure(const std::string& strMessage, const LocationInfo& where);

}  // namespace RVN_FTP_CLIENT

#endif
