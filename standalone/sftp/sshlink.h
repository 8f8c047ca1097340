#ifndef QEL_STANDALONE_SFTP_SSHLINK_H
#define QEL_STANDALONE_SFTP_SSHLINK_H

#include <libssh/libssh.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/sftpwrapper.h"
#include "standalone/sftp/lasterror.h"
#include "standalone/sftp/secret.h"
#include "standalone/sftp/tcpconnect.h"

namespace sftpwrapper {

struct SKeyDeleter {
    void operator()(ssh_key key) const { ssh_key_free(key); }
};
using KeyPtr = std::unique_ptr<ssh_key_struct, SKeyDeleter>;

constexpr std::chrono::seconds kDefaultTimeout{30};

// What a session was told before it connects. The lists are names, the preferred one first.
struct SLinkSettings {
    std::string strHost;
    unsigned int uPort = 0;
    std::string strUser;
    std::vector<std::string> ciphers;
    std::vector<std::string> macs;
    std::vector<std::string> keyExchanges;
    std::vector<std::string> hostKeys;
    std::vector<std::string> preferredKeyTypes;  // as known_hosts names them
    std::vector<std::string> compressions;
    std::vector<std::string> authTypes;
    std::chrono::milliseconds timeout = kDefaultTimeout;
    std::chrono::milliseconds connectTimeout{0};  // of the TCP connection; 0: timeout
    SFTP_SessionCB* pCallback = nullptr;          // the user's

    CSecret password;
    KeyPtr privateKey;
};

// An SSH connection from the first packet to the login.
class CSshLink {
public:
    explicit CSshLink(CLastError& error) : m_error(error) {}
    ~CSshLink();

    CSshLink(const CSshLink&) = delete;
    CSshLink& operator=(const CSshLink&) = delete;

    // Connects, has the host key verified and logs in. Secrets of the settings are wiped as soon as
    // they were used, whatever came of it. Returns SFTP_OK or an error code; after a failure the
    // object is of no more use.
    int Connect(SLinkSettings& settings);

    // In non-blocking mode after Connect.
    ssh_session Session() { return m_session; }

private:
    int Configure(const SLinkSettings& settings);
    int SetAlgorithms(const SLinkSettings& settings);
    int VerifyHostKey(const SLinkSettings& settings);
    int LogIn(const SLinkSettings& settings);
    int TryAll(const SLinkSettings& settings, std::vector<std::string>& waiting, bool& bLoggedIn);
    int Try(const std::string& strType, const SLinkSettings& settings);
    int AnswerPrompts(const SLinkSettings& settings);
    int SilentAtLogIn();
    std::string Detail() const;

    CLastError& m_error;
    ssh_session m_session = nullptr;
    COwnSocket m_socket;
};

// "ssh-ed25519 AAAA..."; empty when the key cannot be written so.
std::string PublicKeyText(ssh_key key);

// Loads a private key of OpenSSH's or PEM form; never asks at the terminal. Null after a failure,
// which strReason then names.
KeyPtr LoadPrivateKey(const char* pszPath, const char* pszPassphrase, std::string& strReason);

}  // namespace sftpwrapper

#endif
