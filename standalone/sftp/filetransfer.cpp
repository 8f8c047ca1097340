#include "standalone/sftp/filetransfer.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <system_error>

#include "standalone/sftp/inorder.h"
#include "standalone/sftp/localfile.h"
#include "standalone/sftp/readwindow.h"
#include "standalone/sftp/sftprequests.h"
#include "standalone/sftp/writewindow.h"

namespace sftpwrapper {
namespace {

int LocalFailure(CLastError& error, const std::string& strPath) {
    const std::string strReason = std::generic_category().message(errno);
    return error.Set(SFTP_ERR_LOCAL_FILE, "local file " + strPath + ": " + strReason);
}

int Report(SFTP_Progress* pProgress, std::uint64_t ullDone, std::uint64_t ullTotal,
           CLastError& error) {
    if (pProgress == nullptr || pProgress->moved(ullDone, ullTotal)) return SFTP_OK;
    return error.Set(SFTP_ERR_CANCELLED, "cancelled");
}

int ChangedLength(CLastError& error) {
    return error.Set(SFTP_ERR_REMOTE, "the remote file changed its length while it was read");
}

// Where to stop reading. Some files, those of /proc for one, have content and say 0: they are read
// to their end.
std::uint64_t EndOf(std::uint64_t ullSize) {
    return ullSize != 0 ? ullSize : std::numeric_limits<std::uint64_t>::max();
}

// Closes the remote file whatever happened; keeps the earlier failure if there is one.
int CloseAfter(int nResult, CSftpChannel& channel, CLastError& error,
               const std::string& strHandle) {
    if (nResult == SFTP_ERR_LOST || nResult == SFTP_ERR_TIMEOUT) return nResult;
    const CLastError failure = error;
    const int nClosed = CSftpRequests(channel, error).Close(strHandle);
    if (nResult == SFTP_OK) return nClosed;
    error = failure;
    return nResult;
}

int ReadInto(CLocalFile& file, const std::string& strPath, CSftpChannel& channel, CLastError& error,
             const std::string& strHandle, SFTP_Progress* pProgress) {
    SAttributes attributes;
    int nResult = CSftpRequests(channel, error).FileStat(strHandle, attributes);
    if (nResult != SFTP_OK) return nResult;
    const std::uint64_t ullTotal = attributes.ullSize;
    const std::uint64_t ullEnd = EndOf(ullTotal);
    std::uint64_t ullDone = 0;
    const CReadWindow::Sink sink = [&](std::uint64_t ullOffset, const void* pData,
                                       std::size_t uSize) {
        if (!file.WriteAt(ullOffset, pData, uSize)) return LocalFailure(error, strPath);
        ullDone += uSize;
        return Report(pProgress, ullDone, ullTotal, error);
    };
    std::uint64_t ullReached = 0;
    nResult = CReadWindow(channel, error, strHandle).Read(0, ullEnd, sink, ullReached);
    if (nResult != SFTP_OK) return nResult;
    if (ullDone != ullReached || ullReached < ullTotal) return ChangedLength(error);
    return ullDone == 0 ? Report(pProgress, 0, 0, error) : SFTP_OK;
}

// The name under which a file grows; gone with the object unless it was renamed.
class CPartFile {
public:
    explicit CPartFile(const std::string& strTarget)
        : m_strTarget(strTarget), m_strPath(strTarget + ".part") {}

    ~CPartFile() {
        if (m_bCreated) (void)std::remove(m_strPath.c_str());
    }

    CPartFile(const CPartFile&) = delete;
    CPartFile& operator=(const CPartFile&) = delete;

    bool Create() { return m_bCreated = m_file.OpenToWrite(m_strPath); }

    bool Finish() {
        if (!m_file.Close() || std::rename(m_strPath.c_str(), m_strTarget.c_str()) != 0)
            return false;
        m_bCreated = false;
        return true;
    }

    CLocalFile& File() { return m_file; }
    const std::string& Path() const { return m_strPath; }

private:
    std::string m_strTarget;
    std::string m_strPath;
    CLocalFile m_file;
    bool m_bCreated = false;
};

}  // namespace

int GetWholeFile(CSftpChannel& channel, CLastError& error, const std::string& strRemote,
                 const std::string& strLocal, SFTP_Progress* pProgress) {
    std::string strHandle;
    int nResult = CSftpRequests(channel, error).Open(strRemote, SFTP_OPEN_READ, strHandle);
    if (nResult != SFTP_OK) return nResult;
    CPartFile part(strLocal);
    if (!part.Create())
        return CloseAfter(LocalFailure(error, part.Path()), channel, error, strHandle);
    nResult = ReadInto(part.File(), part.Path(), channel, error, strHandle, pProgress);
    nResult = CloseAfter(nResult, channel, error, strHandle);
    if (nResult != SFTP_OK) return nResult;
    return part.Finish() ? SFTP_OK : LocalFailure(error, strLocal);
}

int PutWholeFile(CSftpChannel& channel, CLastError& error, const std::string& strLocal,
                 const std::string& strRemote, SFTP_Progress* pProgress) {
    CLocalFile file;
    if (!file.OpenToRead(strLocal)) return LocalFailure(error, strLocal);
    const std::uint64_t ullTotal = file.Size();
    std::string strHandle;
    int nResult =
        CSftpRequests(channel, error)
            .Open(strRemote, SFTP_OPEN_WRITE | SFTP_OPEN_CREATE | SFTP_OPEN_TRUNCATE, strHandle);
    if (nResult != SFTP_OK) return nResult;
    const CWriteWindow::Source source = [&](void* pData, std::size_t uRoom, std::size_t& uSize) {
        const std::ptrdiff_t nRead = file.Read(pData, uRoom);
        if (nRead < 0) return LocalFailure(error, strLocal);
        uSize = static_cast<std::size_t>(nRead);
        return static_cast<int>(SFTP_OK);
    };
    bool bReported = false;
    const CWriteWindow::Acknowledged acknowledged = [&](std::uint64_t ullDone) {
        bReported = true;
        return Report(pProgress, ullDone, ullTotal, error);
    };
    nResult = CWriteWindow(channel, error, strHandle).Write(0, source, acknowledged);
    if (nResult == SFTP_OK && !bReported) nResult = Report(pProgress, 0, ullTotal, error);
    return CloseAfter(nResult, channel, error, strHandle);
}

int ReadStream(CSftpChannel& channel, CLastError& error, const std::string& strHandle,
               std::uint64_t ullOffset, SFTP_Sink& sink) {
    SAttributes attributes;
    int nResult = CSftpRequests(channel, error).FileStat(strHandle, attributes);
    if (nResult != SFTP_OK) return nResult;
    CInOrder order(ullOffset, [&](const void* pData, std::size_t uSize) {
        if (sink.take(pData, uSize)) return static_cast<int>(SFTP_OK);
        return error.Set(SFTP_ERR_CANCELLED, "cancelled");
    });
    const CReadWindow::Sink inOrder = [&order](std::uint64_t ullAt, const void* pData,
                                               std::size_t uSize) {
        return order.Take(ullAt, pData, uSize);
    };
    std::uint64_t ullReached = 0;
    nResult = CReadWindow(channel, error, strHandle)
                  .Read(ullOffset, EndOf(attributes.ullSize), inOrder, ullReached);
    if (nResult != SFTP_OK) return nResult;
    const std::uint64_t ullEnd = std::max(attributes.ullSize, ullOffset);
    return order.Reached() < ullEnd || order.Reached() < ullReached ? ChangedLength(error)
                                                                    : SFTP_OK;
}

int WriteStream(CSftpChannel& channel, CLastError& error, const std::string& strHandle,
                std::uint64_t ullOffset, SFTP_Source& source) {
    bool bStopped = false;  // the source is not asked again
    const auto goOn = [&](bool bGoOn) {
        bStopped = !bGoOn;
        return bGoOn ? static_cast<int>(SFTP_OK) : error.Set(SFTP_ERR_CANCELLED, "cancelled");
    };
    const CWriteWindow::Source give = [&](void* pData, std::size_t uRoom, std::size_t& uSize) {
        return goOn(source.give(pData, uRoom, &uSize));
    };
    const CWriteWindow::Acknowledged arrived = [&](std::uint64_t ullDone) {
        return bStopped ? static_cast<int>(SFTP_OK) : goOn(source.arrived(ullDone));
    };
    CWriteWindow window(channel, error, strHandle);
    const int nResult = window.Write(ullOffset, give, arrived);
    if (nResult == SFTP_OK || nResult == SFTP_ERR_LOST || nResult == SFTP_ERR_TIMEOUT)
        return nResult;
    const CLastError failure = error;  // not hidden by one of cutting
    const int nCut = CSftpRequests(channel, error).Cut(strHandle, window.Unbroken());
    if (nCut == SFTP_ERR_LOST || nCut == SFTP_ERR_TIMEOUT) return nCut;
    error = failure;
    return nResult;
}

}  // namespace sftpwrapper
