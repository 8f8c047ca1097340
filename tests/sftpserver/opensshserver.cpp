#include "tests/sftpserver/opensshserver.h"

#include <crypt.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "tests/support/sockets.h"

namespace TestSupport {
namespace {

constexpr const char* kKeyMaker = "/usr/bin/ssh-keygen";
constexpr int kPortAttempts = 5;
constexpr Millis kStartLimit{10000};

// Options of ssh-keygen for a type, in which "ecdsa-384" is a key of that length.
std::vector<std::string> TypeOptions(const std::string& strType) {
    const std::size_t uDash = strType.find('-');
    if (uDash == std::string::npos) return {"-t", strType};
    return {"-t", strType.substr(0, uDash), "-b", strType.substr(uDash + 1)};
}

void MakeKey(const std::vector<std::string>& options, const std::string& strPath,
             const std::string& strPassphrase) {
    std::vector<std::string> arguments = {kKeyMaker, "-q", "-N", strPassphrase, "-f", strPath};
    arguments.insert(arguments.end(), options.begin(), options.end());
    if (RunProgram(arguments) != 0) throw std::runtime_error("ssh-keygen failed for " + strPath);
}

std::string PasswordHash() {
    crypt_data data = {};
    const char* pszHash = ::crypt_r(OpenSshServer::Password(), "$5$qeltest$", &data);
    if (pszHash == nullptr || *pszHash == '*') throw std::runtime_error("no password hash");
    return pszHash;
}

}  // namespace

OpenSshServer::OpenSshServer(const std::vector<std::string>& hostKeyTypes,
                             const std::string& strMoreConfig) {
    ::chmod(m_temp.Path().c_str(), 0755);  // for the server's user
    std::filesystem::create_directory(Directory());
    GiveToUnprivileged(Directory());
    WriteFile(m_temp.File("authorized_keys"), "");
    CopyPrograms();
    for (const std::string& strType : hostKeyTypes)
        MakeHostKey(strType);
    WriteConfig(hostKeyTypes, strMoreConfig);
    StartOnFreePort();
}

// Out of the build tree, into which the server's user may not be able to look.
void OpenSshServer::CopyPrograms() {
    if (!std::filesystem::exists(QEL_TEST_SSHD "/sshd"))
        throw std::runtime_error("no sshd in " QEL_TEST_SSHD ": scripts/fetch-package.sh failed");
    std::filesystem::copy(QEL_TEST_SSHD, m_temp.File("sshd"),
                          std::filesystem::copy_options::recursive);
    std::filesystem::copy_file(QEL_TEST_SHADOW_ENTRY, m_temp.File("shadowentry.so"));
    ::chmod(m_temp.File("shadowentry.so").c_str(), 0755);
}

void OpenSshServer::MakeHostKey(const std::string& strType) {
    const std::string strPath = m_temp.File("host_" + strType);
    MakeKey(TypeOptions(strType), strPath, "");
    GiveToUnprivileged(strPath);
}

void OpenSshServer::WriteConfig(const std::vector<std::string>& hostKeyTypes,
                                const std::string& strMoreConfig) {
    m_strConfig = strMoreConfig + "\n";  // sshd takes the first value of each keyword
    for (const std::string& strType : hostKeyTypes)
        m_strConfig += "HostKey " + m_temp.File("host_" + strType) + "\n";
    m_strConfig +=
        "PidFile none\n"
        "UsePAM no\n"
        "StrictModes no\n"
        "UseDNS no\n"
        "LogLevel VERBOSE\n"
        "MaxStartups 100\n"
        "PasswordAuthentication yes\n"
        "KbdInteractiveAuthentication no\n"
        "Subsystem sftp internal-sftp\n"
        "AuthorizedKeysFile " +
        m_temp.File("authorized_keys") + "\n";
}

// The port is free when it is chosen; another program may take it before sshd does.
void OpenSshServer::StartOnFreePort() {
    SChildOptions options;
    options.bUnprivileged = true;
    options.strOutputFile = m_temp.File("sshd.log");
    options.environment = {"LD_PRELOAD=" + m_temp.File("shadowentry.so"),
                           "LD_LIBRARY_PATH=" + m_temp.File("sshd/lib"),
                           "QEL_TEST_PASSWORD_HASH=" + PasswordHash()};
    for (int nAttempt = 0; nAttempt < kPortAttempts; ++nAttempt) {
        {
            const CHandle socket = BindLoopback();
            m_usPort = PortOf(socket.Get());
        }
        WriteFile(m_temp.File("sshd_config"),
                  "ListenAddress 127.0.0.1:" + std::to_string(m_usPort) + "\n" + m_strConfig);
        m_pProcess = std::make_unique<ChildProcess>(
            std::vector<std::string>{m_temp.File("sshd/sshd"), "-D", "-e", "-f",
                                     m_temp.File("sshd_config")},
            options);
        if (AwaitGreeting()) return;
    }
    throw std::runtime_error("sshd does not start:\n" + Log());
}

// Ready only when it answers as an SSH server.
bool OpenSshServer::AwaitGreeting() {
    const auto end = Clock::now() + kStartLimit;
    while (Clock::now() < end && m_pProcess->IsRunning()) {
        const CHandle socket = ConnectLoopback(m_usPort);
        char greeting[4] = {};
        if (socket.IsOpen() && WaitReadable(socket.Get(), Millis(1000)) &&
            ::read(socket.Get(), greeting, sizeof greeting) == 4)
            return std::string(greeting, 4) == "SSH-";
        std::this_thread::sleep_for(Millis(20));
    }
    return false;
}

std::string OpenSshServer::HostKey(const std::string& strType) const {
    std::ifstream file(m_temp.File("host_" + strType + ".pub"));
    std::string strName;
    std::string strBlob;
    file >> strName >> strBlob;
    return strName + " " + strBlob;
}

std::string OpenSshServer::AuthorizedKey(const std::string& strType,
                                         const std::string& strPassphrase,
                                         const std::string& strFormat) {
    const std::string strPath = m_temp.File("user_key_" + std::to_string(m_nKeys++));
    std::vector<std::string> options = TypeOptions(strType);
    if (!strFormat.empty()) options.insert(options.end(), {"-m", strFormat});
    MakeKey(options, strPath, strPassphrase);
    std::ofstream keys(m_temp.File("authorized_keys"), std::ios::app);
    keys << ReadFile(strPath + ".pub");
    return strPath;
}

void OpenSshServer::Kill() {
    m_pProcess->KillTree();
}

std::string OpenSshServer::Log() const {
    return ReadFile(m_temp.File("sshd.log"));
}

std::string OpenSshServer::LogOfRefusedConnection() const {
    const auto end = Clock::now() + kStartLimit;
    while (Clock::now() < end) {
        const std::string strLog = Log();
        if (strLog.find("[preauth]") != std::string::npos) return strLog;
        std::this_thread::sleep_for(Millis(5));
    }
    throw std::runtime_error("no connection has ended:\n" + Log());
}

}  // namespace TestSupport
