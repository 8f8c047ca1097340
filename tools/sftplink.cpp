#include "tools/sftplink.h"

#include <ace/DLL.h>

#include "tools/sftpfailure.h"

namespace qelftp {
namespace {

using RVN_FTP_CLIENT::CSftpClient;
using RVN_FTP_CLIENT::StSFTPConnectionInfo;

TQ_UTIL::StFTPAccountInfo AccountOf(const SConnection& connection) {
    TQ_UTIL::StFTPAccountInfo account;
    account.strHost = connection.strAddress;
    account.nPort = connection.usPort;
    account.strUserName = connection.strUser;
    account.cipherPassword = connection.password;
    if (connection.ssh.strIdentity.empty()) return account;
    account.strAuthType = "pubkey";
    account.strPrivateKeyFile = connection.ssh.strIdentity;
    account.cipherPassphrase = connection.passphrase;
    return account;
}

// The account hands over the key alone.
void AddPassword(SFTP_Session_Wrp& session, const TQ_UTIL::CcipheString& password) {
    TQ_UTIL::CWBSovAdapterFactory factory;
    TQ_UTIL::WBAutoPassword plain;
    factory.getSovInterface()->Decipher(&password, &plain);
    session.setPassword(SFTP_String(plain.GetLength() != 0 ? plain.GetPassword() : ""));
}

}  // namespace

SFTP_String ServerPath(const std::string& strPath) {
    return SFTP_String(strPath == "/" ? "." : strPath.c_str() + 1);
}

CSftpLink::CSftpLink(const SConnection& connection)
    : m_strServer(connection.strHost + ":" + std::to_string(connection.usPort)),
      m_hostKeyCheck(connection) {
    SetUp(connection);
    try {
        Connect(connection);
    } catch (const COperationError&) {
        Close();
        throw;
    }
}

CSftpLink::~CSftpLink() {
    Close();
}

void CSftpLink::SetUp(const SConnection& connection) {
    auto* const pInfo = new StSFTPConnectionInfo;
    m_pSession = CSftpClient::getSFTPSession(pInfo, AccountOf(connection));
    if (m_pSession == nullptr) {
        delete pInfo->pAceDLL;
        delete pInfo;
        throw COperationError({"login", m_strServer, "SFTP is not available", std::nullopt,
                               "libkavo_sftp_wrapper.so or sftpAlgorithm.cfg cannot be used: "
                               "QEL_LOG_LEVEL=info tells where they are looked for",
                               true});
    }
    m_pInfo = pInfo;
}

void CSftpLink::Connect(const SConnection& connection) {
    // The library only logs that a key cannot be used.
    if (!connection.ssh.strIdentity.empty() && m_pSession->lastError() == SFTP_ERR_PRIVATE_KEY)
        Fail("login", m_strServer, SFTP_ERR_PRIVATE_KEY);
    if (!connection.ssh.strIdentity.empty() && connection.bHasPassword)
        AddPassword(*m_pSession, connection.password);
    m_pSession->setSessionCallback(&m_hostKeyCheck);
    m_pSession->preferHostKeys(SFTP_String(m_hostKeyCheck.KnownTypes().c_str()));
    const SConnectOptions& options = connection.options;
    m_pSession->setTimeout(options.usTimeout);
    m_pSession->setConnectTimeout(options.usTimeout);
    int nResult = m_pSession->connect();
    // Once a server has shown its key, another attempt would be one to log in.
    for (unsigned int uRetry = 0;
         uRetry < options.usRetries && nResult == SFTP_ERR_CONNECT && !m_hostKeyCheck.WasAsked();
         ++uRetry) {
        m_pSession->setConnectTimeout(options.usRetryTimeout);
        nResult = m_pSession->connect();
    }
    if (nResult == SFTP_ERR_HOST_KEY && m_hostKeyCheck.Refusal())
        throw COperationError(*m_hostKeyCheck.Refusal());
    Check("login", m_strServer, nResult);
}

void CSftpLink::Close() {
    RVN_FTP_CLIENT::CSftpClient::releaseSFTPConnection(m_pInfo);
    m_pInfo = nullptr;
    m_pSession = nullptr;
}

void CSftpLink::Check(const char* pszOperation, const std::string& strPath, int nResult) {
    if (nResult != SFTP_OK) Fail(pszOperation, strPath, nResult);
}

SFailure CSftpLink::FailureOf(const char* pszOperation, const std::string& strPath, int nResult) {
    return SftpFailure(pszOperation, strPath, nResult, m_pSession->lastErrorText());
}

void CSftpLink::Fail(const char* pszOperation, const std::string& strPath, int nResult) {
    throw COperationError(FailureOf(pszOperation, strPath, nResult));
}

}  // namespace qelftp
