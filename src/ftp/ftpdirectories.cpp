// The directory operations of a session that take more than one command.

#include <sstream>

#include "include/ftpresult.h"
#include "src/ftp/ftpclientImpl.h"

namespace RVN_FTP_CLIENT {

// Level by level, since servers create one level at a time. The server is left in the deepest one:
// every other operation uses whole paths.
unsigned int CFtpClientImpl::MakeDir(const std::string& dir) {
    const std::string strJoined = Joined(dir);
    if (strJoined.size() > kMaxRemotePath) return FTP_NO_SUCH_FILE;
    unsigned int uResult = m_pCommand->Ftp_cwd("/");
    if (uResult != FTP_OK) return uResult;

    std::istringstream levels(strJoined);
    std::string strLevel;
    while (std::getline(levels, strLevel, '/')) {
        if (strLevel.empty()) continue;
        if (m_pCommand->Ftp_cwd(strLevel + "/") == FTP_OK) continue;
        uResult = m_pCommand->Ftp_mkd(strLevel);
        if (uResult != FTP_OK) return uResult;
        uResult = m_pCommand->Ftp_cwd(strLevel + "/");
        if (uResult != FTP_OK) return uResult;
    }
    return FTP_OK;
}

// Unreadable files go too; a subdirectory refuses its DELE and later the RMD.
unsigned int CFtpClientImpl::RemoveDir(const std::string& dir) {
    const std::string strJoined = Joined(dir);
    if (strJoined.size() > kMaxRemotePath) return FTP_NO_SUCH_FILE;
    CEntryList list;
    const unsigned int uListed = List(dir, ESelect::All, list.m_entries);
    if (uListed != FTP_OK) return uListed;

    const std::string strPrefix = strJoined == "/" ? strJoined : strJoined + "/";
    for (const TkFileInfo* pEntry : list.m_entries) {
        m_pCommand->Ftp_dele(strPrefix + pEntry->strFileName);
    }
    m_pCommand->Ftp_cwd("/");  // some servers keep the directory they stand in
    return m_pCommand->Ftp_rmd(strJoined);
}

}  // namespace RVN_FTP_CLIENT
