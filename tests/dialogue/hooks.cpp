#include "tests/dialogue/hooks.h"

#include <dlfcn.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "tests/support/sockets.h"

namespace Hooks {
namespace {

thread_local int t_nConnectErrno = 0;
thread_local const char* t_pszHostName = nullptr;
thread_local const char* t_pszHostAddress = nullptr;
thread_local int t_nListenErrno = 0;
thread_local int t_nSendErrno = 0;
thread_local std::function<void(unsigned short)> t_onListen;
thread_local int t_fdClose = -1;
thread_local std::function<void()> t_onClose;
thread_local std::vector<timespec> t_sleeps;

template <typename T>
T Next(const char* pszName) {
    return reinterpret_cast<T>(::dlsym(RTLD_NEXT, pszName));
}

// Sets errno and returns true when a failure is due.
bool FailsNow(int& nErrno) {
    if (nErrno == 0) return false;
    errno = std::exchange(nErrno, 0);
    return true;
}

}  // namespace

void FailNextConnect(int nErrno) {
    t_nConnectErrno = nErrno;
}

void NameHost(const char* pszName, const char* pszAddress) {
    t_pszHostName = pszName;
    t_pszHostAddress = pszAddress;
}

void FailNextListen(int nErrno) {
    t_nListenErrno = nErrno;
}

void FailNextSend(int nErrno) {
    t_nSendErrno = nErrno;
}

void OnListen(std::function<void(unsigned short)> code) {
    t_onListen = std::move(code);
}

void OnClose(int fd, std::function<void()> code) {
    t_fdClose = fd;
    t_onClose = std::move(code);
}

std::vector<timespec> Sleeps() {
    return t_sleeps;
}

void ClearSleeps() {
    t_sleeps.clear();
}

}  // namespace Hooks

extern "C" int connect(int fd, const sockaddr* pAddress, socklen_t nSize) {
    static const auto next = Hooks::Next<int (*)(int, const sockaddr*, socklen_t)>("connect");
    if (Hooks::FailsNow(Hooks::t_nConnectErrno)) return -1;
    return next(fd, pAddress, nSize);
}

extern "C" int getaddrinfo(const char* pszHost, const char* pszService, const addrinfo* pHints,
                           addrinfo** ppResult) {
    using Function = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    static const auto next = Hooks::Next<Function>("getaddrinfo");
    const bool bNamed = pszHost != nullptr && Hooks::t_pszHostName != nullptr &&
                        std::strcmp(pszHost, Hooks::t_pszHostName) == 0;
    return next(bNamed ? Hooks::t_pszHostAddress : pszHost, pszService, pHints, ppResult);
}

extern "C" int listen(int fd, int nBacklog) noexcept {
    static const auto next = Hooks::Next<int (*)(int, int)>("listen");
    if (Hooks::FailsNow(Hooks::t_nListenErrno)) return -1;
    const int nResult = next(fd, nBacklog);
    if (nResult == 0 && Hooks::t_onListen) Hooks::t_onListen(TestSupport::PortOf(fd));
    return nResult;
}

extern "C" ssize_t send(int fd, const void* pData, size_t nSize, int nFlags) {
    static const auto next = Hooks::Next<ssize_t (*)(int, const void*, size_t, int)>("send");
    if (Hooks::FailsNow(Hooks::t_nSendErrno)) return -1;
    return next(fd, pData, nSize, nFlags);
}

extern "C" int close(int fd) {
    static const auto next = Hooks::Next<int (*)(int)>("close");
    if (fd != -1 && fd == Hooks::t_fdClose) {
        Hooks::t_fdClose = -1;
        Hooks::t_onClose();
    }
    return next(fd);
}

extern "C" int nanosleep(const timespec* pWanted, timespec* pLeft) {
    static const auto next = Hooks::Next<int (*)(const timespec*, timespec*)>("nanosleep");
    Hooks::t_sleeps.push_back(*pWanted);
    return next(pWanted, pLeft);
}
