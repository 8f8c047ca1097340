#ifndef QEL_FTP_LOCALFILE_H
#define QEL_FTP_LOCALFILE_H

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace RVN_FTP_CLIENT {

// A local file of a transfer with a buffer of its own: the C library's 4 KiB would cost a system
// call every four blocks. Paths are in the local encoding.
class CTransferFile {
public:
    CTransferFile() = default;
    ~CTransferFile() { Close(); }
    CTransferFile(const CTransferFile&) = delete;
    CTransferFile& operator=(const CTransferFile&) = delete;

    bool Open(const std::string& strPath, const char* pszMode);
    FILE* Get() const { return m_pFile; }

    // False when bytes that were written are not in the file.
    bool Close();

private:
    std::unique_ptr<char[]> m_buffer;  // outlives the stream
    FILE* m_pFile = nullptr;
};

// The source of a store.
class CStoredFile {
public:
    bool Open(const std::string& strPath) { return m_file.Open(strPath, "rb"); }
    bool IsOpen() const { return m_file.Get() != nullptr; }

    // At most nSize bytes; 0 at the end of the file and after an error, see HasFailed.
    std::size_t Read(char* pBuffer, std::size_t nSize) {
        return std::fread(pBuffer, 1, nSize, m_file.Get());
    }
    bool HasFailed() const { return std::ferror(m_file.Get()) != 0; }

private:
    CTransferFile m_file;
};

// The target of a retrieve.
//
// Whole: it grows as path + ".part" and takes the place of the target in Keep(); until then the
// target is as it was, and without Keep() nothing is left behind. It gets the target's permissions,
// and as far as allowed its owner. A target that is no regular file (a device, a pipe) cannot be
// replaced and is written to.
class CRetrievedFile {
public:
    CRetrievedFile(const std::string& strPath, bool bWhole);
    ~CRetrievedFile();
    CRetrievedFile(const CRetrievedFile&) = delete;
    CRetrievedFile& operator=(const CRetrievedFile&) = delete;

    bool IsOpen() const { return m_bOpened; }
    bool Write(const char* pData, std::size_t nSize) {
        return std::fwrite(pData, 1, nSize, m_file.Get()) == nSize;
    }

    // After the last byte. False when not all of them are in the file.
    bool Close() { return m_file.Close(); }

    // After Close().
    bool Keep();

private:
    CTransferFile m_file;
    std::string m_strPath;
    std::string m_strPart;  // empty when the target itself is written to, and once it is kept
    bool m_bOpened = false;
};

}  // namespace RVN_FTP_CLIENT

#endif
