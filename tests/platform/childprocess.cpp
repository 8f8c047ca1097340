#include "tests/platform/childprocess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

namespace PlatformTest {
namespace {

[[noreturn]] void BecomeProgram(const std::string& strProgram, const std::string& strArgument,
                                const Environment& changes, int nErrorPipe) {
    dup2(nErrorPipe, STDERR_FILENO);
    for (const auto& [strName, value] : changes) {
        if (value)
            setenv(strName.c_str(), value->c_str(), 1);
        else
            unsetenv(strName.c_str());
    }
    execl(strProgram.c_str(), strProgram.c_str(), strArgument.c_str(), nullptr);
    _exit(127);
}

// Reads to the end. False when that does not come in time.
bool ReadAll(int nPipe, std::string& strText) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(60);
    while (Clock::now() < end) {
        pollfd readable = {nPipe, POLLIN, 0};
        if (poll(&readable, 1, 100) <= 0) continue;
        char block[4096];
        const ssize_t nRead = read(nPipe, block, sizeof(block));
        if (nRead <= 0) return true;
        strText.append(block, static_cast<std::size_t>(nRead));
    }
    return false;
}

}  // namespace

SChildResult RunChild(const std::string& strProgram, const std::string& strArgument,
                      const Environment& changes) {
    SChildResult result;
    int pipeEnds[2];
    if (pipe2(pipeEnds, O_CLOEXEC) != 0) {
        ADD_FAILURE() << "no pipe";
        return result;
    }
    const pid_t nChild = fork();
    if (nChild == 0) BecomeProgram(strProgram, strArgument, changes, pipeEnds[1]);
    close(pipeEnds[1]);
    if (nChild < 0) {
        ADD_FAILURE() << "no process";
        close(pipeEnds[0]);
        return result;
    }
    if (!ReadAll(pipeEnds[0], result.strError)) {
        ADD_FAILURE() << strProgram << " " << strArgument << " does not end";
        kill(nChild, SIGKILL);
    }
    close(pipeEnds[0]);
    int nStatus = 0;
    if (waitpid(nChild, &nStatus, 0) == nChild && WIFEXITED(nStatus))
        result.nExit = WEXITSTATUS(nStatus);
    return result;
}

}  // namespace PlatformTest
