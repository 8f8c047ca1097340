// The file operations of a session.

#include <algorithm>

#include "include/ftpresult.h"
#include "src/ftp/ftpclientImpl.h"

namespace RVN_FTP_CLIENT {
namespace {

constexpr int kImageType = 0;  // the bytes as they are

bool IsTooLong(const std::string& strPath) {
    return strPath.size() > kMaxRemotePath;
}

}  // namespace

// Measures the directory before it is joined, as ListFile does; the others measure it after.
unsigned int CFtpClientImpl::ChangeDir(const std::string& dir) {
    if (IsTooLong(dir)) return FTP_NO_SUCH_FILE;
    return m_pCommand->Ftp_cwd(Joined(dir));
}

unsigned int CFtpClientImpl::ListFile(const std::string& dir, std::vector<TkFileInfo*>& files) {
    if (IsTooLong(dir)) return FTP_NO_SUCH_FILE;
    return List(dir, ESelect::Readable, files);
}

unsigned int CFtpClientImpl::List(const std::string& dir, ESelect eSelect,
                                  std::vector<TkFileInfo*>& files) {
    std::string strText;
    const unsigned int uResult = m_pCommand->Ftp_ListFile(Joined(dir), strText);
    if (uResult == FTP_OK) ParseListText(strText, eSelect, files);
    return uResult;
}

unsigned int CFtpClientImpl::checkOneFileExist(const std::string& dir, const std::string& name) {
    CEntryList list;
    if (ListFile(dir, list.m_entries) != FTP_OK) return FTP_NO_SUCH_FILE;
    const bool bFound =
        std::any_of(list.m_entries.begin(), list.m_entries.end(),
                    [&name](const TkFileInfo* pEntry) { return pEntry->strFileName == name; });
    return bFound ? FTP_OK : FTP_NO_SUCH_FILE;
}

unsigned int CFtpClientImpl::checkOneFileExist(const std::string& path) {
    const SSplitPath split = SplitPath(path);
    return checkOneFileExist(split.strDir, split.strName);
}

unsigned int CFtpClientImpl::GetOneFile(const std::string& remote, const std::string& local) {
    const std::string strJoined = Joined(remote);
    if (IsTooLong(strJoined)) return FTP_NO_SUCH_FILE;
    const unsigned int uType = m_pCommand->Ftp_type(kImageType);
    if (uType != FTP_OK) return uType;
    return m_pCommand->Ftp_GetFile(strJoined, local, false);
}

unsigned int CFtpClientImpl::PutOneFileToFile(const std::string& local,
                                              const std::string& remoteFile) {
    const std::string strJoined = Joined(remoteFile);
    if (IsTooLong(strJoined)) return FTP_NO_SUCH_FILE;
    const unsigned int uType = m_pCommand->Ftp_type(kImageType);
    if (uType != FTP_OK) return uType;
    return m_pCommand->Ftp_PutFile(local, strJoined);
}

unsigned int CFtpClientImpl::PutOneFileToPath(const std::string& local,
                                              const std::string& remoteDir) {
    return PutOneFileToFile(local, remoteDir + "/" + SplitPath(local).strName);
}

// A batch sets the type once; a path that is too long ends it where it stands.
unsigned int CFtpClientImpl::GetFile(const std::vector<Ftp_File_Pair>& files) {
    unsigned int uResult = m_pCommand->Ftp_type(kImageType);
    for (const Ftp_File_Pair& file : files) {
        if (uResult != FTP_OK) break;
        const std::string strJoined = Joined(file.strSrcFile);
        uResult = IsTooLong(strJoined) ? FTP_NO_SUCH_FILE
                                       : m_pCommand->Ftp_GetFile(strJoined, file.strDstFile, false);
    }
    return uResult;
}

unsigned int CFtpClientImpl::PutFile(const std::vector<Ftp_File_Pair>& files) {
    unsigned int uResult = m_pCommand->Ftp_type(kImageType);
    for (const Ftp_File_Pair& file : files) {
        if (uResult != FTP_OK) break;
        const std::string strJoined = Joined(file.strDstFile);
        uResult = IsTooLong(strJoined) ? FTP_NO_SUCH_FILE
                                       : m_pCommand->Ftp_PutFile(file.strSrcFile, strJoined);
    }
    return uResult;
}

unsigned int CFtpClientImpl::RemoveFile(const std::string& path) {
    const std::string strJoined = Joined(path);
    if (IsTooLong(strJoined)) return FTP_NO_SUCH_FILE;
    return m_pCommand->Ftp_dele(strJoined);
}

}  // namespace RVN_FTP_CLIENT
