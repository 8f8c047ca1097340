#ifndef QEL_TESTS_MATRIX_PRIVATESERVER_H
#define QEL_TESTS_MATRIX_PRIVATESERVER_H

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/matrix/server.h"
#include "tests/server/scratchdirectory.h"
#include "tests/sftpserver/childprocess.h"

namespace MatrixTest {

// How a server is started.
struct SStart {
    std::vector<std::string> command;
    std::vector<std::string> environment;
};

// A server whose program lies in a folder that scripts/fetch-package.sh filled. Its only account is
// bob's, whose identity is that of the user who runs it.
class CPrivateServer : public CServer {
public:
    unsigned short Port() const override { return m_usPort; }
    std::string User() const override { return "bob"; }
    std::string Password() const override { return "tea for two"; }
    std::filesystem::path Root() const override { return m_files.Path(); }
    std::string Log() const override;

protected:
    // The folder's name below the build's servers; empty: the program is no package's.
    explicit CPrivateServer(const std::string& strFolder);

    // A copy of the folder of another package.
    void Add(const std::string& strFolder);
    // Of a file, which every user may run then. Gives its path.
    std::string AddFile(const std::string& strPath) const;

    // Writes what the server needs to serve at that port.
    virtual SStart Configure(unsigned short usPort) = 0;

    // Returns once the server says this.
    void Start(const std::string& strGreeting);

    std::string Home(const std::string& strName) const {
        return (m_home.Path() / strName).string();
    }
    void Write(const std::string& strName, const std::string& strText) const;

    // "bob:hash:uid:gid::root:shell", as in /etc/passwd.
    std::string PasswdLine() const;
    static std::string PasswordHash(const std::string& strPassword);

    // For servers that insist on being root's: they are told that they are, and that each change of
    // user has succeeded.
    std::vector<std::string> PretendedRoot(const std::string& strMorePreloaded = "") const;

private:
    bool AwaitGreeting(const std::string& strGreeting) const;

    ServerTest::CScratchDirectory m_home;
    ServerTest::CScratchDirectory m_files;
    unsigned short m_usPort = 0;
    std::unique_ptr<TestSupport::ChildProcess> m_pProcess;
};

}  // namespace MatrixTest

#endif
