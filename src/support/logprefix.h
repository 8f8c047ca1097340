#ifndef QEL_SUPPORT_LOGPREFIX_H
#define QEL_SUPPORT_LOGPREFIX_H

#include <string>

// The prefix block that every source file of the library builds for itself when it is loaded. Only
// LogPrefix is in use; the other two complete the block that the host's other components share.
namespace RVN_FTP_CLIENT {

static const std::string LogEmpty;
static const std::string LogReturnError = "Call Function return Error:";
static const std::string LogPrefix = "[FTPCLIENT]";

}  // namespace RVN_FTP_CLIENT

#endif
