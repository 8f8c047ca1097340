#include "src/ftp/ftpclientImpl.h"

#include <algorithm>

#include "include/ftpresult.h"
#include "src/support/log.h"

namespace RVN_FTP_CLIENT {
namespace {

constexpr const char* kFile = "ftpclientImpl";

constexpr unsigned short kConnTimeout = 5;
constexpr unsigned short kRetryTimes = 2;
constexpr unsigned short kRetryTimeout = 2;

constexpr unsigned int kMinBlock = 1024;
constexpr unsigned int kMaxBlock = 1024 * 1024;

}  // namespace

CFtpClientImpl::CFtpClientImpl(const std::string& host, unsigned short port,
                               const std::string& user, const TQ_UTIL::CcipheString& password)
    : m_pCommand(std::make_unique<CFtpComand>()) {
    m_pCommand->m_strServer = host;
    m_pCommand->m_nServerPort = port;
    m_pCommand->m_strUser = user;
    m_pCommand->m_Password = password;
    setParam(kConnTimeout, kRetryTimes, kRetryTimeout);
}

void CFtpClientImpl::setParam(unsigned short connTimeout, unsigned short retryTimes,
                              unsigned short retryTimeout) {
    m_pCommand->m_nConnTimeout = connTimeout;
    m_pCommand->m_nRetryTimes = retryTimes;
    m_pCommand->m_nRetryTimeout = retryTimeout;
}

void CFtpClientImpl::getFTPConnInfo(FTPConnInfo& info) const {
    info.strHostIP = m_pCommand->m_strServer;
    info.usPort = m_pCommand->m_nServerPort;
    info.strUser = m_pCommand->m_strUser;
    info.strPassword = m_pCommand->m_Password;
}

void CFtpClientImpl::setTransferOptions(const FtpTransferOptions& options) {
    m_pCommand->m_Options = options;
    m_pCommand->m_Options.uBlockSize = std::clamp(options.uBlockSize, kMinBlock, kMaxBlock);
}

unsigned int CFtpClientImpl::Login() {
    _TraceFunction trace(LocationInfo(kFile, "Login", __LINE__));
    unsigned int uResult = m_pCommand->Ftp_connect();
    if (uResult == FTP_OK) uResult = m_pCommand->Ftp_user();
    if (uResult == FTP_OK) uResult = m_pCommand->Ftp_pass();
    // A server without PWD is usable: its root stays empty, and addRoodDir warns of that.
    if (uResult == FTP_OK) m_pCommand->FTP_pwd(m_strRootDir);
    return uResult;
}

unsigned int CFtpClientImpl::Close() {
    _TraceFunction trace(LocationInfo(kFile, "Close", __LINE__));
    const unsigned int uQuit = m_pCommand->Ftp_quit();
    const unsigned int uSockets = m_pCommand->CloseAll();
    return uQuit != FTP_OK || uSockets != FTP_OK ? FTP_CLOSE_FAILED : FTP_OK;
}

}  // namespace RVN_FTP_CLIENT
