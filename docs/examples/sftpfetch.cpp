#include <ace/DLL.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "include/sftpclient.h"

namespace {

using RVN_FTP_CLIENT::CSftpClient;
using RVN_FTP_CLIENT::StSFTPConnectionInfo;

// One connection, released whatever becomes of it.
class Connection {
public:
    Connection() : m_info(new StSFTPConnectionInfo), m_session(nullptr) {}
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    ~Connection() {
        if (m_session != nullptr) {
            CSftpClient::releaseSFTPConnection(m_info);  // the session and the record are gone
            return;
        }
        // Without a session the record is still ours. So is the library, when it is the
        // configuration that could not be used; else this is null.
        delete m_info->pAceDLL;
        delete m_info;
    }

    // False when there is no wrapper library or no usable configuration; the host's log says which.
    bool SetUp(const TQ_UTIL::StFTPAccountInfo& account) {
        m_session = CSftpClient::getSFTPSession(m_info, account);
        return m_session != nullptr;
    }

    SFTP_Session_Wrp& Session() { return *m_session; }
    const char* Error() { return m_info->pfnGetErrorDesc(m_session); }

private:
    StSFTPConnectionInfo* m_info;
    SFTP_Session_Wrp* m_session;
};

std::string FromEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

int Fail(const char* text) {
    std::fprintf(stderr, "sftpfetch: %s\n", text);
    return 1;
}

}  // namespace

// sftpfetch ADDRESS PORT USER HOSTKEY REMOTE LOCAL
// HOSTKEY is "ssh-ed25519 AAAA...", as in a known_hosts file. SFTPFETCH_PASSWORD is the password;
// or SFTPFETCH_KEY names the private key's file, and SFTPFETCH_PASSPHRASE is its passphrase.
int main(int argc, char** argv) {
    if (argc != 7) return 2;
    TQ_UTIL::StFTPAccountInfo account;
    account.strHost = argv[1];
    account.nPort = static_cast<unsigned int>(std::atoi(argv[2]));
    account.strUserName = argv[3];
    account.strHostKeyFormat = "OPENSSH";
    account.strHostKey = argv[4];
    account.strPrivateKeyFile = FromEnvironment("SFTPFETCH_KEY");
    if (account.strPrivateKeyFile.empty()) {
        account.cipherPassword = TQ_UTIL::CcipheString(FromEnvironment("SFTPFETCH_PASSWORD"));
    } else {
        account.strAuthType = "pubkey";
        account.cipherPassphrase = TQ_UTIL::CcipheString(FromEnvironment("SFTPFETCH_PASSPHRASE"));
    }

    Connection connection;
    if (!connection.SetUp(account)) return Fail("no session could be set up");
    SFTP_Session_Wrp& session = connection.Session();
    if (session.connect() != SFTP_OK) return Fail(connection.Error());
    if (session.getFile(SFTP_String(argv[5]), SFTP_String(argv[6]), nullptr) != SFTP_OK)
        return Fail(connection.Error());
    return 0;
}
