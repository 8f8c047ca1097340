#include "tests/sftpserver/hostsession.h"

#include <dlfcn.h>

#include <cstdlib>
#include <stdexcept>

namespace TestSupport {
namespace {

// Before anything asks for it: an installed wrapper is not the one to be tested.
const bool g_bServerPathSet = ::setenv("QEL_SERVER_PATH", QEL_TEST_SERVER_PATH, 1) == 0;

}  // namespace

const char* const kWrapper = QEL_TEST_SERVER_PATH "/vesk/Zelt_3rdTools/lib/libkavo_sftp_wrapper.so";

HostSession::HostSession(const TQ_UTIL::StFTPAccountInfo& account)
    : m_pInfo(new RVN_FTP_CLIENT::StSFTPConnectionInfo),
      m_pSession(RVN_FTP_CLIENT::CSftpClient::getSFTPSession(m_pInfo, account)) {
    if (m_pSession != nullptr && g_bServerPathSet) return;
    delete m_pInfo;
    throw std::runtime_error("no session: is the wrapper below QEL_SERVER_PATH?");
}

HostSession::~HostSession() {
    RVN_FTP_CLIENT::CSftpClient::releaseSFTPConnection(m_pInfo);
}

std::string HostSession::Error() {
    return std::to_string(m_pInfo->pfnGetLastError(m_pSession)) + " " +
           m_pInfo->pfnGetErrorDesc(m_pSession);
}

bool WrapperIsLoaded() {
    void* pHandle = ::dlopen(kWrapper, RTLD_LAZY | RTLD_NOLOAD);
    if (pHandle != nullptr) ::dlclose(pHandle);
    return pHandle != nullptr;
}

TQ_UTIL::StFTPAccountInfo PasswordAccount(const OpenSshServer& server) {
    TQ_UTIL::StFTPAccountInfo account;
    account.strHost = "127.0.0.1";
    account.nPort = server.Port();
    account.strUserName = server.User();
    account.cipherPassword = TQ_UTIL::CcipheString(OpenSshServer::Password());
    account.strHostKeyFormat = "OPENSSH";
    account.strHostKey = server.HostKey();
    return account;
}

TQ_UTIL::StFTPAccountInfo KeyAccount(const OpenSshServer& server, const std::string& strKeyFile,
                                     const std::string& strPassphrase) {
    TQ_UTIL::StFTPAccountInfo account = PasswordAccount(server);
    account.cipherPassword = TQ_UTIL::CcipheString();
    account.strAuthType = "pubkey";
    account.strPrivateKeyFile = strKeyFile;
    account.cipherPassphrase = TQ_UTIL::CcipheString(strPassphrase);
    return account;
}

}  // namespace TestSupport
