#include "tests/sftpserver/recordingserver.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace TestSupport {
namespace {

constexpr Millis kStopCheck{20};
constexpr long kTimeoutSeconds = 10;

// libssh would rather have callbacks; they hide the order of the attempts, which is recorded here.
std::string PasswordOf(ssh_message message) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    return ssh_message_auth_password(message);
#pragma GCC diagnostic pop
}

std::string PublicText(ssh_key key) {
    char* pszBlob = nullptr;
    if (ssh_pki_export_pubkey_base64(key, &pszBlob) != SSH_OK)
        throw std::runtime_error("no public key");
    const std::string strText = std::string("ssh-ed25519 ") + pszBlob;
    ssh_string_free_char(pszBlob);
    return strText;
}

}  // namespace

RecordingServer::RecordingServer(SServerScript script)
    : m_script(std::move(script)),
      m_bind(ssh_bind_new()),
      m_listener(BindLoopback()),
      m_usPort(PortOf(m_listener.Get())) {
    ssh_key key = nullptr;
    const bool bNoConfig = false;
    if (ssh_pki_generate(SSH_KEYTYPE_ED25519, 0, &key) != SSH_OK ||
        ssh_bind_options_set(m_bind, SSH_BIND_OPTIONS_PROCESS_CONFIG, &bNoConfig) != SSH_OK ||
        ssh_bind_options_set(m_bind, SSH_BIND_OPTIONS_IMPORT_KEY, key) != SSH_OK)
        throw std::runtime_error("no host key");
    m_strHostKey = PublicText(key);  // the key itself now belongs to m_bind
    StartListening(m_listener.Get());
    m_thread = std::thread(&RecordingServer::Accept, this);
}

RecordingServer::~RecordingServer() {
    m_bStop = true;
    m_thread.join();
    ssh_bind_free(m_bind);
}

void RecordingServer::Accept() {
    while (!m_bStop) {
        if (!WaitReadable(m_listener.Get(), kStopCheck)) continue;
        const int nClient = ::accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC);
        if (nClient < 0) continue;
        ssh_session session = ssh_new();
        ssh_options_set(session, SSH_OPTIONS_TIMEOUT, &kTimeoutSeconds);
        if (ssh_bind_accept_fd(m_bind, session, nClient) == SSH_OK) Serve(session);
        ssh_disconnect(session);
        ssh_free(session);
        Note("closed");
    }
}

void RecordingServer::Serve(ssh_session session) {
    if (ssh_handle_key_exchange(session) != SSH_OK) return;
    Note("key exchange");
    if (!LogIn(session)) return;
    ssh_channel channel = AwaitSubsystem(session);
    if (channel != nullptr && m_script.subsystem) Relay(session, channel);
}

bool RecordingServer::LogIn(ssh_session session) {
    while (!m_bStop) {
        ssh_message message = ssh_message_get(session);
        if (message == nullptr) return false;
        bool bLoggedIn = false;
        if (ssh_message_type(message) == SSH_REQUEST_AUTH)
            bLoggedIn = Judge(session, message);
        else
            ssh_message_reply_default(message);
        ssh_message_free(message);
        if (bLoggedIn) return true;
    }
    return false;
}

bool RecordingServer::Judge(ssh_session session, ssh_message message) {
    bool bAccepted = false;
    switch (ssh_message_subtype(message)) {
        case SSH_AUTH_METHOD_NONE:
            Note("auth none");
            break;
        case SSH_AUTH_METHOD_PUBLICKEY:
            Note("auth publickey");
            break;
        case SSH_AUTH_METHOD_PASSWORD: {
            const std::string strPassword = PasswordOf(message);
            Note("auth password " + strPassword);
            if (m_script.bIgnoresPasswords) return false;
            bAccepted = (m_script.uMethods & SSH_AUTH_METHOD_PASSWORD) != 0 &&
                        strPassword == m_script.strPassword;
            break;
        }
        case SSH_AUTH_METHOD_INTERACTIVE: {
            const bool bAnswers = ssh_message_auth_kbdint_is_response(message) != 0;
            if (bAnswers) {
                bAccepted = JudgeAnswers(session);
            } else {
                Note("auth keyboard-interactive");
                m_uRound = 0;
            }
            if (bAnswers && (!bAccepted || ++m_uRound == m_script.rounds.size())) break;
            Ask(message);
            return false;
        }
        default:
            Note("auth other");
    }
    if (bAccepted) {
        ssh_message_auth_reply_success(message, 0);
    } else {
        ssh_message_auth_set_methods(message, static_cast<int>(m_script.uMethods));
        ssh_message_reply_default(message);
    }
    return bAccepted;
}

void RecordingServer::Ask(ssh_message message) {
    std::vector<const char*> prompts;
    std::vector<char> shown;
    for (const SPrompt& prompt : m_script.rounds[m_uRound]) {
        prompts.push_back(prompt.strText.c_str());
        shown.push_back(prompt.bShown ? 1 : 0);
    }
    ssh_message_auth_interactive_request(message, "", "", static_cast<unsigned int>(prompts.size()),
                                         prompts.data(), shown.data());
}

bool RecordingServer::JudgeAnswers(ssh_session session) {
    const std::vector<SPrompt>& prompts = m_script.rounds[m_uRound];
    const int nAnswers = ssh_userauth_kbdint_getnanswers(session);
    Note("answers " + std::to_string(nAnswers));
    bool bRight = nAnswers == static_cast<int>(prompts.size());
    for (int i = 0; bRight && i < nAnswers; ++i) {
        const auto uAnswer = static_cast<unsigned int>(i);
        const char* pszAnswer = ssh_userauth_kbdint_getanswer(session, uAnswer);
        const std::string strAnswer = pszAnswer != nullptr ? pszAnswer : "";
        Note("answer " + strAnswer);
        bRight = prompts[uAnswer].bShown || strAnswer == m_script.strPassword;
    }
    return bRight;
}

ssh_channel RecordingServer::AwaitSubsystem(ssh_session session) {
    ssh_channel channel = nullptr;
    while (!m_bStop) {
        ssh_message message = ssh_message_get(session);
        if (message == nullptr) return nullptr;
        bool bStarted = false;
        if (ssh_message_type(message) == SSH_REQUEST_CHANNEL_OPEN && channel == nullptr) {
            channel = ssh_message_channel_request_open_reply_accept(message);
        } else if (ssh_message_type(message) == SSH_REQUEST_CHANNEL && m_script.subsystem) {
            Note(std::string("subsystem ") + ssh_message_channel_request_subsystem(message));
            ssh_message_channel_request_reply_success(message);
            bStarted = true;
        } else {
            ssh_message_reply_default(message);
        }
        ssh_message_free(message);
        if (bStarted) return channel;
    }
    return nullptr;
}

// Between the channel and the script's end of a socket pair, until one side is done.
void RecordingServer::Relay(ssh_session session, ssh_channel channel) {
    int sockets[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) return;
    CHandle ours(sockets[0]);
    CHandle theirs(sockets[1]);
    std::thread script([&] {
        m_script.subsystem(theirs.Get());
        theirs.Close();
    });
    std::vector<char> bytes(256 * 1024);
    bool bOpen = true;
    while (bOpen && !m_bStop && ssh_is_connected(session) && !ssh_channel_is_eof(channel)) {
        pollfd entries[2] = {{ssh_get_fd(session), POLLIN, 0}, {ours.Get(), POLLIN, 0}};
        ::poll(entries, 2, static_cast<int>(kStopCheck.count()));
        const int nIn = ssh_channel_read_nonblocking(channel, bytes.data(),
                                                     static_cast<uint32_t>(bytes.size()), 0);
        if (nIn < 0 && nIn != SSH_EOF && nIn != SSH_AGAIN) break;
        if (nIn > 0)
            bOpen = ::send(ours.Get(), bytes.data(), static_cast<std::size_t>(nIn), MSG_NOSIGNAL) ==
                    nIn;
        const ssize_t nOut = ::recv(ours.Get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (nOut == 0) bOpen = false;
        if (nOut > 0)
            bOpen = ssh_channel_write(channel, bytes.data(), static_cast<uint32_t>(nOut)) == nOut;
    }
    ours.Close();
    script.join();
}

void RecordingServer::Note(const std::string& strEvent) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_events.push_back(strEvent);
}

std::vector<std::string> RecordingServer::Events() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_events;
}

}  // namespace TestSupport
