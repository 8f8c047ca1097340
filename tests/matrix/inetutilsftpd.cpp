#include "tests/matrix/privateserver.h"

namespace MatrixTest {
namespace {

// One process a connection, started by a little inetd.
class CInetutilsFtpd : public CPrivateServer {
public:
    CInetutilsFtpd() : CPrivateServer("inetutils") {
        Add("wrappers");
        Write("passwd", PasswdLine());
        Write("group", "");
        Start("220");
    }

protected:
    SStart Configure(unsigned short usPort) override {
        SStart start;
        start.command = {"/usr/bin/python3",     AddFile(QEL_TESTS_SCRIPTS "/inetd.py"),
                         std::to_string(usPort), Home("ftpd"),
                         "--auth=default",       "--logging"};
        start.environment = PretendedRoot(Home("libnss_wrapper.so") + ":");
        start.environment.push_back("NSS_WRAPPER_PASSWD=" + Home("passwd"));
        start.environment.push_back("NSS_WRAPPER_GROUP=" + Home("group"));
        return start;
    }
};

}  // namespace

std::unique_ptr<CServer> MakeInetutilsFtpd() {
    return std::make_unique<CInetutilsFtpd>();
}

}  // namespace MatrixTest
