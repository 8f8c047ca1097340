#include "tests/matrix/privateserver.h"

#include <crypt.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <thread>

#include "tests/support/sockets.h"
#include "tests/support/tempdir.h"

namespace MatrixTest {
namespace {

namespace fs = std::filesystem;
using namespace TestSupport;

constexpr int kPortAttempts = 5;
constexpr Millis kStartLimit{20000};  // a loaded machine; some 0.2 s otherwise
constexpr std::uintmax_t kRoom = 64U << 20U;

unsigned short FreePort() {
    return PortOf(BindLoopback().Get());
}

}  // namespace

CPrivateServer::CPrivateServer(const std::string& strFolder)
    : m_home(fs::temp_directory_path()), m_files(ServerTest::PlaceFor(kRoom)) {
    for (const fs::path& path : {m_home.Path(), m_files.Path()}) {
        ::chmod(path.c_str(), 0755);
        GiveToUnprivileged(path.string());
    }
    if (!strFolder.empty()) Add(strFolder);
}

// Out of the build tree, into which the server's user may not be able to look.
void CPrivateServer::Add(const std::string& strFolder) {
    const fs::path from = fs::path(QEL_TESTS_SERVERS) / strFolder;
    if (!fs::exists(from / "versions")) {
        throw std::runtime_error("There is no " + from.string() +
                                 ": build the target matrix_servers and read what it says.");
    }
    fs::copy(from, m_home.Path(),
             fs::copy_options::recursive | fs::copy_options::overwrite_existing);
}

std::string CPrivateServer::AddFile(const std::string& strPath) const {
    const std::string strCopy = Home(fs::path(strPath).filename());
    fs::copy_file(strPath, strCopy, fs::copy_options::overwrite_existing);
    ::chmod(strCopy.c_str(), 0755);
    return strCopy;
}

// The port is free when it is chosen; another program may take it before the server does.
void CPrivateServer::Start(const std::string& strGreeting) {
    for (int nAttempt = 0; nAttempt < kPortAttempts; ++nAttempt) {
        m_usPort = FreePort();
        const SStart start = Configure(m_usPort);
        SChildOptions options;
        options.environment = start.environment;
        options.environment.push_back("LD_LIBRARY_PATH=" + Home("lib"));
        options.environment.push_back("TZ=UTC");
        options.strOutputFile = Home("output");
        options.bUnprivileged = true;
        m_pProcess = std::make_unique<ChildProcess>(start.command, options);
        if (AwaitGreeting(strGreeting)) return;
    }
    throw std::runtime_error("the server does not start:\n" + Log());
}

bool CPrivateServer::AwaitGreeting(const std::string& strGreeting) const {
    const auto end = Clock::now() + kStartLimit;
    while (Clock::now() < end && m_pProcess->IsRunning()) {
        const CHandle socket = ConnectLoopback(m_usPort);
        std::string strRead(strGreeting.size(), '\0');
        if (socket.IsOpen() && WaitReadable(socket.Get(), Millis(1000)) &&
            ::read(socket.Get(), strRead.data(), strRead.size()) ==
                static_cast<ssize_t>(strRead.size()))
            return strRead == strGreeting && m_pProcess->IsRunning();
        std::this_thread::sleep_for(Millis(20));
    }
    return false;
}

void CPrivateServer::Write(const std::string& strName, const std::string& strText) const {
    WriteFile(Home(strName), strText);
    ::chmod(Home(strName).c_str(), 0600);  // proftpd takes no others
    GiveToUnprivileged(Home(strName));
}

std::string CPrivateServer::PasswordHash(const std::string& strPassword) {
    crypt_data data = {};
    const char* pszHash = ::crypt_r(strPassword.c_str(), "$5$rounds=1000$qeltest$", &data);
    if (pszHash == nullptr || *pszHash == '*') throw std::runtime_error("no password hash");
    return pszHash;
}

std::string CPrivateServer::PasswdLine() const {
    const passwd* pUser = ::getpwnam(UnprivilegedUser().c_str());
    if (pUser == nullptr) throw std::runtime_error("no user " + UnprivilegedUser());
    return User() + ":" + PasswordHash(Password()) + ":" + std::to_string(pUser->pw_uid) + ":" +
           std::to_string(pUser->pw_gid) + "::" + Root().string() + ":/bin/sh\n";
}

std::vector<std::string> CPrivateServer::PretendedRoot(const std::string& strMorePreloaded) const {
    return {"LD_PRELOAD=" + strMorePreloaded + AddFile(QEL_TESTS_UNPRIVILEGED) + ":" +
                Home("libuid_wrapper.so"),
            "UID_WRAPPER=1", "UID_WRAPPER_ROOT=1"};
}

std::string CPrivateServer::Log() const {
    std::string strLog;
    for (const char* pszName : {"output", "log"}) {
        if (fs::exists(Home(pszName))) strLog += ReadFile(Home(pszName));
    }
    return strLog;
}

}  // namespace MatrixTest
