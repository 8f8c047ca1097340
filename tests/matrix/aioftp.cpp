#include "tests/matrix/privateserver.h"

namespace MatrixTest {
namespace {

class CAioftp : public CPrivateServer {
public:
    CAioftp() : CPrivateServer("aioftp") { Start("220"); }

protected:
    SStart Configure(unsigned short usPort) override {
        return {{"/usr/bin/python3", AddFile(QEL_TESTS_SCRIPTS "/aioftp-server.py"),
                 std::to_string(usPort), Root().string(), User(), Password()},
                {"PYTHONPATH=" + Home("")}};
    }
};

}  // namespace

std::unique_ptr<CServer> MakeAioftp() {
    return std::make_unique<CAioftp>();
}

}  // namespace MatrixTest
