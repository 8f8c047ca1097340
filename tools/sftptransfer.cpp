#include "tools/sftptransfer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

#include "platform/encoding.h"
#include "tools/partfile.h"

namespace qelftp {
namespace {

constexpr const char* kGet = "get";
constexpr const char* kPut = "put";

[[noreturn]] void FailHere(const char* pszOperation, const std::string& strPath, int nErrno) {
    SFailure failure = LocalFailure(pszOperation, strPath, nErrno);
    failure.bLasting = true;
    throw COperationError(failure);
}

// An open remote file; closed when it is forgotten.
class CRemoteFile {
public:
    CRemoteFile(CSftpLink& link, SFTP_File* pFile) : m_link(link), m_pFile(pFile) {}
    ~CRemoteFile() { Close(); }
    CRemoteFile(const CRemoteFile&) = delete;
    CRemoteFile& operator=(const CRemoteFile&) = delete;

    SFTP_File* Get() const { return m_pFile; }

    int Close() {
        SFTP_File* const pFile = m_pFile;
        m_pFile = nullptr;
        return pFile != nullptr ? m_link.Session().closeFile(pFile) : SFTP_OK;
    }

private:
    CSftpLink& m_link;
    SFTP_File* m_pFile;
};

bool Tell(const FProgress& progress, unsigned long long ullDone, unsigned long long ullTotal) {
    return !progress || progress(ullDone, ullTotal);
}

class CLocalSink : public SFTP_Sink {
public:
    CLocalSink(CPartFile& file, const FProgress& progress, unsigned long long ullDone,
               unsigned long long ullTotal)
        : m_file(file), m_progress(progress), m_ullDone(ullDone), m_ullTotal(ullTotal) {}

    bool take(const void* pData, std::size_t nSize) override {
        if (!m_file.Write(pData, nSize)) {
            m_nErrno = errno;
            return false;
        }
        m_ullDone += nSize;
        return Tell(m_progress, m_ullDone, m_ullTotal);
    }

    int Errno() const { return m_nErrno; }

private:
    CPartFile& m_file;
    const FProgress& m_progress;
    unsigned long long m_ullDone;
    unsigned long long m_ullTotal;
    int m_nErrno = 0;
};

class CLocalSource : public SFTP_Source {
public:
    CLocalSource(const std::string& strPath, const FProgress& progress)
        : m_nFile(::open(strPath.c_str(), O_RDONLY | O_CLOEXEC)), m_progress(progress) {
        struct stat info = {};
        if (m_nFile < 0 || ::fstat(m_nFile, &info) != 0)
            m_nErrno = errno;
        else if (S_ISDIR(info.st_mode))
            m_nErrno = EISDIR;
        m_ullSize = static_cast<unsigned long long>(info.st_size);
    }
    ~CLocalSource() {
        if (m_nFile >= 0) ::close(m_nFile);
    }
    CLocalSource(const CLocalSource&) = delete;
    CLocalSource& operator=(const CLocalSource&) = delete;

    // Of the first failure, opening included; 0 when there was none.
    int Errno() const { return m_nErrno; }
    unsigned long long Size() const { return m_ullSize; }

    void StartAt(unsigned long long ullOffset) {
        m_ullFirst = ullOffset;
        if (ullOffset != 0 && ::lseek(m_nFile, static_cast<off_t>(ullOffset), SEEK_SET) < 0)
            m_nErrno = errno;
    }

    bool give(void* pBuffer, std::size_t nRoom, std::size_t* pSize) override {
        *pSize = 0;
        while (*pSize < nRoom) {
            const ssize_t nRead =
                ::read(m_nFile, static_cast<char*>(pBuffer) + *pSize, nRoom - *pSize);
            if (nRead < 0 && errno == EINTR) continue;
            if (nRead < 0) m_nErrno = errno;
            if (nRead <= 0) break;
            *pSize += static_cast<std::size_t>(nRead);
        }
        return m_nErrno == 0;
    }

    bool arrived(std::uint64_t ullDone) override {
        return Tell(m_progress, m_ullFirst + ullDone, m_ullSize);
    }

private:
    int m_nFile;
    int m_nErrno = 0;
    const FProgress& m_progress;
    unsigned long long m_ullSize = 0;
    unsigned long long m_ullFirst = 0;
};

// Where a store goes.
struct SRemoteTarget {
    std::string strPath;                       // server's
    std::optional<std::uint32_t> uPermission;  // of the file that is there
    bool bReplaced = true;                     // false: not a regular file, written to directly
};

SRemoteTarget TargetOf(CSftpLink& link, const std::string& strPath) {
    SRemoteTarget target;
    const SFTP_String path = ServerPath(strPath);
    target.strPath = path.c_str();
    SFTP_FileInfo info = {};
    const int nResult = link.Session().stat(path, info);
    if (nResult == SFTP_ERR_NO_SUCH_PATH) return target;
    link.Check(kPut, strPath, nResult);
    if (info.ucType == SFTP_TYPE_DIRECTORY) FailHere(kPut, strPath, EISDIR);
    target.bReplaced = info.ucType == SFTP_TYPE_FILE;
    if (!target.bReplaced) return target;
    target.uPermission = info.uPermission;
    link.Check(kPut, strPath, link.Session().statLink(path, info));
    if (info.ucType != SFTP_TYPE_LINK) return target;
    SFTP_String resolved;
    link.Check(kPut, strPath, link.Session().realPath(path, resolved));
    if (resolved.c_str() != nullptr) target.strPath = resolved.c_str();
    return target;
}

// Bytes of an earlier run that can be continued.
unsigned long long RemoteLeft(CSftpLink& link, const std::string& strPart,
                              unsigned long long ullSize) {
    SFTP_FileInfo info = {};
    if (link.Session().statLink(SFTP_String(strPart.c_str()), info) != SFTP_OK) return 0;
    return info.ucType == SFTP_TYPE_FILE && info.ullSize <= ullSize ? info.ullSize : 0;
}

// Makes the part anew, so that neither a link nor permissions of an earlier one count.
int CreatePart(CSftpLink& link, const SRemoteTarget& target, const SFTP_String& part,
               SFTP_File** ppFile) {
    constexpr int kNew = SFTP_OPEN_WRITE | SFTP_OPEN_CREATE | SFTP_OPEN_EXCLUSIVE;
    SFTP_Session_Wrp& session = link.Session();
    int nResult = session.openFile(part, kNew, ppFile);
    if (nResult == SFTP_ERR_EXISTS) {
        nResult = session.remove(part);
        if (nResult == SFTP_OK) nResult = session.openFile(part, kNew, ppFile);
    }
    // Before the first byte: it may be nobody else's business. That the server may refuse is no
    // reason to fail.
    if (nResult == SFTP_OK && target.uPermission) session.setPermission(part, *target.uPermission);
    return nResult;
}

}  // namespace

void GetOverSftp(CSftpLink& link, const STransfer& transfer, bool bContinue,
                 const FProgress& progress) {
    SFTP_Session_Wrp& session = link.Session();
    const SFTP_String path = ServerPath(transfer.strRemote);
    SFTP_FileInfo info = {};
    link.Check(kGet, transfer.strRemote, session.stat(path, info));
    if (info.ucType == SFTP_TYPE_DIRECTORY)
        FailHere(kGet, ZeltGlobalUtils::UTF8TOLOC(transfer.strRemote.c_str()), EISDIR);
    SFTP_File* pFile = nullptr;
    link.Check(kGet, transfer.strRemote, session.openFile(path, SFTP_OPEN_READ, &pFile));
    CRemoteFile file(link, pFile);

    CPartFile part(transfer.strLocal);
    const unsigned long long ullLeft = bContinue ? part.Left() : 0;
    const unsigned long long ullKept = ullLeft <= info.ullSize ? ullLeft : 0;
    if (!part.Open(ullKept)) FailHere(kGet, part.Path(), errno);
    CLocalSink sink(part, progress, ullKept, info.ullSize);
    const int nResult = session.readAll(file.Get(), ullKept, sink);
    if (sink.Errno() != 0) FailHere(kGet, part.Path(), sink.Errno());
    link.Check(kGet, transfer.strRemote, nResult);
    link.Check(kGet, transfer.strRemote, file.Close());
    if (!part.Keep()) FailHere(kGet, transfer.strLocal, errno);
}

void PutOverSftp(CSftpLink& link, const STransfer& transfer, bool bContinue,
                 const FProgress& progress) {
    SFTP_Session_Wrp& session = link.Session();
    CLocalSource source(transfer.strLocal, progress);
    if (source.Errno() != 0) FailHere(kPut, transfer.strLocal, source.Errno());
    const SRemoteTarget target = TargetOf(link, transfer.strRemote);
    const std::string strPart = target.strPath + (target.bReplaced ? CPartFile::kSuffix : "");
    const SFTP_String part(strPart.c_str());
    const bool bKeep = bContinue && target.bReplaced;
    const unsigned long long ullKept = bKeep ? RemoteLeft(link, strPart, source.Size()) : 0;
    SFTP_File* pFile = nullptr;
    const int nOpened = target.bReplaced && ullKept == 0
                            ? CreatePart(link, target, part, &pFile)
                            : session.openFile(part, SFTP_OPEN_WRITE, &pFile);
    CRemoteFile file(link, pFile);
    link.Check(kPut, transfer.strRemote, nOpened);
    source.StartAt(ullKept);
    const int nResult = source.Errno() != 0 ? static_cast<int>(SFTP_ERR_LOCAL_FILE)
                                            : session.writeAll(file.Get(), ullKept, source);
    if (source.Errno() != 0) FailHere(kPut, transfer.strLocal, source.Errno());
    link.Check(kPut, transfer.strRemote, nResult);
    link.Check(kPut, transfer.strRemote, file.Close());
    if (target.bReplaced)
        link.Check(kPut, transfer.strRemote,
                   session.replace(part, SFTP_String(target.strPath.c_str())));
}

}  // namespace qelftp
