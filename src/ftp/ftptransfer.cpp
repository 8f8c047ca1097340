// Retrieve and store (RFC 959, sections 4.1.3 and 5.4).

#include <memory>
#include <string>

#include "include/ftpresult.h"
#include "src/ftp/commandrule.h"
#include "src/ftp/ftpcommand.h"
#include "src/ftp/localfile.h"
#include "src/ftp/remotepath.h"
#include "src/ftp/transferlimits.h"
#include "src/support/log.h"

namespace RVN_FTP_CLIENT {
namespace {

// Gives the code back, so that a failure is logged where it is returned.
unsigned int Failed(unsigned int uResult, const std::string& strMessage,
                    const LocationInfo& where) {
    LogError(uResult, strMessage, where);
    return uResult;
}

unsigned int NotOpened(const std::string& strLocalPath) {
    return Failed(FTP_LOCAL_OPEN_FAILED, "Can not open file" + strLocalPath,
                  LocationInfo(kCommandFile, "Ftp_PutFile", __LINE__));
}

// The server's own reason is worth more than a connection that broke in its course, unless it says
// no more than that.
bool ExplainsBrokenStore(unsigned int uClosing) {
    return uClosing != FTP_OK && uClosing != FTP_NO_REPLY && uClosing != FTP_REPLY_421 &&
           uClosing != FTP_REPLY_426;
}

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
    if (uResult != FTP_OK) return EndRefused(uResult, bClosingSeen);
    CRetrievedFile file(localPath, m_Options.bVerify, m_Options.uBlockSize);
    if (!file.IsOpen()) {
        FinishTransfer(bClosingSeen);
        // Names the remote file: hosts match this line to the request they made.
        return Failed(FTP_LOCAL_CREATE_FAILED, "Can not create file" + remotePath,
                      LocationInfo(kCommandFile, "Ftp_GetFile", __LINE__));
    }
    uResult = ReceiveFile(file, firstBlockOnly);
    const unsigned int uClosing = FinishTransfer(bClosingSeen);
    if (!m_Options.bVerify) return uResult;
    if (uResult == FTP_OK) uResult = uClosing;
    if (uResult == FTP_OK && !file.Keep()) uResult = FTP_LOCAL_IO_FAILED;
    if (uResult == FTP_OK) return FTP_OK;
    return Failed(uResult, "Not retrieved whole:" + remotePath,
                  LocationInfo(kCommandFile, "Ftp_GetFile", __LINE__));
}

unsigned int CFtpComand::Ftp_PutFile(const std::string& localPath, const std::string& remotePath) {
    _TraceFunction trace(LocationInfo(kCommandFile, "Ftp_PutFile", __LINE__));
    CStoredFile file;
    if (m_Options.bVerify && !file.Open(localPath)) return NotOpened(localPath);
    const SSplitPath remote = SplitPath(remotePath);
    unsigned int uResult = Ftp_cwd(remote.strDir);
    if (uResult != FTP_OK) return uResult;
    uResult = CreatePasvDataLink();
    if (uResult != FTP_OK) return uResult;

    bool bClosingSeen = false;
    uResult = Ftp_stor(remote.strName, &bClosingSeen);
    if (uResult != FTP_OK) return EndRefused(uResult, bClosingSeen);
    if (!file.IsOpen() && !file.Open(localPath)) {
        uResult = NotOpened(localPath);
        FinishTransfer(bClosingSeen);
        return uResult;
    }
    uResult = SendFile(file);
    const unsigned int uClosing = FinishTransfer(bClosingSeen);
    if (!m_Options.bVerify) return uResult;
    if (uResult == FTP_OK || (uResult == FTP_DATA_BROKEN && ExplainsBrokenStore(uClosing))) {
        uResult = uClosing;
    }
    if (uResult == FTP_OK) return FTP_OK;
    return Failed(uResult, "Not stored whole:" + remotePath,
                  LocationInfo(kCommandFile, "Ftp_PutFile", __LINE__));
}

unsigned int CFtpComand::ReceiveFile(CRetrievedFile& file, bool bFirstBlockOnly) {
    const int nBlock = static_cast<int>(m_Options.uBlockSize);
    unsigned long long ullTotal = 0;
    bool bEndedByUs = false;
    int nReceived = 0;
    while ((nReceived = RecvData(file.Room(), nBlock, kTransferSilence)) >= 1) {
        const bool bWritten = file.Take(static_cast<std::size_t>(nReceived));
        if (!bWritten && m_Options.bVerify) return FTP_LOCAL_IO_FAILED;
        ullTotal += static_cast<unsigned int>(nReceived);
        if (!TellProgress(ullTotal)) return FTP_CANCELLED;
        // ABOR closes the data socket; the next receive fails and ends the loop.
        if (bFirstBlockOnly && ullTotal >= kFirstBlock) {
            Ftp_abor();
            bEndedByUs = true;
        }
    }
    if (ullTotal == 0 && !TellProgress(0)) return FTP_CANCELLED;
    const bool bWritten = file.Close();
    if (!m_Options.bVerify) return FTP_OK;
    if (nReceived < 0 && !bEndedByUs) return FTP_DATA_BROKEN;
    return bWritten ? FTP_OK : FTP_LOCAL_IO_FAILED;
}

unsigned int CFtpComand::SendFile(CStoredFile& file) {
    const std::unique_ptr<char[]> block(new char[m_Options.uBlockSize]);
    unsigned long long ullTotal = 0;
    std::size_t nRead = 0;
    while ((nRead = file.Read(block.get(), m_Options.uBlockSize)) > 0) {
        const int nSize = static_cast<int>(nRead);
        if (m_Options.bVerify) {
            if (SendData(block.get(), nSize, kTransferSilence) != nSize) {
                if (ullTotal == 0) TellProgress(0);  // the file exists at the server by now
                return FTP_DATA_BROKEN;
            }
        } else {
            // The file is read to its end even when sending fails: the result is the same, and the
            // closing reply tells the server's side of it.
            SendData(block.get(), nSize);
        }
        ullTotal += nRead;
        if (!TellProgress(ullTotal)) return FTP_CANCELLED;
    }
    if (ullTotal == 0 && !TellProgress(0)) return FTP_CANCELLED;
    return m_Options.bVerify && file.HasFailed() ? FTP_LOCAL_IO_FAILED : FTP_OK;
}

bool CFtpComand::TellProgress(unsigned long long ullMoved) const {
    return !m_Options.progress || m_Options.progress(ullMoved);
}

}  // namespace RVN_FTP_CLIENT
