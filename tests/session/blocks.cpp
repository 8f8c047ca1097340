#include "tests/session/blocks.h"

#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace SessionTest {
namespace {

thread_local CRequestRecord* t_pRecord = nullptr;

template <typename T>
T Next(const char* pszName) {
    return reinterpret_cast<T>(::dlsym(RTLD_NEXT, pszName));
}

void Note(int fd, std::size_t nSize, std::vector<std::size_t> SRequests::*pList) {
    if (t_pRecord != nullptr) t_pRecord->Note(fd, nSize, pList);
}

}  // namespace

CRequestRecord::CRequestRecord(unsigned short usControlPort) : m_usControlPort(usControlPort) {
    t_pRecord = this;
}

CRequestRecord::~CRequestRecord() {
    t_pRecord = nullptr;
}

void CRequestRecord::Note(int fd, std::size_t nSize, std::vector<std::size_t> SRequests::*pList) {
    const int nErrno = errno;
    sockaddr_in peer{};
    socklen_t nPeer = sizeof peer;
    if (::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &nPeer) == 0 &&
        ntohs(peer.sin_port) != m_usControlPort)
        (m_requests.*pList).push_back(nSize);
    errno = nErrno;
}

}  // namespace SessionTest

using SessionTest::SRequests;

extern "C" ssize_t recv(int fd, void* pBuffer, size_t nSize, int nFlags) {
    static const auto next = SessionTest::Next<ssize_t (*)(int, void*, size_t, int)>("recv");
    SessionTest::Note(fd, nSize, &SRequests::received);
    return next(fd, pBuffer, nSize, nFlags);
}

extern "C" ssize_t read(int fd, void* pBuffer, size_t nSize) {
    static const auto next = SessionTest::Next<ssize_t (*)(int, void*, size_t)>("read");
    SessionTest::Note(fd, nSize, &SRequests::received);
    return next(fd, pBuffer, nSize);
}

extern "C" ssize_t send(int fd, const void* pBytes, size_t nSize, int nFlags) {
    static const auto next = SessionTest::Next<ssize_t (*)(int, const void*, size_t, int)>("send");
    SessionTest::Note(fd, nSize, &SRequests::sent);
    return next(fd, pBytes, nSize, nFlags);
}

extern "C" ssize_t write(int fd, const void* pBytes, size_t nSize) {
    static const auto next = SessionTest::Next<ssize_t (*)(int, const void*, size_t)>("write");
    SessionTest::Note(fd, nSize, &SRequests::sent);
    return next(fd, pBytes, nSize);
}
