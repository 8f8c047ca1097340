#include "tests/sftpserver/childprocess.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <stdexcept>

namespace TestSupport {
namespace {

constexpr int kNotStarted = 127;

const passwd& Unprivileged() {
    static const passwd entry = [] {
        const passwd* pEntry = ::geteuid() == 0 ? ::getpwnam("nobody") : ::getpwuid(::geteuid());
        if (pEntry == nullptr) throw std::runtime_error("no unprivileged user on this machine");
        return *pEntry;
    }();
    return entry;
}

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (const std::string& strText : texts)
        pointers.push_back(const_cast<char*>(strText.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> Environment(const std::vector<std::string>& more) {
    std::vector<std::string> all;
    for (char** ppEntry = ::environ; *ppEntry != nullptr; ++ppEntry)
        all.emplace_back(*ppEntry);
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

pid_t Start(const std::vector<std::string>& arguments, const SChildOptions& options) {
    // Prepared before the fork: other threads may hold locks that the child would wait for.
    const std::vector<std::string> environment = Environment(options.environment);
    const std::vector<char*> argumentPointers = Pointers(arguments);
    const std::vector<char*> environmentPointers = Pointers(environment);
    const bool bDropRights = options.bUnprivileged && ::geteuid() == 0;
    const uid_t uUser = Unprivileged().pw_uid;
    const gid_t uGroup = Unprivileged().pw_gid;
    const pid_t pid = ::fork();
    if (pid != 0) return pid;
    if (!options.strOutputFile.empty()) {
        const int nFile =
            ::open(options.strOutputFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        ::dup2(nFile, STDOUT_FILENO);
        ::dup2(nFile, STDERR_FILENO);
    }
    if (bDropRights &&
        (::setgroups(0, nullptr) != 0 || ::setgid(uGroup) != 0 || ::setuid(uUser) != 0))
        ::_exit(kNotStarted);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // behind setuid, which clears it
    ::execve(argumentPointers[0], argumentPointers.data(), environmentPointers.data());
    ::_exit(kNotStarted);
}

std::vector<pid_t> Children(pid_t pid) {
    const std::string strId = std::to_string(pid);
    std::ifstream file("/proc/" + strId + "/task/" + strId + "/children");
    std::vector<pid_t> children;
    for (pid_t child = 0; file >> child;)
        children.push_back(child);
    return children;
}

void KillWithChildren(pid_t pid) {
    ::kill(pid, SIGSTOP);  // so that it starts no others meanwhile
    for (const pid_t child : Children(pid))
        KillWithChildren(child);
    ::kill(pid, SIGKILL);
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const SChildOptions& options)
    : m_pid(Start(arguments, options)) {
    if (m_pid < 0) throw std::runtime_error("cannot fork");
}

ChildProcess::~ChildProcess() {
    KillTree();
}

bool ChildProcess::IsRunning() {
    if (m_pid < 0) return false;
    if (::waitpid(m_pid, nullptr, WNOHANG) == 0) return true;
    m_pid = -1;
    return false;
}

void ChildProcess::KillTree() {
    if (m_pid < 0) return;
    KillWithChildren(m_pid);
    ::waitpid(m_pid, nullptr, 0);
    m_pid = -1;
}

int RunProgram(const std::vector<std::string>& arguments, const SChildOptions& options) {
    const pid_t pid = Start(arguments, options);
    int nStatus = 0;
    if (pid < 0 || ::waitpid(pid, &nStatus, 0) != pid || !WIFEXITED(nStatus)) return -1;
    return WEXITSTATUS(nStatus);
}

std::string UnprivilegedUser() {
    return Unprivileged().pw_name;
}

void GiveToUnprivileged(const std::string& strPath) {
    if (::geteuid() != 0) return;
    if (::chown(strPath.c_str(), Unprivileged().pw_uid, Unprivileged().pw_gid) != 0)
        throw std::runtime_error("cannot give away " + strPath);
}

}  // namespace TestSupport
