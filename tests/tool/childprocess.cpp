#include "tests/tool/childprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

using namespace TestSupport;

namespace ToolTest {
namespace {

struct SPipe {
    CHandle read;
    CHandle write;

    SPipe() {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        read = CHandle(ends[0]);
        write = CHandle(ends[1]);
    }
};

std::vector<std::string> Environment(const SSurroundings& surroundings) {
    std::map<std::string, std::string> all;
    for (char** ppszEntry = environ; *ppszEntry != nullptr; ++ppszEntry) {
        const std::string strEntry = *ppszEntry;
        const std::size_t nEqual = strEntry.find('=');
        all[strEntry.substr(0, nEqual)] = strEntry.substr(nEqual + 1);
    }
    for (const char* pszOurs :
         {"QELFTP_PASSWORD", "QELFTP_PASSPHRASE", "QEL_LOG_LEVEL", "QEL_LOG_FILE"})
        all.erase(pszOurs);
    all["LC_ALL"] = "C.UTF-8";
    for (const auto& [strName, strValue] : surroundings.environment)
        all[strName] = strValue;

    std::vector<std::string> entries;
    for (const auto& [strName, strValue] : all)
        entries.push_back(strName + "=" + strValue);
    return entries;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& strText : texts)
        pointers.push_back(strText.data());
    pointers.push_back(nullptr);
    return pointers;
}

// Only async-signal-safe calls.
[[noreturn]] void Become(char* const* ppszCommand, char* const* ppszEnvironment,
                         const SSurroundings& surroundings, int nOut, int nErr) {
    constexpr int kNotStarted = 127;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::setsid();
    int nIn = ::open("/dev/null", O_RDONLY);
    if (!surroundings.strTerminal.empty()) {
        nIn = ::open(surroundings.strTerminal.c_str(), O_RDWR);
        if (::ioctl(nIn, TIOCSCTTY, 0) != 0) ::_exit(kNotStarted);
    }
    if (!surroundings.strOutputFile.empty()) {
        nOut = ::open(surroundings.strOutputFile.c_str(), O_WRONLY);
    }
    if (!surroundings.strDirectory.empty() && ::chdir(surroundings.strDirectory.c_str()) != 0) {
        ::_exit(kNotStarted);
    }
    ::dup2(nIn, STDIN_FILENO);
    ::dup2(nOut, STDOUT_FILENO);
    ::dup2(nErr, STDERR_FILENO);
    ::execve(ppszCommand[0], ppszCommand, ppszEnvironment);
    ::_exit(kNotStarted);
}

// Appends what can be read; returns false at the end.
bool ReadSome(int fd, std::string& strText) {
    std::array<char, 4096> piece{};
    const ssize_t nRead = ::read(fd, piece.data(), piece.size());
    if (nRead > 0) strText.append(piece.data(), static_cast<std::size_t>(nRead));
    return nRead > 0;
}

}  // namespace

ChildProcess::ChildProcess(const Arguments& command, const SSurroundings& surroundings) {
    SPipe out;
    SPipe err;
    Arguments arguments = command;
    std::vector<std::string> entries = Environment(surroundings);
    const std::vector<char*> pointers = Pointers(arguments);
    const std::vector<char*> environment = Pointers(entries);
    m_pid = ::fork();
    if (m_pid < 0) throw std::runtime_error("no process");
    if (m_pid == 0) {
        Become(pointers.data(), environment.data(), surroundings, out.write.Get(), err.write.Get());
    }
    m_out = std::move(out.read);
    m_err = std::move(err.read);
}

ChildProcess::~ChildProcess() {
    if (m_pid <= 0) return;
    ::kill(m_pid, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
}

// Returns false when the child still writes, or could, after the limit.
bool ChildProcess::Collect(Millis limit) {
    const Clock::time_point end = Clock::now() + limit;
    while (m_out.IsOpen() || m_err.IsOpen()) {
        const auto left = std::chrono::duration_cast<Millis>(end - Clock::now());
        if (left.count() <= 0) return false;
        std::array<pollfd, 2> waited{
            {{m_out.Get(), POLLIN, 0}, {m_err.Get(), POLLIN, 0}}};  // -1 is passed over
        ::poll(waited.data(), waited.size(), static_cast<int>(left.count()));
        if (waited[0].revents != 0 && !ReadSome(m_out.Get(), m_run.strOut)) m_out.Close();
        if (waited[1].revents != 0 && !ReadSome(m_err.Get(), m_run.strErr)) m_err.Close();
    }
    return true;
}

SRun ChildProcess::Wait(Millis limit) {
    if (!Collect(limit)) {
        throw std::runtime_error("the child process took too long; it wrote\n" + m_run.strOut +
                                 "and on standard error\n" + m_run.strErr);
    }
    int nStatus = 0;
    rusage usage{};
    ::wait4(m_pid, &nStatus, 0, &usage);
    m_pid = -1;
    m_run.nPeakKiB = usage.ru_maxrss;
    m_run.nExit = WIFSIGNALED(nStatus) ? 128 + WTERMSIG(nStatus) : WEXITSTATUS(nStatus);
    return m_run;
}

std::string ChildProcess::ReadLine(Millis limit) {
    while (m_run.strOut.find('\n') == std::string::npos) {
        if (WaitReadable(m_out.Get(), limit) && ReadSome(m_out.Get(), m_run.strOut)) continue;
        while (WaitReadable(m_err.Get(), Millis(1000)) && ReadSome(m_err.Get(), m_run.strErr)) {
        }
        throw std::runtime_error("no line from the child process; on standard error it wrote\n" +
                                 m_run.strErr);
    }
    const std::size_t nEnd = m_run.strOut.find('\n');
    const std::string strLine = m_run.strOut.substr(0, nEnd);
    m_run.strOut.erase(0, nEnd + 1);
    return strLine;
}

Arguments ToolCommand(const Arguments& arguments) {
    Arguments command{QELFTP_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

SRun RunTool(const Arguments& arguments, const SSurroundings& surroundings) {
    return ChildProcess(ToolCommand(arguments), surroundings).Wait();
}

}  // namespace ToolTest
