#ifndef QEL_TESTS_SERVER_VSFTPDSERVER_H
#define QEL_TESTS_SERVER_VSFTPDSERVER_H

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/server/scratchdirectory.h"
#include "tests/support/sockets.h"

namespace ServerTest {

struct SServerOptions {
    std::vector<std::string>
        lines;                   // of vsftpd.conf ("write_enable=NO"), read after the usual ones
    std::filesystem::path root;  // the served directory; empty: a fresh one
    std::uintmax_t uRoom = 0;    // bytes that the fresh one will hold, if they are many
    bool bLogCommands = true;    // every command and reply into the log
};

// A vsftpd of its own on 127.0.0.1, for the lifetime of the object.
//
// It never runs with privileges: under a test that is root it becomes "nobody", so that permissions
// mean what they say. Neither PAM nor accounts are involved: the only account is the anonymous one,
// and it is let in with one random password only (vsftpd's list of accepted e-mail addresses).
class CVsftpdServer {
public:
    // Returns once a login has succeeded; throws with the server's own words if none does.
    explicit CVsftpdServer(const SServerOptions& options = {});
    ~CVsftpdServer();

    CVsftpdServer(const CVsftpdServer&) = delete;
    CVsftpdServer& operator=(const CVsftpdServer&) = delete;

    std::string Host() const { return "127.0.0.1"; }
    unsigned short Port() const { return m_usPort; }
    std::string User() const { return "anonymous"; }
    const std::string& Password() const { return m_strPassword; }

    // The served directory, which the server reports as its working directory after a login.
    const std::filesystem::path& Root() const { return m_root; }

    // Makes the path and all below it the server's own.
    void Adopt(const std::filesystem::path& path) const;

    // Ends the server and its sessions at once, as a crash would.
    void Stop();

    // What the server logged, with its start-up messages.
    std::string Log() const;

private:
    void Configure(const SServerOptions& options);
    bool Start();
    bool HasEnded();

    CScratchDirectory m_home;   // program, configuration, log
    CScratchDirectory m_files;  // the fresh root
    std::filesystem::path m_root;
    std::string m_strPassword;
    unsigned short m_usPort = 0;
    pid_t m_nProcess = -1;         // the listener
    TestSupport::CHandle m_alive;  // a pipe to which only the server's processes can write
};

}  // namespace ServerTest

#endif
