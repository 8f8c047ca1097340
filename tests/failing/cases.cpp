#include "tests/failing/cases.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <list>
#include <stdexcept>

#include "tests/support/sockets.h"

namespace FailingTest {
namespace {

using namespace TestSupport;

constexpr std::size_t kAtOnce = 12;
constexpr Millis kLimit{60000};  // of a process that does not end by itself

#if defined(__SANITIZE_ADDRESS__)
constexpr long kAllocationStep = 8;
#else
constexpr long kAllocationStep = 1;
#endif

struct SRunning {
    std::size_t nCase;
    pid_t pid;
    CHandle pipe;
    Clock::time_point start;
};

SRunning Start(std::size_t nCase, const SCase& which,
               const std::function<SOutcome(const SCase&)>& run) {
    int fds[2];
    if (::pipe(fds) != 0) throw std::runtime_error("no pipe");
    const pid_t pid = ::fork();
    if (pid < 0) throw std::runtime_error("cannot fork");
    if (pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::close(fds[0]);
        const SOutcome outcome = run(which);
        const bool bTold = ::write(fds[1], &outcome, sizeof outcome) == sizeof outcome;
        ::_exit(bTold ? 0 : 1);
    }
    ::close(fds[1]);
    return {nCase, pid, CHandle(fds[0]), Clock::now()};
}

SResult Collect(SRunning& running, const SCase& which, bool bTooLong) {
    SResult result{which, {}, ""};
    if (bTooLong) ::kill(running.pid, SIGKILL);
    const bool bTold =
        ::read(running.pipe.Get(), &result.outcome, sizeof result.outcome) == sizeof result.outcome;
    int nStatus = 0;
    ::waitpid(running.pid, &nStatus, 0);
    if (bTooLong)
        result.strEnd = "did not end in time";
    else if (WIFSIGNALED(nStatus))
        result.strEnd = std::string("was ended by ") + ::strsignal(WTERMSIG(nStatus));
    else if (!bTold || WEXITSTATUS(nStatus) != 0)
        result.strEnd = "exited with " + std::to_string(WEXITSTATUS(nStatus));
    return result;
}

const char* Environment(const char* pszName) {
    const char* pszValue = std::getenv(pszName);
    return pszValue == nullptr ? "" : pszValue;
}

}  // namespace

std::string SCase::Name() const {
    return std::string(pFailure->pszName) + ", n = " + std::to_string(nAt);
}

std::vector<SResult> RunInProcesses(const std::vector<SCase>& cases,
                                    const std::function<SOutcome(const SCase&)>& run) {
    std::vector<SResult> results(cases.size());
    std::list<SRunning> running;
    std::size_t nNext = 0;
    while (nNext < cases.size() || !running.empty()) {
        while (nNext < cases.size() && running.size() < kAtOnce) {
            running.push_back(Start(nNext, cases[nNext], run));
            ++nNext;
        }
        std::vector<pollfd> told;
        for (const SRunning& one : running)
            told.push_back({one.pipe.Get(), POLLIN, 0});
        ::poll(told.data(), told.size(), 200);
        std::size_t i = 0;
        for (auto one = running.begin(); one != running.end(); ++i) {
            const bool bTooLong = Clock::now() - one->start > kLimit;
            if (told[i].revents == 0 && !bTooLong) {
                ++one;
                continue;
            }
            results[one->nCase] = Collect(*one, cases[one->nCase], bTooLong);
            one = running.erase(one);
        }
    }
    return results;
}

const std::vector<SFailure> kFailures = {
    {"socket_EMFILE", ECall::Socket, EMFILE, 1},
    {"socket_ENOBUFS", ECall::Socket, ENOBUFS, 1},
    {"connect_ECONNREFUSED", ECall::Connect, ECONNREFUSED, 1},
    {"connect_ENETUNREACH", ECall::Connect, ENETUNREACH, 1},
    {"connect_EINTR", ECall::Connect, EINTR, 3},
    {"poll_ENOMEM", ECall::Poll, ENOMEM, 1},
    {"poll_EINTR", ECall::Poll, EINTR, 3},
    {"receive_ECONNRESET", ECall::Receive, ECONNRESET, 1},
    {"receive_EINTR", ECall::Receive, EINTR, 3},
    {"send_EPIPE", ECall::Send, EPIPE, 1},
    {"send_ECONNRESET", ECall::Send, ECONNRESET, 1},
    {"send_EINTR", ECall::Send, EINTR, 3},
    {"fopen_EMFILE", ECall::Open, EMFILE, 1},
    {"fopen_EACCES", ECall::Open, EACCES, 1},
    {"fread_EIO", ECall::Read, EIO, 1},
    {"fwrite_ENOSPC", ECall::Write, ENOSPC, 1},
    {"fclose_EIO", ECall::Close, EIO, 1},
    {"rename_EACCES", ECall::Rename, EACCES, 1},
    {"malloc_ENOMEM", ECall::Allocate, ENOMEM, 1},
    {"dlopen", ECall::Load, 0, 1},
    {"dlsym", ECall::Symbol, 0, 1},
};

std::vector<SCase> CasesOf(const SCounts& counts) {
    const long nOnly = std::atol(Environment("QEL_FAIL_N"));
    const std::string strOnly = Environment("QEL_FAIL");
    std::vector<SCase> cases;
    for (const SFailure& failure : kFailures) {
        if (!strOnly.empty() && strOnly != failure.pszName) continue;
        const long nMade = counts.made[static_cast<std::size_t>(failure.eCall)];
        const long nStep = failure.eCall == ECall::Allocate && nOnly == 0 ? kAllocationStep : 1;
        for (long nAt = 1; nAt <= nMade; nAt += nStep)
            if (nOnly == 0 || nOnly == nAt) cases.push_back({&failure, nAt});
    }
    return cases;
}

}  // namespace FailingTest
