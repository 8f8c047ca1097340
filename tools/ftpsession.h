#ifndef QEL_TOOLS_FTPSESSION_H
#define QEL_TOOLS_FTPSESSION_H

#include <memory>

#include "tools/session.h"

namespace qelftp {

// Logs in to an FTP server. Throws COperationError.
std::unique_ptr<CSession> OpenFtpSession(const SConnection& connection);

}  // namespace qelftp

#endif
