#ifndef QEL_STANDALONE_SFTP_PIPESIGNAL_H
#define QEL_STANDALONE_SFTP_PIPESIGNAL_H

#include <signal.h>

namespace sftpwrapper {

// Keeps a write to a connection that the server has closed from ending the host: libssh raises
// SIGPIPE. Holds the signal back for this thread and, at the end, drops it if it came meanwhile.
class CPipeSignalGuard {
public:
    CPipeSignalGuard();
    ~CPipeSignalGuard();

    CPipeSignalGuard(const CPipeSignalGuard&) = delete;
    CPipeSignalGuard& operator=(const CPipeSignalGuard&) = delete;

private:
    bool m_bWasPending;
    sigset_t m_previous;
};

}  // namespace sftpwrapper

#endif
