#ifndef QEL_STANDALONE_SFTP_TCPCONNECT_H
#define QEL_STANDALONE_SFTP_TCPCONNECT_H

#include <cstdint>
#include <string>

#include "standalone/sftp/deadline.h"

namespace sftpwrapper {

// Connects to the first address of the host that answers. Returns a non-blocking, close-on-exec
// socket without Nagle's delay, the caller's to close, or -1 with strError set.
// The resolver has its own time limits; the connection attempts share the deadline.
int ConnectTcp(const std::string& strHost, unsigned int uPort, const CDeadline& deadline,
               std::string& strError);

// A socket that is lent to libssh, which leaves it open after some endings and closes it after
// others. Closes it in the end, unless the number belongs to something else by then.
class COwnSocket {
public:
    COwnSocket() = default;
    ~COwnSocket();

    COwnSocket(const COwnSocket&) = delete;
    COwnSocket& operator=(const COwnSocket&) = delete;

    // To be called once.
    void Own(int nSocket);

private:
    int m_nSocket = -1;
    std::uint64_t m_ullCookie = 0;  // the socket's; no other one ever has it
};

}  // namespace sftpwrapper

#endif
