#ifndef QEL_TESTS_TOOL_CHILDPROCESS_H
#define QEL_TESTS_TOOL_CHILDPROCESS_H

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/sockets.h"

namespace ToolTest {

using Arguments = std::vector<std::string>;

struct SRun {
    int nExit = 0;  // exit code; 128 + number for a signal
    std::string strOut;
    std::string strErr;
    long nPeakKiB = 0;  // of its memory; at least what this process had when it was started
};

// How a child differs from this process. Its environment is this one's, but for LC_ALL=C.UTF-8,
// without QELFTP_PASSWORD and the log's variables, and with what stands here.
struct SSurroundings {
    std::map<std::string, std::string> environment = {};
    std::string strDirectory = {};   // to run in; empty: this process's
    std::string strTerminal = {};    // its controlling terminal; empty: none
    std::string strOutputFile = {};  // instead of the pipe for standard output
};

// A child process in a session of its own, with standard output and error in pipes and nothing to
// read on standard input. Killed at the end of the object, or with this process, if it still runs.
class ChildProcess {
public:
    ChildProcess(const Arguments& command, const SSurroundings& surroundings = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t Pid() const { return m_pid; }

    // Waits for its end and gives all that it wrote. Throws when it takes longer than the limit.
    SRun Wait(TestSupport::Millis limit = TestSupport::Millis(30000));

    // The next line of its standard output, without the line end. Throws, with what it wrote on
    // standard error, when none comes.
    std::string ReadLine(TestSupport::Millis limit = TestSupport::Millis(20000));

private:
    bool Collect(TestSupport::Millis limit);

    pid_t m_pid = -1;
    TestSupport::CHandle m_out;
    TestSupport::CHandle m_err;
    SRun m_run;
};

// qelftp with the arguments, to its end.
SRun RunTool(const Arguments& arguments, const SSurroundings& surroundings = {});

// The command line of qelftp with the arguments.
Arguments ToolCommand(const Arguments& arguments);

}  // namespace ToolTest

#endif
