#include <stdexcept>

#include "tests/matrix/privateserver.h"
#include "tests/sftpserver/childprocess.h"

namespace MatrixTest {
namespace {

class CPureFtpd : public CPrivateServer {
public:
    CPureFtpd() : CPrivateServer("pureftpd") {
        Add("wrappers");
        // As pure-pw writes it, which would take a second and more to hash the password.
        std::string strLine = PasswdLine();
        strLine.replace(strLine.rfind(':'), std::string::npos, "::::::::::::\n");
        Write("users", strLine);
        TestSupport::SChildOptions unprivileged;
        unprivileged.bUnprivileged = true;
        if (TestSupport::RunProgram(
                {Home("pure-pw"), "mkdb", Home("users.pdb"), "-f", Home("users")}, unprivileged) !=
            0)
            throw std::runtime_error("pure-pw failed");
        Start("220");
    }

protected:
    SStart Configure(unsigned short usPort) override {
        return {{Home("pure-ftpd"), "--login", "puredb:" + Home("users.pdb"), "--ipv4only",
                 "--bind", "127.0.0.1," + std::to_string(usPort), "--noanonymous", "--dontresolve",
                 "--verboselog", "--pidfile", Home("pid"), "--minuid", "1", "--maxclientsnumber",
                 "200", "--maxclientsperip", "200", "--umask", "133:022"},
                PretendedRoot()};
    }
};

}  // namespace

std::unique_ptr<CServer> MakePureFtpd() {
    return std::make_unique<CPureFtpd>();
}

}  // namespace MatrixTest
