#include "standalone/sftp/tcpconnect.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <system_error>

namespace sftpwrapper {
namespace {

// 0, or the errno of the attempt.
int AwaitConnection(int nSocket, const CDeadline& deadline) {
    pollfd entry = {nSocket, POLLOUT, 0};
    int nReady = 0;
    do {
        nReady = ::poll(&entry, 1, deadline.RemainingMs());
    } while (nReady < 0 && errno == EINTR);
    if (nReady < 0) return errno;
    if (nReady == 0) return ETIMEDOUT;
    int nError = 0;
    socklen_t uSize = sizeof nError;
    if (::getsockopt(nSocket, SOL_SOCKET, SO_ERROR, &nError, &uSize) != 0) return errno;
    return nError;
}

// Acknowledgements of a peer that takes small packets one by one would cost 40 ms each with Nagle's
// delay; the probes find a peer that is gone while nothing is asked of it.
void Tune(int nSocket) {
    const int nOn = 1;
    ::setsockopt(nSocket, IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
    ::setsockopt(nSocket, SOL_SOCKET, SO_KEEPALIVE, &nOn, sizeof nOn);
}

// What the kernel calls a socket as long as it runs; 0 when the number is not that of a socket. An
// inode's number would not do: it may be that of a file on another device.
std::uint64_t CookieOf(int nSocket) {
    std::uint64_t ullCookie = 0;
    socklen_t uSize = sizeof ullCookie;
    return ::getsockopt(nSocket, SOL_SOCKET, SO_COOKIE, &ullCookie, &uSize) == 0 ? ullCookie : 0;
}

int ConnectAddress(const addrinfo& address, const CDeadline& deadline, int& nError) {
    const int nSocket =
        ::socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (nSocket < 0) {
        nError = errno;
        return -1;
    }
    nError = 0;
    if (::connect(nSocket, address.ai_addr, address.ai_addrlen) != 0)
        nError = errno == EINPROGRESS ? AwaitConnection(nSocket, deadline) : errno;
    if (nError != 0) {
        ::close(nSocket);
        return -1;
    }
    Tune(nSocket);
    return nSocket;
}

}  // namespace

COwnSocket::~COwnSocket() {
    if (m_ullCookie != 0 && CookieOf(m_nSocket) == m_ullCookie) ::close(m_nSocket);
}

void COwnSocket::Own(int nSocket) {
    m_nSocket = nSocket;
    m_ullCookie = CookieOf(nSocket);
}

int ConnectTcp(const std::string& strHost, unsigned int uPort, const CDeadline& deadline,
               std::string& strError) {
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* pList = nullptr;
    const int nResult =
        ::getaddrinfo(strHost.c_str(), std::to_string(uPort).c_str(), &hints, &pList);
    if (nResult != 0) {
        strError = nResult == EAI_SYSTEM ? std::generic_category().message(errno)
                                         : std::string(::gai_strerror(nResult));
        return -1;
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owner(pList, ::freeaddrinfo);
    int nError = 0;
    for (const addrinfo* pAddress = pList; pAddress != nullptr; pAddress = pAddress->ai_next) {
        const int nSocket = ConnectAddress(*pAddress, deadline, nError);
        if (nSocket >= 0) return nSocket;
    }
    strError = std::generic_category().message(nError);
    return -1;
}

}  // namespace sftpwrapper
