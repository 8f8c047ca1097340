#include "tests/server/vsftpdserver.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <random>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <thread>

#include "tests/support/sockets.h"
#include "tests/support/tempdir.h"

namespace ServerTest {
namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

constexpr uid_t kNobody = 65534;
constexpr std::uintmax_t kUsualRoom = 256U << 20U;
constexpr int kPortAttempts = 20;
constexpr std::chrono::seconds kReplyLimit{2};
constexpr std::chrono::seconds kGoneLimit{10};
constexpr std::chrono::seconds kReadyLimit{20};  // a loaded machine, not the usual 20 ms

// Later lines win over earlier ones.
constexpr const char* kCommonLines =
    "listen=YES\n"
    "listen_ipv6=NO\n"
    "background=NO\n"
    "run_as_launching_user=YES\n"
    "seccomp_sandbox=NO\n"  // its list of system calls is older than today's C library
    "isolate=NO\n"
    "isolate_network=NO\n"
    "local_enable=NO\n"
    "anonymous_enable=YES\n"
    "secure_email_list_enable=YES\n"
    "write_enable=YES\n"
    "anon_upload_enable=YES\n"
    "anon_mkdir_write_enable=YES\n"
    "anon_other_write_enable=YES\n"
    "anon_world_readable_only=NO\n"
    "anon_umask=022\n"
    "delay_failed_login=0\n"
    "pasv_enable=YES\n"
    "xferlog_enable=YES\n"
    "xferlog_std_format=NO\n";

bool IsRoot() {
    return ::geteuid() == 0;
}

[[noreturn]] void ThrowErrno(const std::string& strWhat) {
    throw std::system_error(errno, std::generic_category(), strWhat);
}

// The server's log-ins all run as this user, for whom anyone's own privileges will do.
std::string ServerUser() {
    const passwd* const pUser = ::getpwuid(IsRoot() ? kNobody : ::geteuid());
    if (pUser == nullptr) throw std::runtime_error("There is no name for the server's user.");
    return pUser->pw_name;
}

// Sends a line, if any, and tells whether the answer, which is kept, begins with a code.
bool Says(int fd, const std::string& strLine, std::string_view code, std::string& strReply) {
    if (::send(fd, strLine.data(), strLine.size(), MSG_NOSIGNAL) < 0) return false;
    strReply.clear();
    char c = 0;
    while (TestSupport::WaitReadable(fd, kReplyLimit) && ::recv(fd, &c, 1, 0) == 1 && c != '\n')
        strReply += c;
    return strReply.compare(0, code.size(), code) == 0;
}

// Not through the class under test. The password is the server's own, so that a stranger on the
// same port cannot pass for it.
bool CanLogin(unsigned short usPort, const std::string& strPassword, std::string& strReply) {
    const TestSupport::CHandle connection = TestSupport::ConnectLoopback(usPort);
    const int fd = connection.Get();
    return connection.IsOpen() && Says(fd, "", "220", strReply) &&
           Says(fd, "USER anonymous\r\n", "331", strReply) &&
           Says(fd, "PASS " + strPassword + "\r\n", "230", strReply) &&
           Says(fd, "QUIT\r\n", "221", strReply);
}

std::string RandomPassword() {
    std::random_device random;
    return "pw" + std::to_string(random()) + "-" + std::to_string(random());
}

// The child's side; only calls that are safe between fork and exec.
[[noreturn]] void BecomeServer(const char* pszHome, const char* pszLibraries, pid_t nParent,
                               int nAlive) {
    const auto fail = [](const char* pszWhat) {
        std::perror(pszWhat);
        ::_exit(127);
    };
    if (::chdir(pszHome) != 0) fail("chdir");
    const int nOutput = ::open("output", O_WRONLY | O_CREAT | O_APPEND, 0644);
    const int nInput = ::open("/dev/null", O_RDONLY);
    if (nOutput == -1 || nInput == -1) fail("open");
    ::dup2(nInput, 0);
    ::dup2(nOutput, 1);
    ::dup2(nOutput, 2);
    ::dup(nAlive);  // the copy survives the exec
    if (IsRoot() &&
        (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)) {
        fail("setuid");
    }
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != nParent) ::_exit(127);
    const char* const arguments[] = {"./vsftpd", "vsftpd.conf", nullptr};
    const char* const environment[] = {pszLibraries, nullptr};
    ::execve(arguments[0], const_cast<char* const*>(arguments),
             const_cast<char* const*>(environment));
    fail("execve vsftpd");
    ::_exit(127);
}

}  // namespace

CVsftpdServer::CVsftpdServer(const SServerOptions& options)
    : m_home(fs::temp_directory_path()),
      m_files(PlaceFor(std::max(options.uRoom, kUsualRoom))),
      m_root(options.root.empty() ? m_files.Path() / "root" : options.root),
      m_strPassword(RandomPassword()) {
    const fs::path program(QEL_TESTS_VSFTPD);
    if (!fs::exists(program / "vsftpd")) {
        throw std::runtime_error("There is no vsftpd to test against in " + program.string() +
                                 ". Build the target server_vsftpd and read what it says.");
    }
    // A copy: the build tree may lie where "nobody" has no access.
    fs::copy(program, m_home.Path(), fs::copy_options::recursive);
    fs::create_directories(m_root);

    for (int nAttempt = 0; nAttempt < kPortAttempts; ++nAttempt) {
        Configure(options);
        if (Start()) return;
    }
    throw std::runtime_error("vsftpd does not start:\n" + Log());
}

CVsftpdServer::~CVsftpdServer() {
    Stop();
}

void CVsftpdServer::Configure(const SServerOptions& options) {
    const fs::path& home = m_home.Path();
    // Free now; another process may still take it before the server does.
    m_usPort = TestSupport::PortOf(TestSupport::BindLoopback().Get());
    std::string strLines = kCommonLines;
    strLines += "listen_address=" + Host() + "\n";
    strLines += "listen_port=" + std::to_string(m_usPort) + "\n";
    strLines += "ftp_username=" + ServerUser() + "\n";  // "ftp" comes with vsftpd's package only
    strLines += "anon_root=" + m_root.string() + "\n";
    strLines += "email_password_file=" + (home / "passwords").string() + "\n";
    strLines += "vsftpd_log_file=" + (home / "log").string() + "\n";
    strLines += std::string("log_ftp_protocol=") + (options.bLogCommands ? "YES" : "NO") + "\n";
    for (const std::string& strLine : options.lines)
        strLines += strLine + "\n";
    TestSupport::WriteFile(home / "vsftpd.conf", strLines);
    TestSupport::WriteFile(home / "passwords", m_strPassword + "\n");
    Adopt(home);
    Adopt(m_files.Path());
    Adopt(m_root);
}

// False when the port was taken meanwhile.
bool CVsftpdServer::Start() {
    const std::string strHome = m_home.Path().string();
    const std::string strLibraries = "LD_LIBRARY_PATH=" + strHome + "/lib";
    const pid_t nParent = ::getpid();
    int alive[2] = {-1, -1};
    if (::pipe2(alive, O_CLOEXEC) != 0) ThrowErrno("pipe");
    m_alive = TestSupport::CHandle(alive[0]);
    const TestSupport::CHandle writing(alive[1]);
    m_nProcess = ::fork();
    if (m_nProcess == -1) ThrowErrno("fork");
    if (m_nProcess == 0) {
        BecomeServer(strHome.c_str(), strLibraries.c_str(), nParent, writing.Get());
    }

    const steady_clock::time_point limit = steady_clock::now() + kReadyLimit;
    std::string strReply;
    while (!CanLogin(m_usPort, m_strPassword, strReply)) {
        if (HasEnded() && Log().find("could not bind") != std::string::npos) return false;
        if (m_nProcess == -1 || steady_clock::now() > limit) {
            Stop();
            throw std::runtime_error("vsftpd does not let anyone in:\n" + strReply + "\n" + Log());
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

bool CVsftpdServer::HasEnded() {
    if (m_nProcess == -1 || ::waitpid(m_nProcess, nullptr, WNOHANG) == 0) return m_nProcess == -1;
    m_nProcess = -1;
    return true;
}

void CVsftpdServer::Stop() {
    if (m_nProcess == -1) return;
    ::kill(m_nProcess, SIGKILL);
    while (::waitpid(m_nProcess, nullptr, 0) == -1 && errno == EINTR) {
    }
    // The kernel kills the sessions with their listener. The pipe ends when the last one is gone.
    TestSupport::WaitReadable(m_alive.Get(), kGoneLimit);
    m_nProcess = -1;
}

void CVsftpdServer::Adopt(const fs::path& path) const {
    if (!IsRoot()) return;
    const auto own = [](const fs::path& one) {
        if (::lchown(one.c_str(), kNobody, kNobody) != 0) ThrowErrno("chown " + one.string());
    };
    own(path);
    if (!fs::is_directory(fs::symlink_status(path))) return;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path))
        own(entry.path());
}

std::string CVsftpdServer::Log() const {
    std::string strLog;
    for (const char* pszName : {"output", "log"}) {
        if (fs::exists(m_home.Path() / pszName))
            strLog += TestSupport::ReadFile(m_home.Path() / pszName);
    }
    return strLog;
}

}  // namespace ServerTest
