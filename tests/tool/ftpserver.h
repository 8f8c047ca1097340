#ifndef QEL_TESTS_TOOL_FTPSERVER_H
#define QEL_TESTS_TOOL_FTPSERVER_H

#include <string>

#include "tests/support/tempdir.h"
#include "tests/tool/childprocess.h"

namespace ToolTest {

constexpr const char* kPassword = "tea time";  // of the server's user bob

// A real FTP server (pyftpdlib) with an empty directory of its own, ended with the object.
class FtpServer {
public:
    // nRate: bytes a second of a data connection; 0: no limit.
    // Throws, with what the server wrote, when it does not start: that is a failure of the test.
    explicit FtpServer(int nRate = 0);

    // ftp://bob@127.0.0.1:port + the path, which is to begin with "/".
    std::string Url(const std::string& strPath) const;
    std::string HostAndPort() const { return "127.0.0.1:" + std::to_string(m_usPort); }
    unsigned short Port() const { return m_usPort; }

    // The local path of what the server calls strPath.
    std::string File(const std::string& strPath) const { return m_root.File(strPath); }
    bool Has(const std::string& strPath) const;

    // One line for each connection ("connected") and each command; PASS without its argument.
    std::string Log() const;
    // How often the log has this line.
    int Count(const std::string& strLine) const;

private:
    TestSupport::TempDir m_root;
    TestSupport::TempDir m_logs;
    ChildProcess m_process;
    unsigned short m_usPort = 0;
};

// Runs qelftp with the right password, and with time-outs that let a refused transfer end soon.
SRun RunWithPassword(Arguments arguments, SSurroundings surroundings = {});

}  // namespace ToolTest

#endif
