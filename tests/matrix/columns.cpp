#include "tests/matrix/server.h"

namespace MatrixTest {

// clang-format off
const std::vector<SColumn>& Columns() {
    static const std::vector<SColumn> columns = {
        {"vsftpd",        "vsftpd",           "server/vsftpd",            EProtocol::Ftp,  MakeVsftpd},
        {"proftpd",       "proftpd",          "matrix/servers/proftpd",   EProtocol::Ftp,  MakeProftpd},
        {"proftpd_dos",   "proftpd, DOS",     "matrix/servers/proftpd",   EProtocol::Ftp,  MakeProftpdDos},
        {"pureftpd",      "pure-ftpd",        "matrix/servers/pureftpd",  EProtocol::Ftp,  MakePureFtpd},
        {"pyftpdlib",     "pyftpdlib",        "matrix/servers/pyftpdlib", EProtocol::Ftp,  MakePyftpdlib},
        {"pyftpdlib_dos", "pyftpdlib, DOS",   "matrix/servers/pyftpdlib", EProtocol::Ftp,  MakePyftpdlibDos},
        {"inetutils",     "inetutils-ftpd",   "matrix/servers/inetutils", EProtocol::Ftp,  MakeInetutilsFtpd},
        {"aioftp",        "aioftp",           "matrix/servers/aioftp",    EProtocol::Ftp,  MakeAioftp},
        {"openssh",       "OpenSSH",          "sftpserver/sshd",          EProtocol::Sftp, MakeOpenSsh},
        {"proftpd_sftp",  "proftpd mod_sftp", "matrix/servers/proftpd",   EProtocol::Sftp, MakeProftpdSftp},
    };
    return columns;
}
// clang-format on

}  // namespace MatrixTest
