// Retrieve and store (RFC 959, sections 4.1.3 and 5.4).

#include <array>
#include <memory>
#include <string>

#include "include/ftpresult.h"
#include "platform/encoding.h"
#include "platform/files.h"
#include "src/ftp/commandrule.h"
#include "src/ftp/ftpcommand.h"
#include "src/ftp/remotepath.h"
#include "src/ftp/transferlimits.h"
#include "src/support/log.h"

namespace RVN_FTP_CLIENT {
namespace {

// The C library's own 4 KiB would cost a system call every four blocks.
constexpr std::size_t kFileBuffer = 256U * 1024U;

// A local file of a transfer with its buffer, which must outlive the stream.
class CTransferFile {
public:
    CTransferFile(const std::string& strLocalPath, const char* pszMode)
        : m_pFile(ZELT_OS::fopen(ZeltGlobalUtils::LOCTOUTF8(strLocalPath.c_str()).c_str(), pszMode,
                                 "UTF-8")) {
        if (m_pFile == nullptr) return;
        m_buffer.reset(new char[kFileBuffer]);
        std::setvbuf(m_pFile, m_buffer.get(), _IOFBF, kFileBuffer);
    }
    ~CTransferFile() {
        if (m_pFile != nullptr) std::fclose(m_pFile);
    }
    CTransferFile(const CTransferFile&) = delete;
    CTransferFile& operator=(const CTransferFile&) = delete;

    FILE* Get() const { return m_pFile; }

private:
    std::unique_ptr<char[]> m_buffer;
    FILE* m_pFile;
};

}  // namespace

unsigned int CFtpComand::Ftp_GetFile(const std::string& remotePath, const std::string& localPath,
                                     bool firstBlockOnly) {
    _TraceFunction trace(LocationInfo(kCommandFile, "Ftp_GetFile", __LINE__));
    const SSplitPath remote = SplitPath(remotePath);
    unsigned int uResult = Ftp_cwd(remote.strDir);
    if (uResult != FTP_OK) return uResult;
    uResult = CreatePasvDataLink();
    if (uResult != FTP_OK) return uResult;

    bool bClosingSeen = false;
    uResult = Ftp_retr(remote.strName, &bClosingSeen);
    if (uResult == FTP_OK) {
        CTransferFile file(localPath, "wb");
        if (file.Get() != nullptr) {
            ReceiveFile(file.Get(), firstBlockOnly);
        } else {
            uResult = FTP_LOCAL_CREATE_FAILED;
            // Names the remote file: hosts match this line to the request they made.
            LogError(uResult, "Can not create file" + remotePath,
                     LocationInfo(kCommandFile, "Ftp_GetFile", __LINE__));
        }
    }
    FinishTransfer(bClosingSeen);
    return uResult;
}

unsigned int CFtpComand::Ftp_PutFile(const std::string& localPath, const std::string& remotePath) {
    _TraceFunction trace(LocationInfo(kCommandFile, "Ftp_PutFile", __LINE__));
    const SSplitPath remote = SplitPath(remotePath);
    unsigned int uResult = Ftp_cwd(remote.strDir);
    if (uResult != FTP_OK) return uResult;
    uResult = CreatePasvDataLink();
    if (uResult != FTP_OK) return uResult;

    bool bClosingSeen = false;
    uResult = Ftp_stor(remote.strName, &bClosingSeen);
    if (uResult == FTP_OK) {
        const CTransferFile file(localPath, "rb");
        if (file.Get() != nullptr) {
            SendFile(file.Get());
        } else {
            uResult = FTP_LOCAL_OPEN_FAILED;
            LogError(uResult, "Can not open file" + localPath,
                     LocationInfo(kCommandFile, "Ftp_PutFile", __LINE__));
        }
    }
    FinishTransfer(bClosingSeen);
    return uResult;
}

// A broken or silent connection ends the file as its end does.
void CFtpComand::ReceiveFile(FILE* pFile, bool bFirstBlockOnly) {
    std::array<char, kTransferBlock> block{};
    unsigned int uTotal = 0;
    int nReceived = 0;
    while ((nReceived = RecvData(block.data(), kTransferBlock, kTransferSilence)) >= 1) {
        std::fwrite(block.data(), 1, static_cast<std::size_t>(nReceived), pFile);
        uTotal += static_cast<unsigned int>(nReceived);
        // ABOR closes the data socket; the next receive fails and ends the loop.
        if (bFirstBlockOnly && uTotal >= kTransferBlock) Ftp_abor();
    }
    std::fflush(pFile);
}

// Reads the file to its end even when sending fails: the result is the same, and the closing reply
// tells the server's side of it.
void CFtpComand::SendFile(FILE* pFile) {
    const std::unique_ptr<char[]> block(new char[kTransferBlock]);
    std::size_t nRead = 0;
    while ((nRead = std::fread(block.get(), 1, kTransferBlock, pFile)) > 0) {
        SendData(block.get(), static_cast<int>(nRead));
    }
}

// Close first: in stream mode the end of the data connection is the end of the file (RFC 959,
// section 3.4.1), and only then does the server answer. The answer changes nothing.
void CFtpComand::FinishTransfer(bool bClosingSeen) {
    CloseDataSock();
    if (!bClosingSeen) GetRetCode(m_nRetryTimeout);
}

}  // namespace RVN_FTP_CLIENT
