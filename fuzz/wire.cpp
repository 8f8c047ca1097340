#include "fuzz/wire.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <ctime>

#include "fuzz/require.h"

namespace QelFuzz {
namespace {

constexpr std::size_t kNarrowStep = 7;  // bytes that a narrow connection takes at once
constexpr unsigned int kMaxCalls = 1000000;

enum class ETaking { All, Narrow, Full, Broken };

struct SSocket {
    bool bOpen = false;
    bool bConnected = false;
    bool bGone = false;  // a reset was seen, or the peer broke off
    int nFlags = O_RDWR;
    ETaking eTaking = ETaking::All;
    bool bControl = false;
    std::string strIncoming;
    std::size_t nAt = 0;
    std::string strSent;

    char Next() const { return nAt < strIncoming.size() ? strIncoming[nAt] : Mark::kSilence; }
    bool AtEnd() const { return nAt >= strIncoming.size(); }
};

struct SState {
    CPeer* pPeer = nullptr;
    std::array<SSocket, CWire::kMaxHandles> sockets;
    unsigned int uConnects = 0;
    unsigned int uWaits = 0;
    unsigned int uCalls = 0;
    std::string strLastData;
};

SState& State() {
    static SState state;
    return state;
}

void Count() {
    Require(++State().uCalls < kMaxCalls, "an operation comes to its end");
}

// The socket behind a descriptor of this network, or null.
SSocket* Find(int nHandle) {
    const int nIndex = nHandle - CWire::kFirstHandle;
    if (nIndex < 0 || nIndex >= CWire::kMaxHandles) return nullptr;
    SSocket& socket = State().sockets[static_cast<std::size_t>(nIndex)];
    Require(socket.bOpen, "a closed descriptor is not used");
    return &socket;
}

int Fail(int nErrno) {
    errno = nErrno;
    return -1;
}

int Open() {
    for (int i = 0; i < CWire::kMaxHandles; ++i) {
        SSocket& socket = State().sockets[static_cast<std::size_t>(i)];
        if (socket.bOpen) continue;
        socket = SSocket();
        socket.bOpen = true;
        return CWire::kFirstHandle + i;
    }
    Require(false, "a session has few sockets");
    return -1;
}

// Takes the leading marks off and applies them. Returns 0 or the errno of the connect.
int Establish(SSocket& socket, std::string strIncoming) {
    int nErrno = 0;
    std::size_t nMarks = 0;
    for (; nMarks < strIncoming.size(); ++nMarks) {
        const char c = strIncoming[nMarks];
        if (c == Mark::kRefused) {
            nErrno = ECONNREFUSED;
        } else if (c == Mark::kUnreachable) {
            nErrno = EINPROGRESS;
        } else if (c == Mark::kFull) {
            socket.eTaking = ETaking::Full;
        } else if (c == Mark::kBroken) {
            socket.eTaking = ETaking::Broken;
        } else if (c == Mark::kNarrow) {
            socket.eTaking = ETaking::Narrow;
        } else {
            break;
        }
    }
    socket.strIncoming = strIncoming.substr(nMarks);
    socket.bConnected = nErrno == 0;
    return nErrno;
}

ssize_t Receive(SSocket& socket, char* pBuffer, std::size_t nCapacity, bool bPeek) {
    Count();
    if (!socket.bConnected) return Fail(ENOTCONN);
    if (socket.bGone) return Fail(ECONNRESET);
    std::size_t nAt = socket.nAt;
    while (nAt < socket.strIncoming.size() && socket.strIncoming[nAt] == Mark::kCut)
        ++nAt;
    std::size_t nTaken = 0;
    for (; nAt < socket.strIncoming.size() && nTaken < nCapacity; ++nAt) {
        const char c = socket.strIncoming[nAt];
        const bool bMark = c >= Mark::kSilence && c <= Mark::kInterrupt;
        if (bMark) break;
        if (c == Mark::kLiteral && ++nAt == socket.strIncoming.size()) break;
        pBuffer[nTaken++] = socket.strIncoming[nAt];
    }
    if (!bPeek) socket.nAt = nAt;
    if (nTaken > 0 || nCapacity == 0) return static_cast<ssize_t>(nTaken);
    const char cMark = nAt < socket.strIncoming.size() ? socket.strIncoming[nAt] : Mark::kSilence;
    if (cMark == Mark::kClosed) return 0;
    if (cMark == Mark::kReset) {
        socket.bGone = !bPeek;
        return Fail(ECONNRESET);
    }
    if (cMark == Mark::kInterrupt) {
        if (!bPeek) socket.nAt = nAt + 1;
        return Fail(EINTR);
    }
    return Fail(EAGAIN);
}

ssize_t Send(SSocket& socket, const char* pData, std::size_t nSize) {
    Count();
    if (!socket.bConnected) return Fail(ENOTCONN);
    if (socket.bGone || socket.eTaking == ETaking::Broken) return Fail(EPIPE);
    if (socket.eTaking == ETaking::Full) return Fail(EAGAIN);
    if (socket.eTaking == ETaking::Narrow) nSize = std::min(nSize, kNarrowStep);
    const std::string_view strSent(pData, nSize);
    socket.strSent += strSent;
    if (socket.bControl && State().pPeer != nullptr) {
        socket.strIncoming += State().pPeer->OnControl(strSent);
    }
    return static_cast<ssize_t>(nSize);
}

// The events of one socket; 0 when a wait for them would end with nothing. A silence is over then.
short Events(SSocket& socket, short sWanted, bool bForEver, bool& bInterrupted) {
    if (!socket.bConnected) return 0;
    short sReady = 0;
    if ((sWanted & POLLOUT) != 0) {
        // Nobody can wait for ever here: the peer of such a client breaks off in the end.
        if (socket.eTaking == ETaking::Full && bForEver) socket.eTaking = ETaking::Broken;
        if (socket.eTaking != ETaking::Full) sReady = POLLOUT;
    }
    if ((sWanted & POLLIN) != 0) {
        while (socket.Next() == Mark::kCut)
            ++socket.nAt;
        if (socket.bGone) return static_cast<short>(sReady | POLLIN);
        if (socket.Next() == Mark::kInterrupt) {
            bInterrupted = true;
            ++socket.nAt;
        } else if (socket.Next() != Mark::kSilence) {
            sReady = static_cast<short>(sReady | POLLIN);
        } else if (!socket.AtEnd() && sReady == 0) {
            ++socket.nAt;
        }
    }
    return sReady;
}

int Wait(pollfd& entry, bool bForEver) {
    Count();
    bool bInterrupted = false;
    entry.revents = Events(*Find(entry.fd), entry.events, bForEver, bInterrupted);
    if (bInterrupted) return Fail(EINTR);
    if (entry.revents != 0) return 1;
    ++State().uWaits;
    Require(!bForEver, "no wait for input is without a limit");
    return 0;
}

// The socket calls say nothing but errno on failure; the kernel's do as well.
long Kernel(long lCall, long lFirst, long lSecond = 0, long lThird = 0, long lFourth = 0,
            long lFifth = 0) {
    return ::syscall(lCall, lFirst, lSecond, lThird, lFourth, lFifth);
}

long Raw(const void* pArgument) {
    return reinterpret_cast<long>(pArgument);
}

void FillAddress(sockaddr* pAddress, socklen_t* pSize, unsigned short usPort) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(usPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::memcpy(pAddress, &address, std::min<std::size_t>(*pSize, sizeof(address)));
    *pSize = sizeof(address);
}

}  // namespace

void CWire::Reset(CPeer* pPeer) {
    State() = SState();
    State().pPeer = pPeer;
}

int CWire::Connected(const std::string& strIncoming) {
    const int nHandle = Open();
    SSocket& socket = *Find(nHandle);
    socket.bConnected = true;
    socket.bControl = true;
    socket.nFlags |= O_NONBLOCK;
    socket.strIncoming = strIncoming;
    return nHandle;
}

int CWire::OpenHandles() {
    const auto& sockets = State().sockets;
    return static_cast<int>(std::count_if(sockets.begin(), sockets.end(),
                                          [](const SSocket& socket) { return socket.bOpen; }));
}

unsigned int CWire::Connects() {
    return State().uConnects;
}
unsigned int CWire::Waits() {
    return State().uWaits;
}
unsigned int CWire::Calls() {
    return State().uCalls;
}
std::string CWire::SentOnData() {
    return State().strLastData;
}

}  // namespace QelFuzz

// The calls themselves. An executable's definitions win over the C library's.

using namespace QelFuzz;

extern "C" {

int socket(int nDomain, int nType, int nProtocol) {
    Count();
    if (nDomain != AF_INET) return static_cast<int>(Kernel(SYS_socket, nDomain, nType, nProtocol));
    return Open();
}

int connect(int nHandle, const sockaddr* pAddress, socklen_t uSize) {
    SSocket* const pSocket = Find(nHandle);
    if (pSocket == nullptr) {
        return static_cast<int>(Kernel(SYS_connect, nHandle, Raw(pAddress), uSize));
    }
    Count();
    sockaddr_in address = {};
    std::memcpy(&address, pAddress, std::min<std::size_t>(uSize, sizeof(address)));
    Require(address.sin_addr.s_addr == htonl(INADDR_LOOPBACK), "only the session's host is called");
    ++State().uConnects;
    const auto& sockets = State().sockets;
    const bool bOther = std::any_of(sockets.begin(), sockets.end(), [](const SSocket& other) {
        return other.bOpen && other.bControl;
    });
    pSocket->bControl = ntohs(address.sin_port) == CWire::kControlPort && !bOther;
    if (!pSocket->bControl) State().strLastData.clear();
    const int nErrno = Establish(*pSocket, State().pPeer->OnConnect(pSocket->bControl));
    return nErrno == 0 ? 0 : Fail(nErrno);
}

int close(int nHandle) {
    SSocket* const pSocket = Find(nHandle);
    if (pSocket == nullptr) return static_cast<int>(Kernel(SYS_close, nHandle));
    Count();
    if (!pSocket->bControl) State().strLastData = pSocket->strSent;
    pSocket->bOpen = false;
    return 0;
}

ssize_t recv(int nHandle, void* pBuffer, std::size_t nCapacity, int nFlags) {
    SSocket* const pSocket = Find(nHandle);
    if (pSocket == nullptr) {
        return Kernel(SYS_recvfrom, nHandle, Raw(pBuffer), static_cast<long>(nCapacity), nFlags);
    }
    return Receive(*pSocket, static_cast<char*>(pBuffer), nCapacity, (nFlags & MSG_PEEK) != 0);
}

ssize_t read(int nHandle, void* pBuffer, std::size_t nCapacity) {
    SSocket* const pSocket = Find(nHandle);
    if (pSocket == nullptr) {
        return Kernel(SYS_read, nHandle, Raw(pBuffer), static_cast<long>(nCapacity));
    }
    return Receive(*pSocket, static_cast<char*>(pBuffer), nCapacity, false);
}

ssize_t send(int nHandle, const void* pData, std::size_t nSize, int nFlags) {
    SSocket* const pSocket = Find(nHandle);
    if (pSocket == nullptr) {
        return Kernel(SYS_sendto, nHandle, Raw(pData), static_cast<long>(nSize), nFlags);
    }
    return Send(*pSocket, static_cast<const char*>(pData), nSize);
}

// Under a name of its own: the C library declares that poll() only writes its entries, and g++ then
// takes them for uninitialised.
int WirePoll(pollfd* pEntries, nfds_t uEntries, int nTimeout) __asm__("poll");

int WirePoll(pollfd* pEntries, nfds_t uEntries, int nTimeout) {
    if (uEntries == 1 && Find(pEntries[0].fd) != nullptr) {
        return Wait(pEntries[0], nTimeout < 0);
    }
    return static_cast<int>(Kernel(SYS_poll, Raw(pEntries), static_cast<long>(uEntries), nTimeout));
}

int select(int nHandles, fd_set* pRead, fd_set* pWrite, fd_set* pExcept, timeval* pTimeout) {
    const int nHandle = nHandles - 1;
    if (Find(nHandle) == nullptr) {
        return static_cast<int>(
            Kernel(SYS_select, nHandles, Raw(pRead), Raw(pWrite), Raw(pExcept), Raw(pTimeout)));
    }
    pollfd entry = {nHandle, 0, 0};
    if (pRead != nullptr) entry.events = POLLIN;
    if (pWrite != nullptr) entry.events = static_cast<short>(entry.events | POLLOUT);
    const int nReady = Wait(entry, pTimeout == nullptr);
    if (pRead != nullptr && (entry.revents & POLLIN) == 0) FD_ZERO(pRead);
    if (pWrite != nullptr && (entry.revents & POLLOUT) == 0) FD_ZERO(pWrite);
    if (pExcept != nullptr) FD_ZERO(pExcept);
    return nReady;
}

int fcntl(int nHandle, int nCommand, ...) {
    va_list arguments;
    va_start(arguments, nCommand);
    const long lArgument = va_arg(arguments, long);
    va_end(arguments);
    SSocket* const pSocket = Find(nHandle);
    if (pSocket == nullptr) {
        return static_cast<int>(Kernel(SYS_fcntl, nHandle, nCommand, lArgument));
    }
    if (nCommand == F_GETFL) return pSocket->nFlags;
    if (nCommand == F_SETFL) pSocket->nFlags = static_cast<int>(lArgument);
    return 0;
}

int getsockopt(int nHandle, int nLevel, int nOption, void* pValue, socklen_t* pSize) {
    if (Find(nHandle) == nullptr) {
        return static_cast<int>(
            Kernel(SYS_getsockopt, nHandle, nLevel, nOption, Raw(pValue), Raw(pSize)));
    }
    std::memset(pValue, 0, *pSize);
    return 0;
}

int setsockopt(int nHandle, int nLevel, int nOption, const void* pValue, socklen_t uSize) {
    if (Find(nHandle) != nullptr) return 0;
    return static_cast<int>(Kernel(SYS_setsockopt, nHandle, nLevel, nOption, Raw(pValue), uSize));
}

int getpeername(int nHandle, sockaddr* pAddress, socklen_t* pSize) {
    const SSocket* const pSocket = Find(nHandle);
    if (pSocket == nullptr) {
        return static_cast<int>(Kernel(SYS_getpeername, nHandle, Raw(pAddress), Raw(pSize)));
    }
    if (!pSocket->bConnected) return Fail(ENOTCONN);
    FillAddress(pAddress, pSize, CWire::kControlPort);
    return 0;
}

int getsockname(int nHandle, sockaddr* pAddress, socklen_t* pSize) {
    if (Find(nHandle) == nullptr) {
        return static_cast<int>(Kernel(SYS_getsockname, nHandle, Raw(pAddress), Raw(pSize)));
    }
    FillAddress(pAddress, pSize, 40000);
    return 0;
}

// The one address there is.
int getaddrinfo(const char* /*pszName*/, const char* /*pszService*/, const addrinfo* /*pHints*/,
                addrinfo** ppResult) {
    static sockaddr_in address;
    static addrinfo result;
    socklen_t uSize = sizeof(address);
    FillAddress(reinterpret_cast<sockaddr*>(&address), &uSize, 0);
    result.ai_family = AF_INET;
    result.ai_socktype = SOCK_STREAM;
    result.ai_addrlen = uSize;
    result.ai_addr = reinterpret_cast<sockaddr*>(&address);
    *ppResult = &result;
    return 0;
}

void freeaddrinfo(addrinfo* /*pResult*/) {}

int nanosleep(const timespec* /*pTime*/, timespec* /*pLeft*/) {
    return 0;
}

}  // extern "C"
