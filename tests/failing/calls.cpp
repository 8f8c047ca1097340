#include "tests/failing/calls.h"

#include <ace/DLL.h>
#include <dlfcn.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace FailingTest {
namespace {

struct SState {
    bool bWatching;
    const SFailure* pFailure;
    long nAt;
    SCounts counts;
};

thread_local SState t_state{};

template <typename T>
T Next(const char* pszName) {
    return reinterpret_cast<T>(::dlsym(RTLD_NEXT, pszName));
}

// As a stream has it after a failure of the system below.
template <typename T>
T FailStream(FILE* pFile, T result) {
    pFile->_flags |= _IO_ERR_SEEN;
    return result;
}

}  // namespace

CWatch::CWatch(const SFailure* pFailure, long nAt) {
    t_state = SState{true, pFailure, nAt, SCounts()};
}

CWatch::~CWatch() {
    End();
}

const SCounts& CWatch::Counts() const {
    return t_state.counts;
}

void CWatch::End() {
    t_state.bWatching = false;
}

CUncounted::CUncounted() : m_bWatched(t_state.bWatching) {
    t_state.bWatching = false;
}

CUncounted::~CUncounted() {
    t_state.bWatching = m_bWatched;
}

bool FailsNow(ECall eCall) {
    SState& state = t_state;
    if (!state.bWatching) return false;
    const long nCall = ++state.counts.made[static_cast<std::size_t>(eCall)];
    const SFailure* pFailure = state.pFailure;
    if (pFailure == nullptr || pFailure->eCall != eCall) return false;
    if (nCall < state.nAt || nCall >= state.nAt + pFailure->nTimes) return false;
    ++state.counts.nFailed;
    errno = pFailure->nErrno;
    return true;
}

}  // namespace FailingTest

using FailingTest::ECall;
using FailingTest::FailsNow;
using FailingTest::FailStream;
using FailingTest::Next;

extern "C" int socket(int nDomain, int nType, int nProtocol) noexcept {
    static const auto next = Next<int (*)(int, int, int)>("socket");
    return FailsNow(ECall::Socket) ? -1 : next(nDomain, nType, nProtocol);
}

extern "C" int connect(int fd, const sockaddr* pAddress, socklen_t nSize) {
    static const auto next = Next<int (*)(int, const sockaddr*, socklen_t)>("connect");
    return FailsNow(ECall::Connect) ? -1 : next(fd, pAddress, nSize);
}

extern "C" int poll(pollfd* pDescriptors, nfds_t nDescriptors, int nTimeoutMs) {
    static const auto next = Next<int (*)(pollfd*, nfds_t, int)>("poll");
    return FailsNow(ECall::Poll) ? -1 : next(pDescriptors, nDescriptors, nTimeoutMs);
}

extern "C" ssize_t recv(int fd, void* pBuffer, size_t nSize, int nFlags) {
    static const auto next = Next<ssize_t (*)(int, void*, size_t, int)>("recv");
    return FailsNow(ECall::Receive) ? -1 : next(fd, pBuffer, nSize, nFlags);
}

extern "C" ssize_t read(int fd, void* pBuffer, size_t nSize) {
    static const auto next = Next<ssize_t (*)(int, void*, size_t)>("read");
    return FailsNow(ECall::Receive) ? -1 : next(fd, pBuffer, nSize);
}

extern "C" ssize_t send(int fd, const void* pBytes, size_t nSize, int nFlags) {
    static const auto next = Next<ssize_t (*)(int, const void*, size_t, int)>("send");
    return FailsNow(ECall::Send) ? -1 : next(fd, pBytes, nSize, nFlags);
}

extern "C" ssize_t write(int fd, const void* pBytes, size_t nSize) {
    static const auto next = Next<ssize_t (*)(int, const void*, size_t)>("write");
    return FailsNow(ECall::Send) ? -1 : next(fd, pBytes, nSize);
}

extern "C" FILE* fopen(const char* pszPath, const char* pszMode) {
    static const auto next = Next<FILE* (*)(const char*, const char*)>("fopen");
    return FailsNow(ECall::Open) ? nullptr : next(pszPath, pszMode);
}

extern "C" size_t fread(void* pBuffer, size_t nSize, size_t nCount, FILE* pFile) {
    static const auto next = Next<size_t (*)(void*, size_t, size_t, FILE*)>("fread");
    return FailsNow(ECall::Read) ? FailStream(pFile, size_t{0})
                                 : next(pBuffer, nSize, nCount, pFile);
}

extern "C" size_t fwrite(const void* pBytes, size_t nSize, size_t nCount, FILE* pFile) {
    static const auto next = Next<size_t (*)(const void*, size_t, size_t, FILE*)>("fwrite");
    return FailsNow(ECall::Write) ? FailStream(pFile, size_t{0})
                                  : next(pBytes, nSize, nCount, pFile);
}

// The stream is gone whatever it returns.
extern "C" int fclose(FILE* pFile) {
    static const auto next = Next<int (*)(FILE*)>("fclose");
    const bool bFails = FailsNow(ECall::Close);
    const int nErrno = errno;
    const int nResult = next(pFile);
    if (!bFails) return nResult;
    errno = nErrno;
    return EOF;
}

extern "C" int rename(const char* pszFrom, const char* pszTo) noexcept {
    static const auto next = Next<int (*)(const char*, const char*)>("rename");
    return FailsNow(ECall::Rename) ? -1 : next(pszFrom, pszTo);
}

// A failure is one of the loader's own, so that dlerror() has something to say.
extern "C" void* dlopen(const char* pszPath, int nMode) noexcept {
    static const auto next = Next<void* (*)(const char*, int)>("dlopen");
    return next(FailsNow(ECall::Load) ? "/no/such/library.so" : pszPath, nMode);
}

void* ACE_DLL::symbol(const ACE_TCHAR* pszName, int bIgnoreErrors) {
    static const auto next =
        Next<void* (*)(ACE_DLL*, const ACE_TCHAR*, int)>("_ZN7ACE_DLL6symbolEPKci");
    return next(this, FailsNow(ECall::Symbol) ? "no_such_symbol" : pszName, bIgnoreErrors);
}
