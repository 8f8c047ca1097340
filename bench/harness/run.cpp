// bench_run FD COMMAND...: runs it and writes wall seconds, processor seconds and peak memory in
// KiB to the descriptor FD. A small program of its own, since a process's peak memory includes that
// of whoever forked it. What it runs does not outlive it.

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

constexpr int kLookEvery = 20;  // ms

double Seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// KiB; 0 of a process that has ended.
long PeakOf(const std::filesystem::path& process) {
    std::ifstream status(process / "status");
    std::string strWord;
    long nPeak = 0;
    while (status >> strWord) {
        if (strWord == "VmHWM:" && status >> nPeak) break;
    }
    return nPeak;
}

// What the process and all below it that live now have taken at most, added up: the kernel's own
// figure is that of the largest of them.
long PeakOfTree(pid_t nProcess) {
    const std::filesystem::path process = "/proc/" + std::to_string(nProcess);
    long nPeak = PeakOf(process);
    std::error_code error;
    for (std::filesystem::directory_iterator task(process / "task", error), end;
         !error && task != end; task.increment(error)) {
        std::ifstream children(task->path() / "children");
        for (pid_t nChild = 0; children >> nChild;)
            nPeak += PeakOfTree(nChild);
    }
    return nPeak;
}

// Until it ends; returns the most that PeakOfTree told.
long Watch(pid_t nProcess) {
    pollfd end = {static_cast<int>(::syscall(SYS_pidfd_open, nProcess, 0)), POLLIN, 0};
    if (end.fd == -1) return 0;
    long nPeak = 0;
    while (::poll(&end, 1, kLookEvery) == 0)
        nPeak = std::max(nPeak, PeakOfTree(nProcess));
    ::close(end.fd);
    return nPeak;
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
    if (nChild == -1) return 1;
    const long nPeak = Watch(nChild);
    int nStatus = 0;
    rusage usage = {};
    if (::wait4(nChild, &nStatus, 0, &usage) != nChild) return 1;
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    ::dprintf(nFigures, "%.6f %.6f %ld\n", wall.count(),
              Seconds(usage.ru_utime) + Seconds(usage.ru_stime), std::max(nPeak, usage.ru_maxrss));
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 1;
}
