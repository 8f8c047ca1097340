#include "tools/localtree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <memory>

#include "tools/failure.h"
#include "tools/safename.h"

namespace qelftp {
namespace {

struct SDirCloser {
    void operator()(DIR* pDir) const { ::closedir(pDir); }
};
using DirHolder = std::unique_ptr<DIR, SDirCloser>;

std::string TimeText(std::time_t seconds) {
    char szText[64] = "";
    std::tm utc{};
    ::gmtime_r(&seconds, &utc);
    if (std::strftime(szText, sizeof szText, "%Y-%m-%d %H:%M", &utc) == 0) return "";
    return szText;
}

SEntry EntryFrom(const std::string& strName, const struct stat& status) {
    SEntry entry;
    entry.eType = S_ISDIR(status.st_mode)   ? EEntryType::Directory
                  : S_ISREG(status.st_mode) ? EEntryType::File
                                            : EEntryType::Link;
    entry.ullSize = static_cast<unsigned long long>(status.st_size);
    entry.strSize = std::to_string(status.st_size);
    entry.llModified = status.st_mtime;
    entry.strTime = TimeText(status.st_mtime);
    entry.strName = strName;
    return entry;
}

}  // namespace

void CLocalTree::Fail(const std::string& strPath, int nErrno) const {
    SFailure failure = LocalFailure(m_pszOperation, strPath, nErrno);
    failure.bLasting = true;
    throw COperationError(failure);
}

std::vector<SEntry> CLocalTree::List(const std::string& strDir) {
    const std::string strPath = Path(strDir);
    // The directory of the command line may be a link, one below it may not.
    const int nNoFollow = strDir.empty() ? 0 : O_NOFOLLOW;
    const int nHandle = ::open(strPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | nNoFollow);
    if (nHandle < 0) Fail(strPath, errno);
    const DirHolder directory(::fdopendir(nHandle));
    if (!directory) {
        ::close(nHandle);
        Fail(strPath, ENOMEM);
    }
    std::vector<SEntry> entries;
    errno = 0;
    while (const dirent* const pEntry = ::readdir(directory.get())) {
        const std::string strName = pEntry->d_name;
        struct stat status {};
        if (strName != "." && strName != ".." &&
            ::fstatat(nHandle, strName.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
            entries.push_back(EntryFrom(strName, status));
        }
        errno = 0;
    }
    if (errno != 0) Fail(strPath, errno);
    return entries;
}

std::optional<SEntry> CLocalTree::Behind(const std::string& strLink) {
    const std::string strPath = Path(strLink);
    struct stat status {};
    if (::stat(strPath.c_str(), &status) != 0) return {};
    if (!S_ISDIR(status.st_mode) && !S_ISREG(status.st_mode)) return {};
    return EntryFrom(strLink.substr(strLink.rfind('/') + 1), status);
}

bool CLocalTree::Exists() {
    struct stat status {};
    if (::stat(m_strRoot.c_str(), &status) == 0) {
        if (!S_ISDIR(status.st_mode)) Fail(m_strRoot, ENOTDIR);
        return true;
    }
    if (errno != ENOENT) Fail(m_strRoot, errno);
    return false;
}

void CLocalTree::MakeDir(const std::string& strDir) {
    const std::string strPath = Path(strDir);
    if (strDir.empty()) {
        std::error_code error;
        std::filesystem::create_directories(strPath, error);
        if (error) Fail(strPath, error.value());
        return;
    }
    if (::mkdir(strPath.c_str(), 0777) == 0) return;
    const int nErrno = errno;
    struct stat status {};
    const bool bThere = ::lstat(strPath.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    if (!bThere) Fail(strPath, nErrno);
}

void CLocalTree::RemoveFile(const std::string& strFile) {
    if (::unlink(Path(strFile).c_str()) != 0) Fail(Path(strFile), errno);
}

void CLocalTree::RemoveDir(const std::string& strDir) {
    if (::rmdir(Path(strDir).c_str()) != 0) Fail(Path(strDir), errno);
}

std::string CLocalTree::Path(const std::string& strPath) const {
    if (strPath.empty()) return m_strRoot;
    const bool bSeparated = !m_strRoot.empty() && m_strRoot.back() == '/';
    return m_strRoot + (bSeparated ? "" : "/") + strPath;
}

std::string CLocalTree::NameRefusal(const std::string& strName) const {
    return UnsafeNameReason(strName);
}

}  // namespace qelftp
