#ifndef QEL_TOOLS_SFTPSESSION_H
#define QEL_TOOLS_SFTPSESSION_H

#include <memory>

#include "tools/session.h"

namespace qelftp {

// Logs in to an SSH server and starts SFTP. Throws COperationError.
std::unique_ptr<CSession> OpenSftpSession(const SConnection& connection);

}  // namespace qelftp

#endif
