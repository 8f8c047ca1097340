#include "tools/ftpsession.h"

#include <algorithm>

#include "include/ftpclient.h"
#include "include/ftpresult.h"
#include "platform/encoding.h"
#include "tools/failure.h"
#include "tools/ftpfailure.h"
#include "tools/localwatch.h"
#include "tools/remotepath.h"

namespace qelftp {
namespace {

using namespace RVN_FTP_CLIENT;

constexpr bool kNoEffect = false;  // CFtpClient::GetFile has a flag without meaning

void Check(const char* pszOperation, const std::string& strSubject, unsigned int uResult) {
    if (uResult != FTP_OK) throw COperationError(FtpFailure(pszOperation, strSubject, uResult));
}

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

// What went wrong with the files of a batch, from its result and what happened to the local files.
std::vector<SFailure> BatchFailures(const char* pszOperation, const std::vector<STransfer>& batch,
                                    unsigned int uResult, const CLocalFileWatch& watch) {
    std::vector<SFailure> failures;
    for (const CLocalFileWatch::SBroken& broken : watch.Broken())
        failures.push_back(LocalFailure(pszOperation, batch[broken.nFile].strLocal, broken.nErrno));
    if (uResult == FTP_OK) return failures;

    // Each file before the one it stopped at was opened.
    const std::size_t nFailed = std::min(watch.Opened(), batch.size() - 1);
    if (watch.OpenErrno() != 0) {
        failures.push_back(LocalFailure(pszOperation, batch[nFailed].strLocal, watch.OpenErrno()));
        failures.back().uCode = uResult;
    } else {
        failures.push_back(FtpFailure(pszOperation, batch[nFailed].strRemote, uResult));
    }
    if (batch.size() > 1) {
        std::string& strAdvice = failures.back().strAdvice;
        if (!strAdvice.empty()) strAdvice += "; ";
        strAdvice += "stopped after " + std::to_string(nFailed) + " of " +
                     std::to_string(batch.size()) + " files";
    }
    return failures;
}

class CFtpSession : public CSession {
public:
    explicit CFtpSession(const SConnection& connection)
        : m_strServer(connection.strHost + ":" + std::to_string(connection.usPort)),
          m_client(connection.strAddress, connection.usPort, connection.strUser,
                   connection.password) {
        const SConnectOptions& options = connection.options;
        m_client.setParam(options.usTimeout, options.usRetries, options.usRetryTimeout);
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

    void Get(const std::vector<STransfer>& batch) override {
        std::vector<Ftp_File_Pair> pairs;
        for (const STransfer& transfer : batch)
            pairs.push_back({transfer.strRemote, transfer.strLocal});
        const CLocalFileWatch watch;
        const unsigned int uResult = m_client.GetFile(pairs, kNoEffect);
        ThrowAny(BatchFailures("get", batch, uResult, watch));
    }

    void Put(const std::vector<STransfer>& batch) override {
        std::vector<Ftp_File_Pair> pairs;
        for (const STransfer& transfer : batch)
            pairs.push_back({transfer.strLocal, transfer.strRemote});
        const CLocalFileWatch watch;
        const unsigned int uResult = m_client.PutFile(pairs);
        ThrowAny(BatchFailures("put", batch, uResult, watch));
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

    // Not by checkOneFileExist, which answers "no" to a lost connection, too.
    bool Exists(const std::string& strPath) override {
        if (strPath == "/") return true;
        std::vector<SEntry> entries;
        const unsigned int uResult = Entries(ParentOf(strPath), entries);
        if (uResult == FTP_CWD_REFUSED || uResult == FTP_NO_SUCH_FILE) return false;
        Check("exists", strPath, uResult);
        // The listing's names are local only if the server said that it sends UTF-8.
        const std::string strName = strPath.substr(strPath.rfind('/') + 1);
        const std::string strLocal = ZeltGlobalUtils::UTF8TOLOC(strName.c_str());
        return std::any_of(entries.begin(), entries.end(), [&](const SEntry& entry) {
            return entry.strName == strLocal || entry.strName == strName;
        });
    }

private:
    unsigned int Entries(const std::string& strDir, std::vector<SEntry>& entries) {
        SOwnedEntries owned;
        const unsigned int uResult = m_client.ListFile(strDir, owned.entries);
        for (const TkFileInfo* pEntry : owned.entries) {
            entries.push_back({TypeOf(pEntry->ucFileType), pEntry->strFileSize,
                               pEntry->strModifyTime, pEntry->strFileName});
        }
        return uResult;
    }

    static void ThrowAny(std::vector<SFailure> failures) {
        if (!failures.empty()) throw COperationError(std::move(failures));
    }

    std::string m_strServer;  // host:port, for messages
    CFtpClient m_client;
    bool m_bClosed = false;
};

}  // namespace

std::unique_ptr<CSession> OpenFtpSession(const SConnection& connection) {
    auto session = std::make_unique<CFtpSession>(connection);
    session->Login();
    return session;
}

}  // namespace qelftp
