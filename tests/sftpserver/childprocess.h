#ifndef QEL_TESTS_SFTPSERVER_CHILDPROCESS_H
#define QEL_TESTS_SFTPSERVER_CHILDPROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace TestSupport {

// How a child is started.
struct SChildOptions {
    std::vector<std::string> environment;  // "NAME=value", beside the test's own
    std::string strOutputFile;             // for standard output and error; empty: the test's own
    bool bUnprivileged = false;            // as "nobody" when the test runs as root
};

// A program that ends with the object, and with the test program at the latest.
class ChildProcess {
public:
    // Throws std::runtime_error when it cannot be forked; a program that cannot be started ends
    // with status 127.
    ChildProcess(const std::vector<std::string>& arguments, const SChildOptions& options);
    ~ChildProcess();

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t Pid() const { return m_pid; }
    bool IsRunning();

    // Kills it with everything that it started.
    void KillTree();

private:
    pid_t m_pid = -1;
};

// Runs a program to its end; returns its exit status, or -1 when a signal ended it.
int RunProgram(const std::vector<std::string>& arguments, const SChildOptions& options = {});

// The user that unprivileged children run as.
std::string UnprivilegedUser();

// Gives a file or directory to that user; does nothing unless the test runs as root.
void GiveToUnprivileged(const std::string& strPath);

}  // namespace TestSupport

#endif
