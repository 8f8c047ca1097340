#include "standalone/sftp/pipesignal.h"

#include <ctime>

namespace sftpwrapper {
namespace {

sigset_t PipeOnly() {
    sigset_t set;
    ::sigemptyset(&set);
    ::sigaddset(&set, SIGPIPE);
    return set;
}

bool IsPending() {
    sigset_t pending;
    return ::sigpending(&pending) == 0 && ::sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace

CPipeSignalGuard::CPipeSignalGuard() : m_bWasPending(IsPending()) {
    const sigset_t pipeOnly = PipeOnly();
    ::pthread_sigmask(SIG_BLOCK, &pipeOnly, &m_previous);
}

CPipeSignalGuard::~CPipeSignalGuard() {
    if (!m_bWasPending && IsPending()) {
        const sigset_t pipeOnly = PipeOnly();
        const timespec noWait = {};
        ::sigtimedwait(&pipeOnly, nullptr, &noWait);
    }
    ::pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
}

}  // namespace sftpwrapper
