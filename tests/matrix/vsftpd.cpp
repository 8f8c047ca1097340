#include "tests/matrix/server.h"
#include "tests/server/vsftpdserver.h"

namespace MatrixTest {
namespace {

class CVsftpd : public CServer {
public:
    unsigned short Port() const override { return m_server.Port(); }
    std::string User() const override { return m_server.User(); }
    std::string Password() const override { return m_server.Password(); }
    std::filesystem::path Root() const override { return m_server.Root(); }
    std::string Log() const override { return m_server.Log(); }

private:
    ServerTest::CVsftpdServer m_server;
};

}  // namespace

std::unique_ptr<CServer> MakeVsftpd() {
    return std::make_unique<CVsftpd>();
}

}  // namespace MatrixTest
