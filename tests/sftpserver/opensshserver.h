#ifndef QEL_TESTS_SFTPSERVER_OPENSSHSERVER_H
#define QEL_TESTS_SFTPSERVER_OPENSSHSERVER_H

#include <memory>
#include <string>
#include <vector>

#include "tests/sftpserver/childprocess.h"
#include "tests/support/tempdir.h"

namespace TestSupport {

// OpenSSH's sshd on a free loopback port, with keys and a password of its own, run by an
// unprivileged user (so that permissions mean something even when the test is root's). Throws
// std::runtime_error, with the server's log, when it does not come up.
class OpenSshServer {
public:
    // hostKeyTypes: of ssh-keygen, a length behind a dash ("ecdsa-384"). moreConfig: lines of
    // sshd_config, which win over the usual ones.
    explicit OpenSshServer(const std::vector<std::string>& hostKeyTypes = {"ed25519"},
                           const std::string& strMoreConfig = "");

    unsigned short Port() const { return m_usPort; }
    std::string User() const { return UnprivilegedUser(); }
    static const char* Password() { return "tea, with a drop of milk"; }

    // "ssh-ed25519 AAAA...", as the host's accounts hold it.
    std::string HostKey(const std::string& strType = "ed25519") const;

    // Makes a key of the type, lets it log in, and returns the private key's path.
    std::string AuthorizedKey(const std::string& strType, const std::string& strPassphrase = "",
                              const std::string& strFormat = "");

    // A directory that the server's user may write to.
    std::string Directory() const { return m_temp.File("remote"); }
    std::string File(const std::string& strName) const { return Directory() + "/" + strName; }

    // Kills the server and all its sessions.
    void Kill();

    std::string Log() const;

    // The log once it tells of a connection that ended before its log-in; throws when it does not
    // in time.
    std::string LogOfRefusedConnection() const;

private:
    void CopyPrograms();
    void MakeHostKey(const std::string& strType);
    void WriteConfig(const std::vector<std::string>& hostKeyTypes,
                     const std::string& strMoreConfig);
    void StartOnFreePort();
    bool AwaitGreeting();

    TempDir m_temp;
    unsigned short m_usPort = 0;
    int m_nKeys = 0;
    std::string m_strConfig;
    std::unique_ptr<ChildProcess> m_pProcess;
};

}  // namespace TestSupport

#endif
