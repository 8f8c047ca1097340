#include "tests/fault/sidebyside.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <list>
#include <system_error>

#include "tests/support/sockets.h"

namespace FaultTest {

using namespace TestSupport;

namespace {

constexpr std::size_t kMostAsleep = 24;
constexpr std::size_t kMostAwake = 3;
constexpr Millis kApart{10};       // between two starts, so that they do not all log in at once
constexpr Millis kTooLong{60000};  // on top of a job's own wait

struct SChild {
    SJob job;
    pid_t nProcess = -1;
    CHandle output;
    std::string strOutput;
    Clock::time_point limit;
};

[[noreturn]] void Work(const SJob& job, int fdOutput, pid_t nParent) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != nParent) ::_exit(2);
    ::dup2(fdOutput, 2);  // what a sanitizer has to say
    std::string strWrong;
    try {
        strWrong = job.work();
    } catch (const std::exception& failure) {
        strWrong = std::string("thrown: ") + failure.what() + "\n";
    }
    for (std::size_t nWritten = 0; nWritten < strWrong.size();) {
        const ssize_t n = ::write(fdOutput, strWrong.data() + nWritten, strWrong.size() - nWritten);
        if (n <= 0) break;
        nWritten += static_cast<std::size_t>(n);
    }
    // Nothing of the parent's is destroyed here, the server least of all.
    ::_exit(strWrong.empty() ? 0 : 1);
}

SChild Start(SJob job) {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    SChild child;
    child.output = CHandle(ends[0]);
    const CHandle writing(ends[1]);
    child.job = std::move(job);
    child.limit = Clock::now() + child.job.waits + kTooLong;
    std::fflush(nullptr);
    const pid_t nParent = ::getpid();
    child.nProcess = ::fork();
    if (child.nProcess == -1) throw std::system_error(errno, std::generic_category(), "fork");
    if (child.nProcess == 0) Work(child.job, writing.Get(), nParent);
    return child;
}

// True when there will be no more.
bool ReadOutput(SChild& child) {
    char block[4096];
    const ssize_t nRead = ::read(child.output.Get(), block, sizeof block);
    if (nRead > 0) child.strOutput.append(block, static_cast<std::size_t>(nRead));
    return nRead == 0;
}

SOutcome End(SChild& child, bool bTooLong) {
    if (bTooLong) ::kill(child.nProcess, SIGKILL);
    int nStatus = 0;
    while (::waitpid(child.nProcess, &nStatus, 0) == -1 && errno == EINTR) {
    }
    SOutcome outcome{child.job.strName, ""};
    if (bTooLong) {
        outcome.strWrong = "it did not end\n";
    } else if (WIFSIGNALED(nStatus)) {
        outcome.strWrong = "signal " + std::to_string(WTERMSIG(nStatus)) + " ended it\n";
    } else if (WEXITSTATUS(nStatus) != 0) {
        outcome.strWrong = "exit code " + std::to_string(WEXITSTATUS(nStatus)) + "\n";
    }
    if (!outcome.strWrong.empty()) outcome.strWrong += child.strOutput;
    return outcome;
}

// Two queues: those who wait leave the processors to those who work.
class CSchedule {
public:
    explicit CSchedule(std::vector<SJob> jobs) {
        std::stable_sort(jobs.begin(), jobs.end(),
                         [](const SJob& a, const SJob& b) { return a.waits > b.waits; });
        for (SJob& job : jobs)
            (job.waits.count() > 0 ? m_asleep : m_awake).push_back(std::move(job));
    }

    bool IsEmpty() const { return m_asleep.empty() && m_awake.empty(); }

    // The next that may start beside those who run, or nothing.
    bool Next(const std::list<SChild>& running, SJob& job) {
        const auto nAsleep = static_cast<std::size_t>(
            std::count_if(running.begin(), running.end(),
                          [](const SChild& child) { return child.job.waits.count() > 0; }));
        std::list<SJob>* pQueue = nullptr;
        if (!m_asleep.empty() && nAsleep < kMostAsleep) pQueue = &m_asleep;
        if (pQueue == nullptr && !m_awake.empty() && running.size() - nAsleep < kMostAwake) {
            pQueue = &m_awake;
        }
        if (pQueue == nullptr) return false;
        job = std::move(pQueue->front());
        pQueue->pop_front();
        return true;
    }

private:
    std::list<SJob> m_asleep;
    std::list<SJob> m_awake;
};

void WaitForAny(const std::list<SChild>& running, Millis limit) {
    std::vector<pollfd> waited;
    for (const SChild& child : running)
        waited.push_back({child.output.Get(), POLLIN, 0});
    ::poll(waited.data(), waited.size(), static_cast<int>(limit.count()));
}

}  // namespace

std::vector<SOutcome> RunSideBySide(std::vector<SJob> jobs) {
    CSchedule schedule(std::move(jobs));
    std::list<SChild> running;
    std::vector<SOutcome> wrong;
    while (!schedule.IsEmpty() || !running.empty()) {
        SJob job;
        if (schedule.Next(running, job)) running.push_back(Start(std::move(job)));
        WaitForAny(running, kApart);
        for (auto child = running.begin(); child != running.end();) {
            const bool bTooLong = Clock::now() > child->limit;
            const bool bReadable = WaitReadable(child->output.Get(), Millis(0));
            if (!bTooLong && !(bReadable && ReadOutput(*child))) {
                ++child;
                continue;
            }
            const SOutcome outcome = End(*child, bTooLong);
            if (!outcome.strWrong.empty()) wrong.push_back(outcome);
            child = running.erase(child);
        }
    }
    return wrong;
}

}  // namespace FaultTest
