#ifndef QEL_STANDALONE_SFTP_TCPCONNECT_H
#define QEL_STANDALONE_SFTP_TCPCONNECT_H

#include <string>

#include "standalone/sftp/deadline.h"

namespace sftpwrapper {

// Connects to the first address of the host that answers. Returns a non-blocking, close-on-exec
// socket without Nagle's delay, the caller's to close, or -1 with strError set.
// The resolver has its own time limits; the connection attempts share the deadline.
int ConnectTcp(const std::string& strHost, unsigned int uPort, const CDeadline& deadline,
               std::string& strError);

}  // namespace sftpwrapper

#endif
