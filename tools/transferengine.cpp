#include "tools/transferengine.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <thread>

#include "tools/failure.h"
#include "tools/halffile.h"
#include "tools/interrupt.h"

namespace qelftp {
namespace {

using Clock = std::chrono::steady_clock;

// The longest time between two signs of life.
class CStopwatch {
public:
    void Tick() {
        const Clock::time_point now = Clock::now();
        m_longest = std::max(m_longest, now - m_last);
        m_last = now;
    }
    Clock::duration Longest() const { return m_longest; }

private:
    Clock::time_point m_last = Clock::now();
    Clock::duration m_longest{};
};

// What the threads share: whose turn it is, and how many are left.
class CQueue {
public:
    CQueue(const std::vector<STransferJob>& jobs, std::vector<SJobResult>& results,
           std::size_t nWorkers)
        : m_jobs(jobs), m_results(results), m_nWorkers(nWorkers) {}

    // False when there is none left.
    bool Next(const STransferJob*& pJob, SJobResult*& pResult) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_nNext == m_jobs.size()) return false;
        pJob = &m_jobs[m_nNext];
        pResult = &m_results[m_nNext++];
        return true;
    }

    bool HasMore() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_nNext < m_jobs.size();
    }

    // For a thread that cannot go on. False: it is the only one left, and must see to the rest.
    bool MayLeave() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_nWorkers == 1) return false;
        --m_nWorkers;
        return true;
    }

private:
    std::mutex m_mutex;
    const std::vector<STransferJob>& m_jobs;
    std::vector<SJobResult>& m_results;
    std::size_t m_nNext = 0;
    std::size_t m_nWorkers;
};

void SetLocalTime(const std::string& strPath, std::int64_t llModified) {
    const timespec times[2] = {{0, UTIME_OMIT}, {static_cast<std::time_t>(llModified), 0}};
    // The file is whole without it, too.
    [[maybe_unused]] const int nResult = ::utimensat(AT_FDCWD, strPath.c_str(), times, 0);
}

// A server, or something between, can end a connection in the middle so that it looks like the end.
void CheckArrived(CSession& session, const STransferJob& job) {
    struct stat status {};
    const std::string& strLocal = job.transfer.strLocal;
    if (!job.ullSize || ::stat(strLocal.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return;
    const auto ullArrived = static_cast<unsigned long long>(status.st_size);
    if (ullArrived >= *job.ullSize) return;
    // Or the file is shorter now than when it was listed.
    const std::optional<SEntry> entry = session.Find(job.transfer.strRemote);
    if (entry && entry->ullSize && *entry->ullSize <= ullArrived) return;
    (void)std::remove(strLocal.c_str());
    throw COperationError(
        {"get", strLocal,
         std::to_string(ullArrived) + " of " + std::to_string(*job.ullSize) + " bytes arrived",
         std::nullopt, ""});
}

class CWorker {
public:
    CWorker(const SEngineSetup& setup, CQueue& queue, std::size_t nNumber,
            std::unique_ptr<CSession> session)
        : m_setup(setup), m_queue(queue), m_nNumber(nNumber), m_session(std::move(session)) {}

    void Run() {
        const std::shared_ptr<void> inThread =
            m_setup.enterThread ? m_setup.enterThread() : nullptr;
        const STransferJob* pJob = nullptr;
        SJobResult* pResult = nullptr;
        while (!m_setup.interrupted() && m_queue.HasMore()) {
            if (!HaveSession() && !m_setup.interrupted() && m_queue.MayLeave()) return;
            if (m_setup.interrupted() || !m_queue.Next(pJob, pResult)) break;
            Move(*pJob, *pResult);
        }
        m_session.reset();
    }

private:
    // Before a file is taken: another thread with a session can have it then.
    bool HaveSession() {
        for (unsigned int uAttempt = 1; !m_session && m_closed.empty(); ++uAttempt) {
            try {
                PauseBefore(uAttempt, m_setup.patience, m_setup.interrupted);
                if (m_setup.interrupted()) return false;
                m_session = m_setup.open();
            } catch (const COperationError& error) {
                const bool bLast = uAttempt > m_setup.patience.uRetries;
                if (bLast || error.Failures().front().bLasting) m_closed = error.Failures();
            }
        }
        return m_session != nullptr;
    }

    void Move(const STransferJob& job, SJobResult& result) {
        const Clock::time_point start = Clock::now();
        SFileOutcome& outcome = result.outcome;
        outcome.transfer = job.transfer;
        outcome.bPut = job.bPut;
        m_eBegan = EStoreBegan::No;
        m_setup.pReport->Started(m_nNumber, job.transfer);
        Attempts(job, outcome);
        if (!outcome.failures.empty() && !m_setup.bContinue) {
            RemoveHalfFile(job.transfer, m_eBegan, m_setup.openBriefly, outcome.failures.back());
        }
        result.eEnd = outcome.failures.empty() ? EJobEnd::Done : EJobEnd::Failed;
        outcome.dSeconds = std::chrono::duration<double>(Clock::now() - start).count();
        m_setup.pReport->Finished(m_nNumber, outcome);
    }

    void Attempts(const STransferJob& job, SFileOutcome& outcome) {
        outcome.failures = m_closed;
        if (!m_closed.empty()) return;
        for (unsigned int uAttempt = 1; uAttempt <= m_setup.patience.uRetries + 1; ++uAttempt) {
            PauseBefore(uAttempt, m_setup.patience, m_setup.interrupted);
            if (uAttempt > 1 && m_setup.interrupted()) return;
            outcome.uAttempts = uAttempt;
            outcome.failures = Attempt(job, outcome.ullBytes);
            if (outcome.failures.empty()) return;
            m_session.reset();
            if (m_setup.interrupted()) {
                outcome.failures = {{job.bPut ? "put" : "get",
                                     job.bPut ? job.transfer.strLocal : job.transfer.strRemote,
                                     "interrupted", std::nullopt, ""}};
                return;
            }
            if (outcome.failures.front().bLasting) return;
        }
    }

    std::vector<SFailure> Attempt(const STransferJob& job, unsigned long long& ullBytes) {
        CStopwatch stopwatch;
        bool bMoving = false;
        bool bChangesRemote = false;
        ullBytes = 0;
        const FProgress progress = [&](unsigned long long ullDone, unsigned long long ullTotal) {
            stopwatch.Tick();
            bMoving = true;
            ullBytes = ullDone;
            if (bChangesRemote) m_eBegan = EStoreBegan::Yes;
            m_setup.pReport->Moved(m_nNumber, ullDone,
                                   ullTotal != 0 ? ullTotal : job.ullSize.value_or(0));
            return !m_setup.interrupted();
        };
        try {
            if (!m_session) m_session = m_setup.open();
            bChangesRemote = job.bPut && !m_session->PutIsWhole();
            MoveOnce(job, progress);
        } catch (const COperationError& error) {
            const bool bRefused = error.Failures().front().bLasting;
            if (bChangesRemote && !bMoving && !bRefused)
                m_eBegan = std::max(m_eBegan, EStoreBegan::Perhaps);
            return error.Failures();
        }
        stopwatch.Tick();
        if (stopwatch.Longest() > m_setup.slow) m_session.reset();
        return {};
    }

    void MoveOnce(const STransferJob& job, const FProgress& progress) {
        if (!job.bPut) {
            m_session->GetFile(job.transfer, m_setup.bContinue, progress);
            CheckArrived(*m_session, job);
            if (job.llModified) SetLocalTime(job.transfer.strLocal, *job.llModified);
            return;
        }
        m_session->PutFile(job.transfer, m_setup.bContinue, progress);
        if (!job.llModified) return;
        try {
            m_session->SetModified(job.transfer.strRemote, *job.llModified);
        } catch (const COperationError&) {
            m_session.reset();  // the file is whole without it, too
        }
    }

    const SEngineSetup& m_setup;
    CQueue& m_queue;
    const std::size_t m_nNumber;
    std::unique_ptr<CSession> m_session;
    std::vector<SFailure> m_closed;  // why there is no session, and will be none
    EStoreBegan m_eBegan = EStoreBegan::No;
};

}  // namespace

std::vector<SJobResult> RunTransfers(const std::vector<STransferJob>& jobs,
                                     const SEngineSetup& setup,
                                     std::unique_ptr<CSession> firstSession) {
    std::vector<SJobResult> results(jobs.size());
    if (jobs.empty()) return results;
    const std::size_t nWorkers = std::max<std::size_t>(1, std::min(setup.nSessions, jobs.size()));
    CQueue queue(jobs, results, nWorkers);
    std::vector<std::unique_ptr<CWorker>> workers;
    std::vector<std::thread> threads;
    workers.push_back(std::make_unique<CWorker>(setup, queue, 0, std::move(firstSession)));
    for (std::size_t n = 1; n < nWorkers; ++n)
        workers.push_back(std::make_unique<CWorker>(setup, queue, n, nullptr));
    {
        const CSignalsKeptOut keptOut;
        for (const auto& worker : workers)
            threads.emplace_back([&worker] { worker->Run(); });
    }
    for (std::thread& thread : threads)
        thread.join();
    return results;
}

}  // namespace qelftp
