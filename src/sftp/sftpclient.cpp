// A session that is ready to connect: server, host-key check and credentials.

#include "include/sftpclient.h"

#include <memory>
#include <string>

#include "src/sftp/sftpclientlog.h"
#include "src/sftp/sftpsession.h"
#include "src/support/log.h"

namespace RVN_FTP_CLIENT {
namespace {

using TQ_UTIL::StFTPAccountInfo;

constexpr const char* kOperation = "getSFTPSession";
constexpr int kSessionOption = 15;    // the one option every session is given
constexpr int kPrivateKeyFormat = 1;  // OpenSSH or PEM

// A secret in plain while it is handed to the session; wiped at the end of its scope. A secret that
// cannot be deciphered is the empty text, which the server will refuse.
class CPlainSecret {
public:
    explicit CPlainSecret(const TQ_UTIL::CcipheString& secret) {
        m_factory.getSovInterface()->Decipher(&secret, &m_plain);
    }
    const char* Text() { return m_plain.GetLength() != 0 ? m_plain.GetPassword() : ""; }

private:
    TQ_UTIL::CWBSovAdapterFactory m_factory;
    TQ_UTIL::WBAutoPassword m_plain;
};

void LogRefused(int nCode, const char* pszCall, const StFTPAccountInfo& account) {
    LogError(static_cast<unsigned int>(nCode),
             std::string("pSession->") + pszCall + "() failed! IP:" + account.strHost +
                 " username:" + account.strUserName,
             LocationInfo(kSftpClientFile, kOperation, __LINE__));
}

void SetPassword(SFTP_Session_Wrp& session, const StFTPAccountInfo& account) {
    CPlainSecret password(account.cipherPassword);
    const int nResult = session.setPassword(SFTP_String(password.Text()));
    if (nResult != 0) LogRefused(nResult, "setPassword", account);
}

void SetPrivateKey(SFTP_Session_Wrp& session, const StFTPAccountInfo& account) {
    const SFTP_String keyFile(account.strPrivateKeyFile.c_str());
    CPlainSecret passphrase(account.cipherPassphrase);
    int nDetail = 0;
    const int nResult = session.setRSAPrivateKey(keyFile, kPrivateKeyFormat, &nDetail,
                                                 SFTP_String(passphrase.Text()));
    if (nResult != 0) LogRefused(nResult, "setRSAPrivateKey", account);
}

}  // namespace

SFTP_Session_Wrp* CSftpClient::getSFTPSession(StSFTPConnectionInfo* info,
                                              const TQ_UTIL::StFTPAccountInfo& account) {
    SFTP_Session_Wrp* pSession = getSFTPClientObject(info);
    if (pSession == nullptr) {
        LogSetupFailure("getSFTPClientObject failed.SFTP_initLibrary",
                        LocationInfo(kSftpClientFile, kOperation, __LINE__));
        return nullptr;
    }
    // Null records do not get this far.
    info->pSession = pSession;
    info->pSessionCB = new SFTP_Session(account);

    pSession->setSessionCallback(info->pSessionCB);
    pSession->setServerInfo(SFTP_String(account.strHost.c_str()), account.nPort,
                            SFTP_String(account.strUserName.c_str()));
    pSession->setSessionOption(kSessionOption);
    if (account.strAuthType == "pubkey")
        SetPrivateKey(*pSession, account);
    else
        SetPassword(*pSession, account);
    return pSession;
}

}  // namespace RVN_FTP_CLIENT
