#include "tools/localwatch.h"

#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>

#include "platform/encoding.h"
#include "platform/files.h"

namespace qelftp {
namespace {

thread_local CLocalFileWatch* t_pWatch = nullptr;

// A stream's cookie: the stream beneath it, whose descriptor does the work, and whom to tell.
struct SWatchedStream {
    FILE* pBeneath;
    CLocalFileWatch* pWatch;
    std::size_t nFile;

    void NoteErrno() const { pWatch->NoteBroken(nFile, errno); }
};

ssize_t ReadWatched(void* pCookie, char* pBuffer, std::size_t nSize) {
    const auto* const pStream = static_cast<SWatchedStream*>(pCookie);
    ssize_t nRead = 0;
    do {
        nRead = ::read(fileno(pStream->pBeneath), pBuffer, nSize);
    } while (nRead < 0 && errno == EINTR);
    if (nRead < 0) pStream->NoteErrno();
    return nRead;
}

// Returns less than nSize only on failure, and never a negative number: fopencookie(3).
ssize_t WriteWatched(void* pCookie, const char* pBuffer, std::size_t nSize) {
    const auto* const pStream = static_cast<SWatchedStream*>(pCookie);
    std::size_t nDone = 0;
    while (nDone < nSize) {
        const ssize_t nWritten = ::write(fileno(pStream->pBeneath), pBuffer + nDone, nSize - nDone);
        if (nWritten < 0 && errno == EINTR) continue;
        if (nWritten < 0) {
            pStream->NoteErrno();
            break;
        }
        nDone += static_cast<std::size_t>(nWritten);
    }
    return static_cast<ssize_t>(nDone);
}

int CloseWatched(void* pCookie) {
    const std::unique_ptr<SWatchedStream> stream(static_cast<SWatchedStream*>(pCookie));
    const int nResult = std::fclose(stream->pBeneath);
    if (nResult != 0) stream->NoteErrno();  // network file systems report a full disk here
    return nResult;
}

FILE* WatchedStream(FILE* pBeneath, const char* pszMode, CLocalFileWatch& watch) {
    auto stream =
        std::make_unique<SWatchedStream>(SWatchedStream{pBeneath, &watch, watch.NoteOpened()});
    const cookie_io_functions_t functions{ReadWatched, WriteWatched, nullptr, CloseWatched};
    FILE* const pStream = ::fopencookie(stream.get(), pszMode, functions);
    if (pStream == nullptr) {
        std::fclose(pBeneath);
        return nullptr;
    }
    stream.release();
    return pStream;
}

}  // namespace

CLocalFileWatch::CLocalFileWatch() {
    t_pWatch = this;
}

CLocalFileWatch::~CLocalFileWatch() {
    t_pWatch = nullptr;
}

CLocalFileWatch* CLocalFileWatch::OfThisThread() {
    return t_pWatch;
}

void CLocalFileWatch::NoteBroken(std::size_t nFile, int nErrno) {
    const bool bKnown = !m_broken.empty() && m_broken.back().nFile == nFile;
    if (!bKnown) m_broken.push_back({nFile, nErrno});
}

}  // namespace qelftp

// Replaces the platform's. The encoding is not looked at: the library always passes "UTF-8".
FILE* ZELT_OS::fopen(const char* utf8Path, const char* mode, const char* /*encoding*/) {
    const std::string strLocal = ZeltGlobalUtils::UTF8TOLOC(utf8Path);
    const std::string strMode = std::string(mode) + "e";  // programs started later do not get it
    FILE* const pFile = ::fopen(strLocal.c_str(), strMode.c_str());
    qelftp::CLocalFileWatch* const pWatch = qelftp::CLocalFileWatch::OfThisThread();
    if (pWatch == nullptr) return pFile;
    if (pFile != nullptr) return qelftp::WatchedStream(pFile, mode, *pWatch);
    pWatch->NoteNotOpened(errno);
    return nullptr;
}
