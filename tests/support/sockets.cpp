#include "tests/support/sockets.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace TestSupport {
namespace {

sockaddr_in LoopbackAddress(unsigned short usPort) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(usPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

[[noreturn]] void ThrowErrno(const std::string& strWhat) {
    throw std::runtime_error(strWhat + ": " + std::strerror(errno));
}

bool WaitFor(int fd, short nEvents, Millis limit) {
    const Clock::time_point end = Clock::now() + limit;
    while (true) {
        const auto left = std::chrono::duration_cast<Millis>(end - Clock::now());
        pollfd wanted{fd, nEvents, 0};
        const int nReady =
            ::poll(&wanted, 1, left.count() > 0 ? static_cast<int>(left.count()) : 0);
        if (nReady != -1 || errno != EINTR) return nReady > 0;
    }
}

CHandle NewSocket(int nFlags = 0) {
    CHandle socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | nFlags, 0));
    if (!socket.IsOpen()) ThrowErrno("socket");
    return socket;
}

}  // namespace

CHandle& CHandle::operator=(CHandle&& other) noexcept {
    if (this != &other) {
        Close();
        m_fd = other.Release();
    }
    return *this;
}

int CHandle::Release() {
    const int fd = m_fd;
    m_fd = -1;
    return fd;
}

void CHandle::Close() {
    if (IsOpen()) ::close(Release());
}

void CHandle::Reset() {
    const linger now{1, 0};
    ::setsockopt(m_fd, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    Close();
}

CHandle BindLoopback() {
    CHandle socket = NewSocket();
    const sockaddr_in address = LoopbackAddress(0);
    if (::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == -1)
        ThrowErrno("bind");
    return socket;
}

void StartListening(int fd, int nBacklog) {
    if (::listen(fd, nBacklog) == -1) ThrowErrno("listen");
}

unsigned short PortOf(int fd) {
    sockaddr_in address{};
    socklen_t nSize = sizeof address;
    if (::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &nSize) == -1)
        ThrowErrno("getsockname");
    return ntohs(address.sin_port);
}

CHandle ConnectLoopback(unsigned short usPort, Millis limit) {
    CHandle socket = NewSocket(SOCK_NONBLOCK);
    const sockaddr_in address = LoopbackAddress(usPort);
    if (::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return socket;
    if (errno != EINPROGRESS) return {};
    if (!WaitWritable(socket.Get(), limit)) {
        errno = ETIMEDOUT;
        return {};
    }
    int nError = 0;
    socklen_t nSize = sizeof nError;
    ::getsockopt(socket.Get(), SOL_SOCKET, SO_ERROR, &nError, &nSize);
    errno = nError;
    return nError == 0 ? std::move(socket) : CHandle();
}

bool WaitReadable(int fd, Millis limit) {
    return WaitFor(fd, POLLIN, limit);
}

bool WaitWritable(int fd, Millis limit) {
    return WaitFor(fd, POLLOUT, limit);
}

SilentPort::SilentPort() : m_socket(BindLoopback()), m_usPort(PortOf(m_socket.Get())) {
    constexpr int kMostQueued = 8;
    const Millis kTold(300);  // an attempt that takes longer found the queue full
    StartListening(m_socket.Get(), 0);
    for (int i = 0; i < kMostQueued; ++i) {
        CHandle queued = ConnectLoopback(m_usPort, kTold);
        if (!queued.IsOpen()) return;
        m_queued.push_back(std::move(queued));
    }
    throw std::runtime_error("the queue of a listening socket does not fill up on this machine");
}

}  // namespace TestSupport
