#ifndef QEL_TESTS_TOOL_SFTPTOOL_H
#define QEL_TESTS_TOOL_SFTPTOOL_H

#include <memory>
#include <string>
#include <vector>

#include "tests/sftpserver/opensshserver.h"
#include "tests/support/tempdir.h"
#include "tests/tool/childprocess.h"

namespace ToolTest {

// An sshd whose logins start in an empty directory, and a user's home directory to run qelftp from.
class SftpTool {
public:
    explicit SftpTool(const std::vector<std::string>& hostKeyTypes = {"ed25519"},
                      const std::string& strMoreConfig = "");

    TestSupport::OpenSshServer& Server() { return *m_pServer; }
    std::string HostAndPort() const;
    // sftp://user@127.0.0.1:port + the path, which is to begin with "/".
    std::string Url(const std::string& strPath, unsigned short usPort = 0) const;

    // The local path of what the server calls strPath.
    std::string File(const std::string& strPath) const { return m_login.File(strPath); }
    // Makes it the server's user's.
    void Make(const std::string& strPath, const std::string& strBytes) const;
    void MakeDirectory(const std::string& strPath) const;

    std::string KnownHosts() const { return m_home.File(".ssh/known_hosts"); }
    void WriteKnownHosts(const std::string& strText) const;
    // "[127.0.0.1]:port " + the server's key.
    std::string HostLine(const std::string& strType = "ed25519") const;

    // What the server's log has of a text, over all connections so far.
    int CountInLog(const std::string& strText) const;

    // The home directory and no password; time-outs that let a failure end soon.
    SSurroundings Home() const;
    Arguments Command(Arguments arguments) const;
    SRun Run(const Arguments& arguments, const SSurroundings& surroundings) const;
    SRun RunWithPassword(const Arguments& arguments) const;
    SSurroundings WithPassword() const;

private:
    TestSupport::TempDir m_login;
    TestSupport::TempDir m_home;
    std::unique_ptr<TestSupport::OpenSshServer> m_pServer;
};

}  // namespace ToolTest

#endif
