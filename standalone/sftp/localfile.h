#ifndef QEL_STANDALONE_SFTP_LOCALFILE_H
#define QEL_STANDALONE_SFTP_LOCALFILE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace sftpwrapper {

// The local end of a transfer. Failures leave errno set.
class CLocalFile {
public:
    CLocalFile() = default;
    ~CLocalFile();

    CLocalFile(const CLocalFile&) = delete;
    CLocalFile& operator=(const CLocalFile&) = delete;

    bool OpenToRead(const std::string& strPath);

    // Creates or empties it, readable as the process's mask says.
    bool OpenToWrite(const std::string& strPath);

    // Fills the buffer as far as the file goes; -1 after a failure.
    std::ptrdiff_t Read(void* pData, std::size_t uSize);

    bool WriteAt(std::uint64_t ullOffset, const void* pData, std::size_t uSize);

    // Size now; 0 when it cannot be told.
    std::uint64_t Size() const;

    // Late failures, of a full disk on the network say, are only seen here.
    bool Close();

private:
    int m_nFile = -1;
};

}  // namespace sftpwrapper

#endif
