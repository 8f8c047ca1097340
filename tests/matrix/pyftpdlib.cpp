#include "tests/matrix/privateserver.h"

namespace MatrixTest {
namespace {

class CPyftpdlib : public CPrivateServer {
public:
    explicit CPyftpdlib(const std::string& strStyle)
        : CPrivateServer("pyftpdlib"), m_strStyle(strStyle) {
        Start("220");
    }

protected:
    SStart Configure(unsigned short usPort) override {
        return {{"/usr/bin/python3", AddFile(QEL_TESTS_SCRIPTS "/pyftpdlib-server.py"),
                 std::to_string(usPort), Root().string(), User(), Password(), m_strStyle},
                {"PYTHONPATH=" + Home("")}};
    }

private:
    std::string m_strStyle;
};

}  // namespace

std::unique_ptr<CServer> MakePyftpdlib() {
    return std::make_unique<CPyftpdlib>("unix");
}

std::unique_ptr<CServer> MakePyftpdlibDos() {
    return std::make_unique<CPyftpdlib>("dos");
}

}  // namespace MatrixTest
