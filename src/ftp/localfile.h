#ifndef QEL_FTP_LOCALFILE_H
#define QEL_FTP_LOCALFILE_H

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace RVN_FTP_CLIENT {

// A local file of a transfer. Paths are in the local encoding.
class CTransferFile {
public:
    CTransferFile() = default;
    ~CTransferFile() { Close(); }
    CTransferFile(const CTransferFile&) = delete;
    CTransferFile& operator=(const CTransferFile&) = delete;

    // pBuffer: the stream's, which has to outlive it; null for none.
    bool Open(const std::string& strPath, const char* pszMode, char* pBuffer, std::size_t nBuffer);
    FILE* Get() const { return m_pFile; }

    // False when bytes that were written are not in the file.
    bool Close();

private:
    FILE* m_pFile = nullptr;
};

// The buffer of a transfer's file: the C library's 4 KiB would cost a system call every four
// blocks.
constexpr std::size_t kFileBuffer = std::size_t{256} * 1024U;

// The source of a store.
class CStoredFile {
public:
    bool Open(const std::string& strPath);
    bool IsOpen() const { return m_file.Get() != nullptr; }

    // At most nSize bytes; 0 at the end of the file and after an error, see HasFailed.
    std::size_t Read(char* pBuffer, std::size_t nSize) {
        return std::fread(pBuffer, 1, nSize, m_file.Get());
    }
    bool HasFailed() const { return std::ferror(m_file.Get()) != 0; }

private:
    std::unique_ptr<char[]> m_buffer;
    CTransferFile m_file;
};

// The target of a retrieve.
//
// Whole: it grows as path + ".part" and takes the place of the target in Keep(); until then the
// target is as it was, and without Keep() nothing is left behind. It gets the target's permissions,
// and as far as allowed its owner. A target that is no regular file (a device, a pipe) cannot be
// replaced and is written to.
//
// Bytes are received into the room of the file's buffer, and written when it holds enough: in
// blocks of 1,024 bytes, copying them there would be a twentieth of the whole transfer's time.
class CRetrievedFile {
public:
    // nBlock: bytes that there is room for each time.
    CRetrievedFile(const std::string& strPath, bool bWhole, std::size_t nBlock);
    ~CRetrievedFile();
    CRetrievedFile(const CRetrievedFile&) = delete;
    CRetrievedFile& operator=(const CRetrievedFile&) = delete;

    bool IsOpen() const { return m_bOpened; }

    char* Room() { return m_buffer.get() + m_nHeld; }

    // The first nSize bytes of the room, at most nBlock, are the file's next. False when they, or
    // some before them, could not be written.
    bool Take(std::size_t nSize);

    // After the last byte. False when not all of them are in the file.
    bool Close();

    // After Close().
    bool Keep();

private:
    bool Flush();

    std::unique_ptr<char[]> m_buffer;  // of kFileBuffer and one block
    std::size_t m_nHeld = 0;           // bytes in the buffer
    CTransferFile m_file;
    std::string m_strPath;
    std::string m_strPart;  // empty when the target itself is written to, and once it is kept
    bool m_bOpened = false;
};

}  // namespace RVN_FTP_CLIENT

#endif
