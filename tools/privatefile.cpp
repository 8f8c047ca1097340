#include "tools/privatefile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/bounded.h"

namespace qelftp {

CPrivateFile::CPrivateFile(const std::string& strPath, std::size_t nMaxSize)
    : m_bytes(nMaxSize + 1) {
    const int nHandle = ::open(strPath.c_str(), O_RDONLY | O_CLOEXEC);
    if (nHandle < 0) {
        m_nErrno = errno;
        return;
    }
    Read(nHandle);
    ::close(nHandle);
}

CPrivateFile::~CPrivateFile() {
    memset_s(m_bytes.data(), m_bytes.size(), 0, m_bytes.size());
}

void CPrivateFile::Read(int nHandle) {
    // Of the open file, so that nobody can put another one in its place in between.
    struct stat status {};
    if (::fstat(nHandle, &status) != 0) {
        m_nErrno = errno;
        return;
    }
    m_uOwner = status.st_uid;
    m_uMode = status.st_mode;
    while (m_nSize < m_bytes.size()) {
        const ssize_t nRead = ::read(nHandle, m_bytes.data() + m_nSize, m_bytes.size() - m_nSize);
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead < 0) m_nErrno = errno;
        if (nRead <= 0) return;
        m_nSize += static_cast<std::size_t>(nRead);
    }
    m_bLonger = true;
    --m_nSize;
}

bool CPrivateFile::IsOwn() const {
    return m_uOwner == ::geteuid();
}

}  // namespace qelftp
