#ifndef QEL_TESTS_SFTPSERVER_HOSTSESSION_H
#define QEL_TESTS_SFTPSERVER_HOSTSESSION_H

#include <string>

#include "include/sftpclient.h"
#include "tests/sftpserver/opensshserver.h"

namespace TestSupport {

// A session as a host component has it: from CSftpClient::getSFTPSession with an account to
// releaseSFTPConnection.
class HostSession {
public:
    // Throws std::runtime_error when the session cannot be set up. Not connected yet.
    explicit HostSession(const TQ_UTIL::StFTPAccountInfo& account);
    ~HostSession();

    HostSession(const HostSession&) = delete;
    HostSession& operator=(const HostSession&) = delete;

    SFTP_Session_Wrp* operator->() { return m_pSession; }

    // For messages of failing checks, "6 the host key ...".
    std::string Error();

private:
    RVN_FTP_CLIENT::StSFTPConnectionInfo* m_pInfo;
    SFTP_Session_Wrp* m_pSession;
};

// The wrapper library that the sessions open, and whether it is in memory.
extern const char* const kWrapper;
bool WrapperIsLoaded();

// Accounts of the server's user that expect the server's host key.
TQ_UTIL::StFTPAccountInfo PasswordAccount(const OpenSshServer& server);
TQ_UTIL::StFTPAccountInfo KeyAccount(const OpenSshServer& server, const std::string& strKeyFile,
                                     const std::string& strPassphrase = "");

}  // namespace TestSupport

#endif
