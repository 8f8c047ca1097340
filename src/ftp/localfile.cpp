#include "src/ftp/localfile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "platform/encoding.h"
#include "platform/files.h"

namespace RVN_FTP_CLIENT {
namespace {

constexpr const char* kPartSuffix = ".part";
constexpr mode_t kPermissionBits = 0777;

// Not everyone may, and that is no reason to fail: the bytes are what was asked for.
void LikeTarget(int nFile, const struct stat& target) {
    [[maybe_unused]] const int nOwner = ::fchown(nFile, target.st_uid, target.st_gid);
    [[maybe_unused]] const int nMode = ::fchmod(nFile, target.st_mode & kPermissionBits);
}

}  // namespace

bool CTransferFile::Open(const std::string& strPath, const char* pszMode, char* pBuffer,
                         std::size_t nBuffer) {
    m_pFile = ZELT_OS::fopen(ZeltGlobalUtils::LOCTOUTF8(strPath.c_str()).c_str(), pszMode, "UTF-8");
    if (m_pFile == nullptr) return false;
    // Refused, it leaves the file a buffer of its own, which does as well.
    (void)std::setvbuf(m_pFile, pBuffer, pBuffer != nullptr ? _IOFBF : _IONBF, nBuffer);
    return true;
}

bool CTransferFile::Close() {
    if (m_pFile == nullptr) return true;
    const bool bWritten = std::ferror(m_pFile) == 0;
    const bool bClosed = std::fclose(m_pFile) == 0;
    m_pFile = nullptr;
    return bWritten && bClosed;
}

bool CStoredFile::Open(const std::string& strPath) {
    m_buffer.reset(new char[kFileBuffer]);
    return m_file.Open(strPath, "rb", m_buffer.get(), kFileBuffer);
}

// The buffer comes first: without memory there is to be no file either.
CRetrievedFile::CRetrievedFile(const std::string& strPath, bool bWhole, std::size_t nBlock)
    : m_buffer(new char[kFileBuffer + nBlock]), m_strPath(strPath) {
    struct stat target = {};
    const bool bExists = bWhole && ::stat(strPath.c_str(), &target) == 0;
    if (!bWhole || (bExists && !S_ISREG(target.st_mode))) {
        m_bOpened = m_file.Open(strPath, "wb", nullptr, 0);
        return;
    }
    m_strPart = strPath + kPartSuffix;
    ::unlink(m_strPart.c_str());  // of a run that was killed, or a link that leads elsewhere
    m_bOpened = m_file.Open(m_strPart, "wb", nullptr, 0);
    if (m_bOpened && bExists) LikeTarget(::fileno(m_file.Get()), target);
}

CRetrievedFile::~CRetrievedFile() {
    Close();
    if (!m_strPart.empty()) ::unlink(m_strPart.c_str());
}

bool CRetrievedFile::Take(std::size_t nSize) {
    m_nHeld += nSize;
    return m_nHeld < kFileBuffer || Flush();
}

bool CRetrievedFile::Flush() {
    const std::size_t nSize = std::exchange(m_nHeld, 0);
    return std::fwrite(m_buffer.get(), 1, nSize, m_file.Get()) == nSize;
}

bool CRetrievedFile::Close() {
    const bool bFlushed = m_nHeld == 0 || Flush();
    return m_file.Close() && bFlushed;
}

bool CRetrievedFile::Keep() {
    if (m_strPart.empty()) return true;
    if (std::rename(m_strPart.c_str(), m_strPath.c_str()) != 0) return false;
    m_strPart.clear();
    return true;
}

}  // namespace RVN_FTP_CLIENT
