#include "standalone/sftp/sshlink.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "standalone/sftp/algorithmlist.h"
#include "standalone/sftp/deadline.h"
#include "standalone/sftp/tcpconnect.h"

namespace sftpwrapper {
namespace {

// A server may ask several times, but not for ever.
constexpr int kMaxPromptRounds = 8;

struct SAuthMethod {
    const char* pszName;
    int nFlag;  // in the server's list of what it offers
};

constexpr SAuthMethod kAuthMethods[] = {
    {"publickey", SSH_AUTH_METHOD_PUBLICKEY},
    {"password", SSH_AUTH_METHOD_PASSWORD},
    {"keyboard-interactive", SSH_AUTH_METHOD_INTERACTIVE},
};

int FlagOf(const std::string& strType) {
    for (const SAuthMethod& method : kAuthMethods)
        if (strType == method.pszName) return method.nFlag;
    return 0;
}

bool HasCredential(const std::string& strType, const SLinkSettings& settings) {
    return strType == "publickey" ? settings.privateKey != nullptr : settings.password.IsSet();
}

std::chrono::milliseconds TcpTimeout(const SLinkSettings& settings) {
    return settings.connectTimeout.count() != 0 ? settings.connectTimeout : settings.timeout;
}

// A type of keys has several algorithms when its signatures have (RFC 8332).
const char* KeyTypeOf(const std::string& strAlgorithm) {
    const bool bRsa = strAlgorithm == "rsa-sha2-256" || strAlgorithm == "rsa-sha2-512";
    return bRsa ? "ssh-rsa" : strAlgorithm.c_str();
}

std::vector<std::string> HostKeyAlgorithms(const SLinkSettings& settings) {
    const std::vector<std::string>& preferred = settings.preferredKeyTypes;
    std::vector<std::string> names = settings.hostKeys;
    std::stable_partition(names.begin(), names.end(), [&preferred](const std::string& strName) {
        return std::find(preferred.begin(), preferred.end(), KeyTypeOf(strName)) != preferred.end();
    });
    return names;
}

int RefuseToPrompt(const char*, char*, std::size_t, int, int, void*) {
    return -1;
}

// OpenSSL leaves the passphrase of a PEM key in the buffers of calls that have returned.
[[gnu::noinline]] void WipeUsedStack() {
    std::array<char, std::size_t{32} * 1024> unused;
    ::explicit_bzero(unused.data(), unused.size());
}

}  // namespace

std::string PublicKeyText(ssh_key key) {
    const char* pszType = ssh_key_type_to_char(ssh_key_type(key));
    char* pszBlob = nullptr;
    if (pszType == nullptr || ssh_pki_export_pubkey_base64(key, &pszBlob) != SSH_OK) return {};
    std::string strText = std::string(pszType) + ' ' + pszBlob;
    ssh_string_free_char(pszBlob);
    return strText;
}

KeyPtr LoadPrivateKey(const char* pszPath, const char* pszPassphrase, std::string& strReason) {
    ssh_key key = nullptr;
    const int nResult =
        ssh_pki_import_privkey_file(pszPath, pszPassphrase, RefuseToPrompt, nullptr, &key);
    WipeUsedStack();
    if (nResult == SSH_EOF) strReason = "it cannot be read";
    if (nResult == SSH_ERROR) strReason = "unknown form or wrong passphrase";
    return KeyPtr(nResult == SSH_OK ? key : nullptr);
}

CSshLink::~CSshLink() {
    if (m_session == nullptr) return;
    ssh_set_blocking(m_session, 0);  // a peer that takes nothing must not hold up the farewell
    ssh_disconnect(m_session);
    ssh_free(m_session);
}

int CSshLink::Connect(SLinkSettings& settings) {
    m_session = ssh_new();
    if (m_session == nullptr) return m_error.Set(SFTP_ERR_MEMORY, "no memory for a session");
    int nResult = SetAlgorithms(settings);
    if (nResult == SFTP_OK) nResult = Configure(settings);
    if (nResult != SFTP_OK) return nResult;
    if (ssh_connect(m_session) != SSH_OK)
        return m_error.Set(SFTP_ERR_CONNECT,
                           "no SSH connection to " + settings.strHost + ": " + Detail());
    nResult = VerifyHostKey(settings);
    if (nResult != SFTP_OK) return nResult;
    nResult = LogIn(settings);
    settings.password.Wipe();
    settings.privateKey.reset();
    ssh_set_blocking(m_session, 0);
    return nResult;
}

int CSshLink::SetAlgorithms(const SLinkSettings& settings) {
    std::vector<std::string> compressions = settings.compressions;
    if (!compressions.empty() && compressions.back() != "none") compressions.emplace_back("none");
    const std::vector<std::string> hostKeys = HostKeyAlgorithms(settings);
    const struct {
        const char* pszTitle;
        const std::vector<std::string>& names;
        std::vector<ssh_options_e> options;
    } lists[] = {
        {"cipher", settings.ciphers, {SSH_OPTIONS_CIPHERS_C_S, SSH_OPTIONS_CIPHERS_S_C}},
        {"MAC", settings.macs, {SSH_OPTIONS_HMAC_C_S, SSH_OPTIONS_HMAC_S_C}},
        {"key-exchange", settings.keyExchanges, {SSH_OPTIONS_KEY_EXCHANGE}},
        {"host-key", hostKeys, {SSH_OPTIONS_HOSTKEYS}},
        {"compression", compressions, {SSH_OPTIONS_COMPRESSION_C_S, SSH_OPTIONS_COMPRESSION_S_C}},
        {"authentication-type", settings.authTypes, {}},
    };
    for (const auto& list : lists) {
        if (list.names.empty())
            return m_error.Set(SFTP_ERR_ALGORITHMS, std::string("no known identifier in the ") +
                                                        list.pszTitle +
                                                        " list of the configuration");
        for (const ssh_options_e option : list.options)
            if (ssh_options_set(m_session, option, Joined(list.names).c_str()) != SSH_OK)
                return m_error.Set(SFTP_ERR_ALGORITHMS, std::string("the ") + list.pszTitle +
                                                            " list is refused: " + Detail());
    }
    return SFTP_OK;
}

// Everything that libssh would otherwise take from the user's home directory is switched off: who
// is trusted, and with which algorithms, is the caller's decision alone.
int CSshLink::Configure(const SLinkSettings& settings) {
    const int nOn = 1;
    const bool bProcessConfig = false;
    const unsigned int uPort = settings.uPort;
    const long nSeconds = static_cast<long>(settings.timeout.count() / 1000);
    const bool bSet =
        ssh_options_set(m_session, SSH_OPTIONS_PROCESS_CONFIG, &bProcessConfig) == SSH_OK &&
        ssh_options_set(m_session, SSH_OPTIONS_HOST, settings.strHost.c_str()) == SSH_OK &&
        ssh_options_set(m_session, SSH_OPTIONS_PORT, &uPort) == SSH_OK &&
        ssh_options_set(m_session, SSH_OPTIONS_USER, settings.strUser.c_str()) == SSH_OK &&
        ssh_options_set(m_session, SSH_OPTIONS_KNOWNHOSTS, "/dev/null") == SSH_OK &&
        ssh_options_set(m_session, SSH_OPTIONS_GLOBAL_KNOWNHOSTS, "/dev/null") == SSH_OK &&
        ssh_options_set(m_session, SSH_OPTIONS_NODELAY, &nOn) == SSH_OK &&
        ssh_options_set(m_session, SSH_OPTIONS_TIMEOUT, &nSeconds) == SSH_OK;
    if (!bSet) return m_error.Set(SFTP_ERR_ARGUMENT, "host or user: " + Detail());

    std::string strReason;
    socket_t nSocket =
        ConnectTcp(settings.strHost, settings.uPort, CDeadline(TcpTimeout(settings)), strReason);
    if (nSocket < 0)
        return m_error.Set(SFTP_ERR_CONNECT, "no connection to " + settings.strHost + " port " +
                                                 std::to_string(uPort) + ": " + strReason);
    m_socket.Own(nSocket);
    if (ssh_options_set(m_session, SSH_OPTIONS_FD, &nSocket) == SSH_OK) return SFTP_OK;
    return m_error.Set(SFTP_ERR_MEMORY, Detail());
}

int CSshLink::VerifyHostKey(const SLinkSettings& settings) {
    ssh_key key = nullptr;
    if (ssh_get_server_publickey(m_session, &key) != SSH_OK)
        return m_error.Set(SFTP_ERR_CONNECT, "no host key: " + Detail());
    const std::string strKey = PublicKeyText(KeyPtr(key).get());
    const SFTP_String host(settings.strHost.c_str());
    const SFTP_String text(strKey.c_str());
    if (settings.pCallback != nullptr && !strKey.empty() &&
        settings.pCallback->verifyHostKey(host, settings.uPort, text) == 0)
        return SFTP_OK;
    return m_error.Set(SFTP_ERR_HOST_KEY,
                       "the host key of " + settings.strHost + " is not accepted: " + strKey);
}

int CSshLink::LogIn(const SLinkSettings& settings) {
    std::vector<std::string> waiting;
    for (const std::string& strType : settings.authTypes)
        if (HasCredential(strType, settings)) waiting.push_back(strType);
    if (waiting.empty())
        return m_error.Set(SFTP_ERR_AUTH,
                           "neither a password nor a private key for a configured way to log in");
    const int nFirst = ssh_userauth_none(m_session, nullptr);
    if (nFirst == SSH_AUTH_SUCCESS) return SFTP_OK;
    if (nFirst == SSH_AUTH_AGAIN) return SilentAtLogIn();
    if (nFirst == SSH_AUTH_ERROR)
        return m_error.Set(SFTP_ERR_LOST, "lost while logging in: " + Detail());
    bool bLoggedIn = false;
    const int nResult = TryAll(settings, waiting, bLoggedIn);
    if (nResult != SFTP_OK || bLoggedIn) return nResult;
    return m_error.Set(SFTP_ERR_AUTH, "the server refuses to let " + settings.strUser + " in");
}

// Each way once, the first that is offered first; after a partial success the server offers others.
int CSshLink::TryAll(const SLinkSettings& settings, std::vector<std::string>& waiting,
                     bool& bLoggedIn) {
    while (true) {
        const int nOffered = ssh_userauth_list(m_session, nullptr);
        const auto next = std::find_if(
            waiting.begin(), waiting.end(),
            [nOffered](const std::string& strType) { return (nOffered & FlagOf(strType)) != 0; });
        if (next == waiting.end()) return SFTP_OK;
        const std::string strType = *next;
        waiting.erase(next);
        const int nResult = Try(strType, settings);
        bLoggedIn = nResult == SSH_AUTH_SUCCESS;
        if (bLoggedIn) return SFTP_OK;
        if (nResult == SSH_AUTH_AGAIN) return SilentAtLogIn();
        // A server that hangs up after too many refusals has refused, too.
        if (nResult == SSH_AUTH_ERROR && !ssh_is_connected(m_session))
            return m_error.Set(SFTP_ERR_AUTH, "log-in by " + strType + " failed: " + Detail());
    }
}

int CSshLink::SilentAtLogIn() {
    return m_error.Set(SFTP_ERR_TIMEOUT, "no answer to the log-in in time");
}

int CSshLink::Try(const std::string& strType, const SLinkSettings& settings) {
    if (strType == "publickey")
        return ssh_userauth_publickey(m_session, nullptr, settings.privateKey.get());
    if (strType == "password")
        return ssh_userauth_password(m_session, nullptr, settings.password.Text());
    return AnswerPrompts(settings);
}

// Prompts that hide what is typed get the password; one that shows it asks for something else.
int CSshLink::AnswerPrompts(const SLinkSettings& settings) {
    int nResult = ssh_userauth_kbdint(m_session, nullptr, nullptr);
    for (int nRound = 0; nResult == SSH_AUTH_INFO; ++nRound) {
        if (nRound == kMaxPromptRounds) return SSH_AUTH_ERROR;
        const int nPrompts = ssh_userauth_kbdint_getnprompts(m_session);
        for (int i = 0; i < nPrompts; ++i) {
            char cEcho = 1;
            const auto uPrompt = static_cast<unsigned int>(i);
            ssh_userauth_kbdint_getprompt(m_session, uPrompt, &cEcho);
            const char* pszAnswer = cEcho == 0 ? settings.password.Text() : "";
            if (ssh_userauth_kbdint_setanswer(m_session, uPrompt, pszAnswer) < 0)
                return SSH_AUTH_ERROR;
        }
        nResult = ssh_userauth_kbdint(m_session, nullptr, nullptr);
    }
    return nResult;
}

std::string CSshLink::Detail() const {
    const char* pszError = ssh_get_error(m_session);
    return pszError != nullptr ? pszError : "";
}

}  // namespace sftpwrapper
