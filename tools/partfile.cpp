#include "tools/partfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace qelftp {
namespace {

constexpr mode_t kPermissionBits = 0777;

std::string Resolved(const std::string& strPath) {
    const std::unique_ptr<char, decltype(&std::free)> path(::realpath(strPath.c_str(), nullptr),
                                                           &std::free);
    return path != nullptr ? path.get() : strPath;
}

}  // namespace

CPartFile::CPartFile(const std::string& strTarget) : m_strTarget(strTarget) {
    struct stat link = {};
    if (::lstat(strTarget.c_str(), &link) == 0 && S_ISLNK(link.st_mode))
        m_strTarget = Resolved(strTarget);
    m_strPath = m_strTarget;
    struct stat target = {};
    const bool bExists = ::stat(m_strTarget.c_str(), &target) == 0;
    if (bExists && !S_ISREG(target.st_mode)) return;
    m_strPath += kSuffix;
    if (!bExists) return;
    m_nMode = target.st_mode & kPermissionBits;
    m_nUser = target.st_uid;
    m_nGroup = target.st_gid;
}

CPartFile::~CPartFile() {
    if (m_nFile >= 0) ::close(m_nFile);
}

unsigned long long CPartFile::Left() const {
    struct stat part = {};
    const bool bPart =
        IsReplaced() && ::lstat(m_strPath.c_str(), &part) == 0 && S_ISREG(part.st_mode);
    return bPart ? static_cast<unsigned long long>(part.st_size) : 0;
}

bool CPartFile::Open(unsigned long long ullKeep) {
    if (!IsReplaced()) {
        m_nFile = ::open(m_strPath.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
        return m_nFile >= 0;
    }
    if (ullKeep != 0) {
        m_nFile = ::open(m_strPath.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC);
        return m_nFile >= 0 && ::ftruncate(m_nFile, static_cast<off_t>(ullKeep)) == 0 &&
               ::lseek(m_nFile, 0, SEEK_END) >= 0;
    }
    (void)std::remove(m_strPath.c_str());  // may be a link that leads elsewhere
    m_nFile = ::open(m_strPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                     m_nMode != 0 ? (m_nMode | S_IWUSR) : 0666);
    return m_nFile >= 0;
}

bool CPartFile::Write(const void* pData, std::size_t nSize) {
    const char* pNext = static_cast<const char*>(pData);
    while (nSize > 0) {
        const ssize_t nWritten = ::write(m_nFile, pNext, nSize);
        if (nWritten < 0 && errno == EINTR) continue;
        if (nWritten < 0) return false;
        pNext += nWritten;
        nSize -= static_cast<std::size_t>(nWritten);
    }
    return true;
}

bool CPartFile::Keep() {
    if (IsReplaced() && m_nMode != 0) {
        // Not everyone may, and that is no reason to fail: the bytes are what was asked for.
        [[maybe_unused]] const int nOwner = ::fchown(m_nFile, m_nUser, m_nGroup);
        [[maybe_unused]] const int nMode = ::fchmod(m_nFile, m_nMode);
    }
    const int nFile = m_nFile;
    m_nFile = -1;
    if (::close(nFile) != 0) return false;
    return !IsReplaced() || std::rename(m_strPath.c_str(), m_strTarget.c_str()) == 0;
}

}  // namespace qelftp
