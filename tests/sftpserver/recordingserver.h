#ifndef QEL_TESTS_SFTPSERVER_RECORDINGSERVER_H
#define QEL_TESTS_SFTPSERVER_RECORDINGSERVER_H

#include <libssh/libssh.h>
#include <libssh/server.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/sockets.h"

namespace TestSupport {

// A question of a keyboard-interactive log-in.
struct SPrompt {
    std::string strText;
    bool bShown = false;  // whether what is typed is
};

// What a recording server does, beside recording.
struct SServerScript {
    unsigned int uMethods = SSH_AUTH_METHOD_PASSWORD;  // ways to log in that it offers
    std::string strPassword = "tea";                   // for password and for hidden prompts

    // The requests of a keyboard-interactive log-in, each with its prompts; the next follows when
    // the hidden prompts of one were answered with the password.
    std::vector<std::vector<SPrompt>> rounds = {{{"Password: "}}};

    bool bIgnoresPasswords = false;  // never answers one

    // Plays the server's side of the SFTP subsystem on a socket. Empty: there is no subsystem.
    std::function<void(int nSocket)> subsystem;
};

// An SSH server on a loopback port with a host key of its own; serves one connection after the
// other and notes everything that a client says on its way in.
class RecordingServer {
public:
    explicit RecordingServer(SServerScript script);
    ~RecordingServer();

    RecordingServer(const RecordingServer&) = delete;
    RecordingServer& operator=(const RecordingServer&) = delete;

    unsigned short Port() const { return m_usPort; }
    const std::string& HostKey() const { return m_strHostKey; }

    // "key exchange", "auth none", "auth password tea", "answers 1", "answer tea",
    // "subsystem sftp", "closed".
    std::vector<std::string> Events() const;

private:
    void Accept();
    void Serve(ssh_session session);
    bool LogIn(ssh_session session);
    bool Judge(ssh_session session, ssh_message message);
    void Ask(ssh_message message);
    bool JudgeAnswers(ssh_session session);
    ssh_channel AwaitSubsystem(ssh_session session);
    void Relay(ssh_session session, ssh_channel channel);
    void Note(const std::string& strEvent);

    SServerScript m_script;
    ssh_bind m_bind;
    std::string m_strHostKey;
    CHandle m_listener;
    unsigned short m_usPort;
    std::size_t m_uRound = 0;  // of the connection's prompts
    mutable std::mutex m_mutex;
    std::vector<std::string> m_events;
    std::atomic<bool> m_bStop{false};
    std::thread m_thread;
};

}  // namespace TestSupport

#endif
