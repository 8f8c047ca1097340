#ifndef QEL_TESTS_MATRIX_SERVER_H
#define QEL_TESTS_MATRIX_SERVER_H

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace MatrixTest {

// A server of its own on 127.0.0.1, for the lifetime of the object: what a fixture has to offer.
// It runs without privileges, so that permissions mean what they say. Making one throws
// std::runtime_error, with the server's own words, when it does not come up.
class CServer {
public:
    virtual ~CServer() = default;

    virtual unsigned short Port() const = 0;
    virtual std::string User() const = 0;
    virtual std::string Password() const = 0;

    // The directory in which log-ins start, as this machine calls it.
    virtual std::filesystem::path Root() const = 0;

    // What the server wrote so far.
    virtual std::string Log() const = 0;

    // Of SSH servers, "ssh-ed25519 AAAA...".
    virtual std::string HostKey() const { return ""; }
};

enum class EProtocol { Ftp, Sftp };

// One server as the table has it.
struct SColumn {
    const char* pszId;      // in test names, results and the table of deviations
    const char* pszTitle;   // in the document
    const char* pszFolder;  // of the build's tests: its file "versions" tells the packages
    EProtocol eProtocol;
    std::unique_ptr<CServer> (*make)();
};

// In the document's order.
const std::vector<SColumn>& Columns();

std::unique_ptr<CServer> MakeVsftpd();
std::unique_ptr<CServer> MakeProftpd();
std::unique_ptr<CServer> MakeProftpdDos();
std::unique_ptr<CServer> MakeProftpdSftp();
std::unique_ptr<CServer> MakePureFtpd();
std::unique_ptr<CServer> MakePyftpdlib();
std::unique_ptr<CServer> MakePyftpdlibDos();
std::unique_ptr<CServer> MakeInetutilsFtpd();
std::unique_ptr<CServer> MakeAioftp();
std::unique_ptr<CServer> MakeOpenSsh();

}  // namespace MatrixTest

#endif
