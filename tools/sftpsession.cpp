#include "tools/sftpsession.h"

#include <array>
#include <cstring>
#include <ctime>

#include "platform/encoding.h"
#include "tools/remotepath.h"
#include "tools/sftpfailure.h"
#include "tools/sftplink.h"
#include "tools/sftptransfer.h"

namespace qelftp {
namespace {

EEntryType TypeOf(unsigned char ucType) {
    if (ucType == SFTP_TYPE_DIRECTORY) return EEntryType::Directory;
    return ucType == SFTP_TYPE_LINK ? EEntryType::Link : EEntryType::File;
}

std::string TimeText(std::int64_t llModified) {
    const std::time_t seconds = llModified;
    std::tm local = {};
    std::array<char, 32> text{};
    if (::localtime_r(&seconds, &local) == nullptr) return "";
    if (std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M", &local) == 0) return "";
    return text.data();
}

SEntry EntryOf(const SFTP_FileInfo& info, const std::string& strName) {
    SEntry entry;
    entry.eType = TypeOf(info.ucType);
    entry.strSize = std::to_string(info.ullSize);
    entry.strName = ZeltGlobalUtils::UTF8TOLOC(strName.c_str());
    entry.ullSize = info.ullSize;
    if (info.llModified == 0) return entry;
    entry.strTime = TimeText(info.llModified);
    entry.llModified = info.llModified;
    return entry;
}

// SFTP has no end of a directory but the server's word. What a listing may come to: entries, and
// bytes of their names.
class CListingLimit {
public:
    bool Allows(const SFTP_FileInfo& info) {
        m_nBytes += std::strlen(info.pszName);
        return ++m_nEntries <= kMaxEntries && m_nBytes <= kMaxNameBytesOfAll;
    }
    bool WasPassed() const { return m_nEntries > kMaxEntries || m_nBytes > kMaxNameBytesOfAll; }

private:
    static constexpr std::size_t kMaxNameBytesOfAll = std::size_t{128} * 1024 * 1024;

    std::size_t m_nEntries = 0;
    std::size_t m_nBytes = 0;
};

class CEntries : public SFTP_DirVisitor {
public:
    bool entry(const SFTP_FileInfo& info) override {
        if (!m_limit.Allows(info)) return false;
        m_entries.push_back(EntryOf(info, info.pszName));
        return true;
    }
    CListingLimit m_limit;
    std::vector<SEntry> m_entries;
};

class CFileNames : public SFTP_DirVisitor {
public:
    bool entry(const SFTP_FileInfo& info) override {
        if (!m_limit.Allows(info)) return false;
        if (info.ucType != SFTP_TYPE_DIRECTORY) m_names.emplace_back(info.pszName);
        return true;
    }
    CListingLimit m_limit;
    std::vector<std::string> m_names;  // UTF-8
};

class CSftpSession : public CSession {
public:
    explicit CSftpSession(const SConnection& connection) : m_link(connection) {}

    void Close() override { m_link.Close(); }

    std::vector<SEntry> List(const std::string& strDir) override {
        CEntries entries;
        ReadDir("ls", strDir, entries);
        return std::move(entries.m_entries);
    }

    // A link that leads nowhere is an entry, too.
    std::optional<SEntry> Find(const std::string& strPath) override {
        SFTP_FileInfo info = {};
        int nResult = Session().stat(ServerPath(strPath), info);
        if (nResult == SFTP_ERR_NO_SUCH_PATH)
            nResult = Session().statLink(ServerPath(strPath), info);
        if (nResult == SFTP_ERR_NO_SUCH_PATH) return {};
        m_link.Check("exists", strPath, nResult);
        return EntryOf(info, strPath.substr(strPath.rfind('/') + 1));
    }

    void GetFile(const STransfer& transfer, bool bContinue, const FProgress& progress) override {
        GetOverSftp(m_link, transfer, bContinue, progress);
    }

    void PutFile(const STransfer& transfer, bool bContinue, const FProgress& progress) override {
        PutOverSftp(m_link, transfer, bContinue, progress);
    }

    bool CanContinue() const override { return true; }

    bool PutIsWhole() const override { return true; }

    bool SetModified(const std::string& strPath, std::int64_t llModified) override {
        const int nResult = Session().setModified(ServerPath(strPath), llModified);
        if (nResult == SFTP_ERR_ARGUMENT) return false;  // before 1970 or after 2106
        m_link.Check("set the time of", strPath, nResult);
        return true;
    }

    void Remove(const std::string& strPath) override {
        m_link.Check("rm", strPath, Session().remove(ServerPath(strPath)));
    }

    void MakeDir(const std::string& strDir) override {
        const int nResult = MakeLevels(strDir);
        if (nResult == SFTP_OK) return;
        const SFailure failure = m_link.FailureOf("mkdir", strDir, nResult);
        if (!IsDirectory(strDir)) throw COperationError(failure);
    }

    void RemoveDir(const std::string& strDir) override {
        CFileNames files;
        ReadDir("rmdir", strDir, files);
        for (const std::string& strName : files.m_names) {
            const std::string strFile = Below(strDir, strName);
            m_link.Check("rmdir", strFile, Session().remove(ServerPath(strFile)));
        }
        m_link.Check("rmdir", strDir, Session().removeDir(ServerPath(strDir)));
    }

    SFailure NotThere(const std::string& strOperation, const std::string& strPath) const override {
        return SftpFailure(strOperation, strPath, SFTP_ERR_NO_SUCH_PATH, "");
    }

private:
    SFTP_Session_Wrp& Session() { return m_link.Session(); }

    template <typename Visitor>
    void ReadDir(const char* pszOperation, const std::string& strDir, Visitor& visitor) {
        const int nResult = Session().readDir(ServerPath(strDir), visitor);
        if (visitor.m_limit.WasPassed()) {
            throw COperationError({pszOperation, ZeltGlobalUtils::UTF8TOLOC(strDir.c_str()),
                                   "the directory has too many entries", std::nullopt, "", true});
        }
        m_link.Check(pszOperation, strDir, nResult);
    }

    int MakeLevels(const std::string& strDir) {
        const int nResult = Session().makeDir(ServerPath(strDir));
        if (nResult != SFTP_ERR_NO_SUCH_PATH || strDir == "/") return nResult;
        const int nAbove = MakeLevels(ParentOf(strDir));
        if (nAbove != SFTP_OK && nAbove != SFTP_ERR_EXISTS) return nAbove;
        return Session().makeDir(ServerPath(strDir));
    }

    // Servers refuse to make what is there in different words.
    bool IsDirectory(const std::string& strDir) {
        SFTP_FileInfo info = {};
        return Session().stat(ServerPath(strDir), info) == SFTP_OK &&
               info.ucType == SFTP_TYPE_DIRECTORY;
    }

    CSftpLink m_link;
};

}  // namespace

std::unique_ptr<CSession> OpenSftpSession(const SConnection& connection) {
    return std::make_unique<CSftpSession>(connection);
}

}  // namespace qelftp
