#ifndef QEL_TOOLS_SFTPLINK_H
#define QEL_TOOLS_SFTPLINK_H

#include <string>

#include "include/sftpclient.h"
#include "tools/failure.h"
#include "tools/hostkeycheck.h"
#include "tools/session.h"

namespace qelftp {

// A connected SFTP session: from CSftpClient::getSFTPSession to releaseSFTPConnection. Paths are
// those of CSession.
class CSftpLink {
public:
    // Logs in. Throws COperationError.
    explicit CSftpLink(const SConnection& connection);
    ~CSftpLink();
    CSftpLink(const CSftpLink&) = delete;
    CSftpLink& operator=(const CSftpLink&) = delete;

    SFTP_Session_Wrp& Session() { return *m_pSession; }

    // Throws what a result of the session has to tell, unless it is SFTP_OK.
    void Check(const char* pszOperation, const std::string& strPath, int nResult);

    SFailure FailureOf(const char* pszOperation, const std::string& strPath, int nResult);
    [[noreturn]] void Fail(const char* pszOperation, const std::string& strPath, int nResult);

    void Close();

private:
    void SetUp(const SConnection& connection);
    void Connect(const SConnection& connection);

    std::string m_strServer;       // host:port, for messages
    CHostKeyCheck m_hostKeyCheck;  // asked by the session
    RVN_FTP_CLIENT::StSFTPConnectionInfo* m_pInfo = nullptr;
    SFTP_Session_Wrp* m_pSession = nullptr;
};

// A path of CSession as the server takes it: relative, since it lies below the login directory.
SFTP_String ServerPath(const std::string& strPath);

}  // namespace qelftp

#endif
