// The exported face: every operation is the session's.

#include "include/ftpclient.h"

#include "src/ftp/ftpclientImpl.h"

namespace RVN_FTP_CLIENT {

CFtpClient::CFtpClient(const std::string& host, unsigned short port, const std::string& user,
                       const TQ_UTIL::CcipheString& password)
    : m_pImpl(new CFtpClientImpl(host, port, user, password)) {}

CFtpClient::CFtpClient(FTPConnInfo& info)
    : CFtpClient(info.strHostIP, info.usPort, info.strUser, info.strPassword) {}

CFtpClient::~CFtpClient() {
    delete m_pImpl;
    m_pImpl = nullptr;
}

void CFtpClient::setParam(unsigned short connTimeout, unsigned short retryTimes,
                          unsigned short retryTimeout) {
    m_pImpl->setParam(connTimeout, retryTimes, retryTimeout);
}

unsigned int CFtpClient::Login() {
    return m_pImpl->Login();
}

unsigned int CFtpClient::Close() {
    return m_pImpl->Close();
}

unsigned int CFtpClient::ChangeDir(const std::string& dir) {
    return m_pImpl->ChangeDir(dir);
}

unsigned int CFtpClient::ListFile(const std::string& dir, std::vector<TkFileInfo*>& files) {
    return m_pImpl->ListFile(dir, files);
}

unsigned int CFtpClient::checkOneFileExist(const std::string& dir, const std::string& name) {
    return m_pImpl->checkOneFileExist(dir, name);
}

unsigned int CFtpClient::checkOneFileExist(const std::string& path) {
    return m_pImpl->checkOneFileExist(path);
}

unsigned int CFtpClient::GetOneFile(const std::string& remote, const std::string& local,
                                    bool /*flag*/) {
    return m_pImpl->GetOneFile(remote, local);
}

unsigned int CFtpClient::PutOneFileToFile(const std::string& local, const std::string& remoteFile) {
    return m_pImpl->PutOneFileToFile(local, remoteFile);
}

unsigned int CFtpClient::PutOneFileToPath(const std::string& local, const std::string& remoteDir) {
    return m_pImpl->PutOneFileToPath(local, remoteDir);
}

unsigned int CFtpClient::GetFile(std::vector<Ftp_File_Pair>& files, bool /*flag*/) {
    return m_pImpl->GetFile(files);
}

unsigned int CFtpClient::PutFile(std::vector<Ftp_File_Pair>& files) {
    return m_pImpl->PutFile(files);
}

unsigned int CFtpClient::RemoveFile(const std::string& path) {
    return m_pImpl->RemoveFile(path);
}

unsigned int CFtpClient::MakeDir(const std::string& dir) {
    return m_pImpl->MakeDir(dir);
}

unsigned int CFtpClient::RemoveDir(const std::string& dir) {
    return m_pImpl->RemoveDir(dir);
}

void CFtpClient::getFTPConnInfo(FTPConnInfo& info) {
    m_pImpl->getFTPConnInfo(info);
}

void CFtpClient::setTransferOptions(const FtpTransferOptions& options) {
    m_pImpl->setTransferOptions(options);
}

}  // namespace RVN_FTP_CLIENT
