// The program's own send(), recv() and read(), with which ACE receives: the libraries' calls come
// here, too, and pass through to the C library's, with a look by the watch of the calling thread if
// it has one.

// Its inline functions would stand in the way of the definitions.
#undef _FORTIFY_SOURCE

#include <dlfcn.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "tools/dialogue.h"

namespace {

template <typename T>
T Next(const char* pszName) {
    return reinterpret_cast<T>(::dlsym(RTLD_NEXT, pszName));
}

// The caller's errno is its own.
void Note(int nSocket, qelftp::EDirection eDirection, const void* pBytes, ssize_t nResult) {
    qelftp::CDialogueWatch* const pWatch = qelftp::CDialogueWatch::OfThisThread();
    if (pWatch == nullptr || nResult < 0) return;
    const int nErrno = errno;
    pWatch->NoteTraffic(nSocket, eDirection, static_cast<const char*>(pBytes),
                        static_cast<std::size_t>(nResult));
    errno = nErrno;
}

}  // namespace

extern "C" ssize_t send(int nSocket, const void* pBytes, size_t nSize, int nFlags) {
    static const auto pNext = Next<decltype(&::send)>("send");
    const ssize_t nResult = pNext(nSocket, pBytes, nSize, nFlags);
    Note(nSocket, qelftp::EDirection::Sent, pBytes, nResult);
    return nResult;
}

extern "C" ssize_t recv(int nSocket, void* pBuffer, size_t nSize, int nFlags) {
    static const auto pNext = Next<decltype(&::recv)>("recv");
    const ssize_t nResult = pNext(nSocket, pBuffer, nSize, nFlags);
    const bool bOnlyALook = (nFlags & MSG_PEEK) != 0;  // the bytes will come again
    if (!bOnlyALook) Note(nSocket, qelftp::EDirection::Received, pBuffer, nResult);
    return nResult;
}

extern "C" ssize_t read(int nHandle, void* pBuffer, size_t nSize) {
    static const auto pNext = Next<decltype(&::read)>("read");
    const ssize_t nResult = pNext(nHandle, pBuffer, nSize);
    Note(nHandle, qelftp::EDirection::Received, pBuffer, nResult);
    return nResult;
}
