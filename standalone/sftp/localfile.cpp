#include "standalone/sftp/localfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace sftpwrapper {

CLocalFile::~CLocalFile() {
    Close();
}

bool CLocalFile::OpenToRead(const std::string& strPath) {
    m_nFile = ::open(strPath.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info;
    if (m_nFile < 0 || ::fstat(m_nFile, &info) != 0) return false;
    if (!S_ISDIR(info.st_mode)) return true;
    errno = EISDIR;
    return false;
}

bool CLocalFile::OpenToWrite(const std::string& strPath) {
    m_nFile = ::open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    return m_nFile >= 0;
}

std::ptrdiff_t CLocalFile::Read(void* pData, std::size_t uSize) {
    std::size_t uRead = 0;
    while (uRead < uSize) {
        const ssize_t nRead = ::read(m_nFile, static_cast<char*>(pData) + uRead, uSize - uRead);
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead < 0) return -1;
        if (nRead == 0) break;
        uRead += static_cast<std::size_t>(nRead);
    }
    return static_cast<std::ptrdiff_t>(uRead);
}

bool CLocalFile::WriteAt(std::uint64_t ullOffset, const void* pData, std::size_t uSize) {
    const char* pNext = static_cast<const char*>(pData);
    while (uSize > 0) {
        const ssize_t nWritten = ::pwrite(m_nFile, pNext, uSize, static_cast<off_t>(ullOffset));
        if (nWritten < 0 && errno == EINTR) continue;
        if (nWritten < 0) return false;
        pNext += nWritten;
        uSize -= static_cast<std::size_t>(nWritten);
        ullOffset += static_cast<std::uint64_t>(nWritten);
    }
    return true;
}

std::uint64_t CLocalFile::Size() const {
    struct stat info;
    return ::fstat(m_nFile, &info) == 0 ? static_cast<std::uint64_t>(info.st_size) : 0;
}

bool CLocalFile::Close() {
    if (m_nFile < 0) return true;
    const int nFile = m_nFile;
    m_nFile = -1;
    return ::close(nFile) == 0;
}

}  // namespace sftpwrapper
