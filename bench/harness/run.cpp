// bench_run FD COMMAND...: runs it and writes wall seconds, processor seconds and peak memory in
// KiB to the descriptor FD. A small program of its own, since a process's peak memory includes that
// of whoever forked it. What it runs does not outlive it.

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace {

double Seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    const int nFigures = std::atoi(argv[1]);
    ::fcntl(nFigures, F_SETFD, FD_CLOEXEC);
    const auto start = std::chrono::steady_clock::now();
    const pid_t nChild = ::fork();
    if (nChild == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::execvp(argv[2], argv + 2);
        std::perror(argv[2]);
        ::_exit(127);
    }
    int nStatus = 0;
    rusage usage = {};
    if (nChild == -1 || ::wait4(nChild, &nStatus, 0, &usage) != nChild) return 1;
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    ::dprintf(nFigures, "%.6f %.6f %ld\n", wall.count(),
              Seconds(usage.ru_utime) + Seconds(usage.ru_stime), usage.ru_maxrss);
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 1;
}
