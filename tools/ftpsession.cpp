#include "tools/ftpsession.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "include/ftpclient.h"
#include "include/ftpresult.h"
#include "platform/encoding.h"
#include "tools/failure.h"
#include "tools/ftpfailure.h"
#include "tools/listedtime.h"
#include "tools/remotepath.h"

namespace qelftp {
namespace {

using namespace RVN_FTP_CLIENT;

constexpr bool kNoEffect = false;  // CFtpClient::GetFile has a flag without meaning

EEntryType TypeOf(unsigned char ucFileType) {
    constexpr EEntryType kTypes[] = {EEntryType::File, EEntryType::Directory, EEntryType::Link};
    return ucFileType < std::size(kTypes) ? kTypes[ucFileType] : EEntryType::File;
}

// Entries as the library hands them over: made with new, the caller's to delete.
struct SOwnedEntries {
    std::vector<TkFileInfo*> entries;

    ~SOwnedEntries() {
        for (const TkFileInfo* pEntry : entries)
            delete pEntry;
    }
};

// A server that sends more than this for one directory does not mean well: it could fill the memory
// with lines of seven bytes, each an entry of eighteen times that size.
constexpr unsigned long long kMaxListing = 128ULL * 1024 * 1024;
constexpr unsigned int kBlockSize = 256U * 1024;

// Another attempt, in a new session, would meet these again.
constexpr unsigned int kLasting[] = {
    FTP_LOCAL_OPEN_FAILED, FTP_LOCAL_CREATE_FAILED, FTP_LOCAL_IO_FAILED,  FTP_LOGIN_REFUSED,
    FTP_CWD_REFUSED,       FTP_MKD_REFUSED,         FTP_RMD_REFUSED,      FTP_DELE_REFUSED,
    FTP_PERMISSION_DENIED, FTP_NO_SUCH_FILE,        FTP_REPLY_452,        FTP_REPLY_501,
    FTP_ALREADY_EXISTS,    FTP_REPLY_552,           FTP_REPLY_553,        FTP_REPLY_550,
    FTP_REPLY_530,         FTP_CANCELLED,           FTP_LISTING_TOO_LONG,
};

SFailure Failure(const char* pszOperation, const std::string& strSubject, unsigned int uResult) {
    SFailure failure = FtpFailure(pszOperation, strSubject, uResult);
    failure.bLasting =
        std::find(std::begin(kLasting), std::end(kLasting), uResult) != std::end(kLasting);
    return failure;
}

void Check(const char* pszOperation, const std::string& strSubject, unsigned int uResult) {
    if (uResult != FTP_OK) throw COperationError(Failure(pszOperation, strSubject, uResult));
}

// The result of moving one file. What went wrong here names the local path.
void CheckMoved(const char* pszOperation, const STransfer& transfer, unsigned int uResult) {
    const bool bLocal = uResult == FTP_LOCAL_OPEN_FAILED || uResult == FTP_LOCAL_CREATE_FAILED ||
                        uResult == FTP_LOCAL_IO_FAILED;
    if (!bLocal) return Check(pszOperation, transfer.strRemote, uResult);
    SFailure failure = Failure(pszOperation, "", uResult);
    failure.strSubject = transfer.strLocal;
    throw COperationError(failure);
}

std::optional<unsigned long long> SizeOf(const std::string& strSize) {
    unsigned long long ullSize = 0;
    const char* const pEnd = strSize.data() + strSize.size();
    const auto parsed = std::from_chars(strSize.data(), pEnd, ullSize);
    if (parsed.ec != std::errc() || parsed.ptr != pEnd) return {};
    return ullSize;
}

SEntry EntryFrom(const TkFileInfo& info) {
    SEntry entry;
    entry.eType = TypeOf(info.ucFileType);
    entry.strSize = info.strFileSize;
    entry.strTime = info.strModifyTime;
    entry.strName = info.strFileName;
    entry.ullSize = SizeOf(info.strFileSize);
    if (const std::optional<SListedTime> listed = ParseListedTime(info.strModifyTime)) {
        entry.llModified = listed->llSeconds;
        entry.uTimePrecision = listed->uPrecision;
    }
    return entry;
}

class CFtpSession : public CSession {
public:
    explicit CFtpSession(const SConnection& connection)
        : m_strServer(connection.strHost + ":" + std::to_string(connection.usPort)),
          m_client(connection.strAddress, connection.usPort, connection.strUser,
                   connection.password) {
        const SConnectOptions& options = connection.options;
        m_client.setParam(options.usTimeout, options.usRetries, options.usRetryTimeout);
        FtpTransferOptions transferOptions;
        transferOptions.uBlockSize = kBlockSize;
        transferOptions.bVerify = true;
        transferOptions.bAnyDataAddress = true;
        transferOptions.ullMaxListing = kMaxListing;
        transferOptions.progress = [this](unsigned long long ullDone) { return Moved(ullDone); };
        m_client.setTransferOptions(transferOptions);
    }

    ~CFtpSession() override {
        if (!m_bClosed) m_client.Close();
    }

    void Login() { Check("login", m_strServer, m_client.Login()); }

    void Close() override {
        m_bClosed = true;
        Check("close", m_strServer, m_client.Close());
    }

    std::vector<SEntry> List(const std::string& strDir) override {
        std::vector<SEntry> entries;
        Check("ls", strDir, Entries(strDir, entries));
        return entries;
    }

    void GetFile(const STransfer& transfer, bool /*bContinue*/,
                 const FProgress& progress) override {
        std::vector<Ftp_File_Pair> pairs{{transfer.strRemote, transfer.strLocal}};
        m_pProgress = &progress;
        const unsigned int uResult = m_client.GetFile(pairs, kNoEffect);
        m_pProgress = nullptr;
        CheckMoved("get", transfer, uResult);
    }

    void PutFile(const STransfer& transfer, bool /*bContinue*/,
                 const FProgress& progress) override {
        std::vector<Ftp_File_Pair> pairs{{transfer.strLocal, transfer.strRemote}};
        m_pProgress = &progress;
        const unsigned int uResult = m_client.PutFile(pairs);
        // The server had made its file by then, and said it together with the 150.
        if (uResult == FTP_REPLY_426) Moved(0);
        m_pProgress = nullptr;
        CheckMoved("put", transfer, uResult);
    }

    bool CanContinue() const override { return false; }
    // What a server has when the data connection ends is all there is to it, and some servers take
    // one that broke for one that ended.
    bool PutNeedsCheck() const override { return true; }
    bool FindFollowsLinks() const override { return false; }

    bool SetModified(const std::string& /*strPath*/, std::int64_t /*llModified*/) override {
        return false;
    }

    void Remove(const std::string& strPath) override {
        Check("rm", strPath, m_client.RemoveFile(strPath));
    }

    void MakeDir(const std::string& strDir) override {
        Check("mkdir", strDir, m_client.MakeDir(strDir));
    }

    void RemoveDir(const std::string& strDir) override {
        Check("rmdir", strDir, m_client.RemoveDir(strDir));
    }

    SFailure NotThere(const std::string& strOperation, const std::string& strPath) const override {
        return FtpFailure(strOperation, strPath, FTP_NO_SUCH_FILE);
    }

    // Not by checkOneFileExist, which answers "no" to a lost connection, too.
    std::optional<SEntry> Find(const std::string& strPath) override {
        if (strPath == "/") {
            SEntry root;
            root.eType = EEntryType::Directory;
            return root;
        }
        std::vector<SEntry> entries;
        const unsigned int uResult = Entries(ParentOf(strPath), entries);
        if (uResult == FTP_CWD_REFUSED || uResult == FTP_NO_SUCH_FILE) return {};
        Check("exists", strPath, uResult);
        // The listing's names are local only if the server said that it sends UTF-8.
        const std::string strName = strPath.substr(strPath.rfind('/') + 1);
        const std::string strLocal = ZeltGlobalUtils::UTF8TOLOC(strName.c_str());
        const auto entry =
            std::find_if(entries.begin(), entries.end(), [&](const SEntry& candidate) {
                return candidate.strName == strLocal || candidate.strName == strName;
            });
        if (entry == entries.end()) return {};
        return *entry;
    }

private:
    unsigned int Entries(const std::string& strDir, std::vector<SEntry>& entries) {
        SOwnedEntries owned;
        const unsigned int uResult = m_client.ListFile(strDir, owned.entries);
        if (owned.entries.size() > kMaxEntries) return FTP_LISTING_TOO_LONG;
        entries.reserve(owned.entries.size());
        for (TkFileInfo*& pEntry : owned.entries) {
            entries.push_back(EntryFrom(*pEntry));
            delete std::exchange(pEntry, nullptr);  // there may be millions: not both at a time
        }
        return uResult;
    }

    bool Moved(unsigned long long ullDone) const {
        return m_pProgress == nullptr || !*m_pProgress || (*m_pProgress)(ullDone, 0);
    }

    std::string m_strServer;  // host:port, for messages
    CFtpClient m_client;
    const FProgress* m_pProgress = nullptr;  // of the file being moved
    bool m_bClosed = false;
};

}  // namespace

std::unique_ptr<CSession> OpenFtpSession(const SConnection& connection) {
    auto session = std::make_unique<CFtpSession>(connection);
    session->Login();
    return session;
}

}  // namespace qelftp
