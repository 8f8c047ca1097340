#include "tools/transferrun.h"

#include <algorithm>
#include <cstdio>
#include <set>

#include "tools/halffile.h"
#include "tools/partnames.h"
#include "tools/putcheck.h"
#include "tools/transferreport.h"

namespace qelftp {
namespace {

constexpr int kFailed = 1;
constexpr int kSignalBase = 128;  // as shells tell a signal

void Tell(const std::string& strText) {
    (void)std::fprintf(stderr, "qelftp: %s\n", strText.c_str());
}

unsigned long long BytesOf(const std::vector<STransferJob>& jobs) {
    unsigned long long ullBytes = 0;
    for (const STransferJob& job : jobs) {
        if (!job.ullSize) return 0;  // one that is not known makes all of it not known
        ullBytes += *job.ullSize;
    }
    return ullBytes;
}

const std::string& Target(const STransferJob& job) {
    return job.bPut ? job.transfer.strRemote : job.transfer.strLocal;
}

// Positions of the jobs that can be done side by side: while "x" is moved it may be called
// "x.part", so a file that is really called so comes in a later wave.
std::vector<std::vector<std::size_t>> Waves(const std::vector<STransferJob>& jobs) {
    std::set<std::string> targets;
    for (const STransferJob& job : jobs)
        targets.insert(Target(job));
    std::vector<std::vector<std::size_t>> waves(1);
    for (std::size_t n = 0; n < jobs.size(); ++n) {
        std::size_t nWave = 0;
        std::optional<std::string> other = FileOfPart(Target(jobs[n]));
        for (; other && targets.count(*other) != 0; other = FileOfPart(*other))
            ++nWave;
        if (waves.size() <= nWave) waves.resize(nWave + 1);
        waves[nWave].push_back(n);
    }
    return waves;
}

template <typename Value>
std::vector<Value> Chosen(const std::vector<Value>& values,
                          const std::vector<std::size_t>& positions) {
    std::vector<Value> chosen;
    chosen.reserve(positions.size());
    for (const std::size_t n : positions)
        chosen.push_back(values[n]);
    return chosen;
}

}  // namespace

CTransferRun::CTransferRun(const SUrl& account, const SInvocation& invocation)
    : m_invocation(invocation),
      m_factory(account, invocation),
      m_dialogueWatch(m_factory.WatchThread()),
      m_patience{invocation.transfer.uRetries},
      m_session([this] { return m_factory.Open(); }, m_patience, Interrupted) {}

void CTransferRun::Fail(const std::vector<SFailure>& failures) {
    m_failures.insert(m_failures.end(), failures.begin(), failures.end());
}

void CTransferRun::Skip(const std::string& strLine) const {
    if (!m_invocation.report.bQuiet) Tell("skipped " + strLine);
}

SEngineSetup CTransferRun::Setup(CTransferReport& report) const {
    SEngineSetup setup;
    setup.open = [this] { return m_factory.Open(); };
    setup.openBriefly = [this] { return m_factory.OpenBriefly(); };
    setup.interrupted = Interrupted;
    setup.pReport = &report;
    setup.nSessions = m_invocation.report.nJobs;
    setup.patience = m_patience;
    setup.bContinue = m_invocation.transfer.bContinue;
    setup.slow = std::chrono::seconds(std::max<unsigned int>(m_invocation.connect.usTimeout, 1));
    setup.enterThread = [this] { return m_factory.WatchThread(); };
    return setup;
}

void CTransferRun::Move(const std::vector<STransferJob>& jobs, bool bTree) {
    if (jobs.size() != 1) m_bSummary = true;
    m_nFiles += jobs.size();
    const std::unique_ptr<CTransferReport> report = MakeReport(m_invocation.report);
    const SEngineSetup setup = Setup(*report);
    report->Planned(jobs.size(), BytesOf(jobs));
    std::vector<SJobResult> results = MoveInWaves(jobs, setup);
    if (bTree) CheckSizes(jobs, results, setup);
    report->Done();
    Count(results);
}

std::vector<SJobResult> CTransferRun::MoveInWaves(const std::vector<STransferJob>& jobs,
                                                  const SEngineSetup& setup) {
    std::vector<SJobResult> results(jobs.size());
    for (const std::vector<std::size_t>& wave : Waves(jobs)) {
        const std::vector<SJobResult> part =
            RunTransfers(Chosen(jobs, wave), setup, m_session.Release());
        for (std::size_t n = 0; n < wave.size(); ++n)
            results[wave[n]] = part[n];
    }
    return results;
}

void CTransferRun::CheckSizes(const std::vector<STransferJob>& jobs,
                              std::vector<SJobResult>& results, const SEngineSetup& setup) {
    for (unsigned int uRound = 0; !Interrupted(); ++uRound) {
        const SPutCheck check = CheckPuts(jobs, results, m_session);
        if (Interrupted()) return;
        if (check.wrong.empty() || uRound == m_patience.uRetries) {
            Fail(check.failures);
            for (const SWrongSize& wrong : check.wrong) {
                SJobResult& result = results[wrong.nJob];
                result.eEnd = EJobEnd::Failed;
                result.outcome.failures = {wrong.failure};
                RemoveHalfFile(jobs[wrong.nJob].transfer, EStoreBegan::Yes, setup.openBriefly,
                               result.outcome.failures.back());
                setup.pReport->Finished(0, result.outcome);
            }
            return;
        }
        std::vector<std::size_t> positions;
        for (const SWrongSize& wrong : check.wrong)
            positions.push_back(wrong.nJob);
        const std::vector<SJobResult> again = RunTransfers(Chosen(jobs, positions), setup);
        for (std::size_t n = 0; n < positions.size(); ++n)
            results[positions[n]] = again[n];
    }
}

void CTransferRun::Count(const std::vector<SJobResult>& results) {
    for (const SJobResult& result : results) {
        if (result.eEnd == EJobEnd::Done) ++m_nDone;
        if (result.eEnd != EJobEnd::Failed) continue;
        ++m_nFailed;
        Fail(result.outcome.failures);
    }
}

std::string CTransferRun::Summary() const {
    std::string strText = Interrupted() ? "interrupted: " : "";
    strText += std::to_string(m_nDone) + " of " + std::to_string(m_nFiles) + " files";
    if (m_nFailed != 0) strText += ", " + std::to_string(m_nFailed) + " failed";
    if (m_nSame != 0) strText += ", " + std::to_string(m_nSame) + " there already";
    if (m_nRemoved != 0) strText += ", " + std::to_string(m_nRemoved) + " removed";
    return strText;
}

void CTransferRun::End() {
    for (const SFailure& failure : m_failures)
        Tell(FailureText(failure));
    const bool bSpotless = IsSpotless();
    if (Interrupted() || (m_bSummary && (!bSpotless || !m_invocation.report.bQuiet)))
        Tell(Summary());
    if (Interrupted()) throw CEnd(kSignalBase + CInterruptWatch::Signal());
    if (!bSpotless) throw CEnd(kFailed);
}

}  // namespace qelftp
