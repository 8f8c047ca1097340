#include "tests/matrix/server.h"
#include "tests/server/scratchdirectory.h"
#include "tests/sftpserver/opensshserver.h"

#include <sys/stat.h>

namespace MatrixTest {
namespace {

class COpenSsh : public CServer {
public:
    COpenSsh() : m_files(std::filesystem::temp_directory_path()) {
        ::chmod(Root().c_str(), 0755);
        TestSupport::GiveToUnprivileged(Root().string());
        m_pServer = std::make_unique<TestSupport::OpenSshServer>(
            std::vector<std::string>{"ed25519"},
            "ForceCommand internal-sftp -d " + Root().string() + "\n");
    }

    unsigned short Port() const override { return m_pServer->Port(); }
    std::string User() const override { return m_pServer->User(); }
    std::string Password() const override { return TestSupport::OpenSshServer::Password(); }
    std::filesystem::path Root() const override { return m_files.Path(); }
    std::string Log() const override { return m_pServer->Log(); }
    std::string HostKey() const override { return m_pServer->HostKey(); }

private:
    ServerTest::CScratchDirectory m_files;
    std::unique_ptr<TestSupport::OpenSshServer> m_pServer;
};

}  // namespace

std::unique_ptr<CServer> MakeOpenSsh() {
    return std::make_unique<COpenSsh>();
}

}  // namespace MatrixTest
