#include "fuzz/localfiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform/files.h"

namespace QelFuzz {
namespace {

struct SStream {
    std::string strPath;
    std::size_t nAt = 0;
};

bool IsOurs(const char* pszPath) {
    return std::string_view(pszPath).rfind(CLocalFiles::kFolder, 0) == 0;
}

ssize_t ReadStream(void* pCookie, char* pBuffer, std::size_t nSize) {
    auto& stream = *static_cast<SStream*>(pCookie);
    const std::string& strFile = CLocalFiles::s_files[stream.strPath];
    const std::size_t nTaken =
        std::min(nSize, strFile.size() - std::min(stream.nAt, strFile.size()));
    std::memcpy(pBuffer, strFile.data() + stream.nAt, nTaken);
    stream.nAt += nTaken;
    return static_cast<ssize_t>(nTaken);
}

ssize_t WriteStream(void* pCookie, const char* pBuffer, std::size_t nSize) {
    std::string& strFile = CLocalFiles::s_files[static_cast<SStream*>(pCookie)->strPath];
    const std::size_t nRoom = CLocalFiles::s_nCapacity - strFile.size();
    if (nRoom == 0) {
        errno = ENOSPC;
        return 0;  // as a stream's write function says that it failed
    }
    strFile.append(pBuffer, std::min(nSize, nRoom));
    return static_cast<ssize_t>(std::min(nSize, nRoom));
}

int CloseStream(void* pCookie) {
    delete static_cast<SStream*>(pCookie);
    --CLocalFiles::s_nOpen;
    return 0;
}

FILE* OpenStream(const char* pszPath, const char* pszMode) {
    const bool bWrite = *pszMode == 'w';
    const bool bThere = CLocalFiles::s_files.count(pszPath) != 0;
    if (bWrite ? !CLocalFiles::s_bCreatable : !bThere) {
        errno = bWrite ? EACCES : ENOENT;
        return nullptr;
    }
    if (bWrite) CLocalFiles::s_files[pszPath].clear();
    ++CLocalFiles::s_nOpen;
    return ::fopencookie(new SStream{pszPath}, pszMode,
                         {ReadStream, WriteStream, nullptr, CloseStream});
}

}  // namespace

std::map<std::string, std::string> CLocalFiles::s_files;
int CLocalFiles::s_nOpen = 0;
bool CLocalFiles::s_bCreatable = true;
std::size_t CLocalFiles::s_nCapacity = 0;

void CLocalFiles::Reset() {
    s_files.clear();
    s_nOpen = 0;
    s_bCreatable = true;
    s_nCapacity = 1U << 30;
}

}  // namespace QelFuzz

using QelFuzz::CLocalFiles;

FILE* ZELT_OS::fopen(const char* utf8Path, const char* mode, const char* /*encoding*/) {
    if (QelFuzz::IsOurs(utf8Path)) return QelFuzz::OpenStream(utf8Path, mode);
    errno = EACCES;  // a target touches no file of the machine
    return nullptr;
}

extern "C" {

int stat(const char* pszPath, struct stat* pStatus) {
    if (!QelFuzz::IsOurs(pszPath)) {
        return static_cast<int>(::syscall(SYS_newfstatat, AT_FDCWD, pszPath, pStatus, 0));
    }
    if (CLocalFiles::s_files.count(pszPath) == 0) {
        errno = ENOENT;
        return -1;
    }
    *pStatus = {};
    pStatus->st_mode = S_IFREG | 0600;
    return 0;
}

int unlink(const char* pszPath) {
    if (!QelFuzz::IsOurs(pszPath)) return static_cast<int>(::syscall(SYS_unlink, pszPath));
    return CLocalFiles::s_files.erase(pszPath) == 1 ? 0 : -1;
}

int rename(const char* pszFrom, const char* pszTo) {
    if (!QelFuzz::IsOurs(pszFrom)) {
        return static_cast<int>(::syscall(SYS_renameat2, AT_FDCWD, pszFrom, AT_FDCWD, pszTo, 0));
    }
    const auto from = CLocalFiles::s_files.find(pszFrom);
    if (from == CLocalFiles::s_files.end()) return -1;
    const std::string strBytes = from->second;
    CLocalFiles::s_files.erase(from);
    CLocalFiles::s_files[pszTo] = strBytes;
    return 0;
}

}  // extern "C"
