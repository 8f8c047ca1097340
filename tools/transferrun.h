#ifndef QEL_TOOLS_TRANSFERRUN_H
#define QEL_TOOLS_TRANSFERRUN_H

#include <cstddef>
#include <string>
#include <vector>

#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/interrupt.h"
#include "tools/reopening.h"
#include "tools/sessionfactory.h"
#include "tools/transferengine.h"
#include "tools/url.h"

namespace qelftp {

// One get, put or mirror with one account, from the login to the last line on standard error.
class CTransferRun {
public:
    // Obtains the password. Throws CUsageError, COperationError.
    CTransferRun(const SUrl& account, const SInvocation& invocation);

    // For the main thread's own work; not open before it is used.
    CReopeningSession& Session() { return m_session; }

    // Moves the files. bTree: as part of a tree, for which sizes are compared afterwards.
    void Move(const std::vector<STransferJob>& jobs, bool bTree);

    // For the end. A line of what was left out is shown at once, unless the run is quiet.
    void Fail(const SFailure& failure) { m_failures.push_back(failure); }
    void Fail(const std::vector<SFailure>& failures);
    void Skip(const std::string& strLine) const;
    void CountSame(std::size_t nFiles) { m_nSame += nFiles; }
    void CountRemoved() { ++m_nRemoved; }
    void WantSummary(bool bWanted = true) { m_bSummary = bWanted; }

    bool IsSpotless() const { return m_failures.empty() && m_nFailed == 0 && !Interrupted(); }
    static bool Interrupted() { return CInterruptWatch::Came(); }

    // Names all that went wrong, and sums up. Throws CEnd unless all is well.
    void End();

private:
    SEngineSetup Setup(CTransferReport& report) const;
    std::vector<SJobResult> MoveInWaves(const std::vector<STransferJob>& jobs,
                                        const SEngineSetup& setup);
    void CheckSizes(const std::vector<STransferJob>& jobs, std::vector<SJobResult>& results,
                    const SEngineSetup& setup);
    void Count(const std::vector<SJobResult>& results);
    std::string Summary() const;

    const SInvocation& m_invocation;
    CSessionFactory m_factory;
    CInterruptWatch m_interruptWatch;
    std::shared_ptr<void> m_dialogueWatch;  // of the main thread
    SPatience m_patience;
    CReopeningSession m_session;
    std::vector<SFailure> m_failures;
    std::size_t m_nFiles = 0;
    std::size_t m_nDone = 0;
    std::size_t m_nFailed = 0;
    std::size_t m_nSame = 0;
    std::size_t m_nRemoved = 0;
    bool m_bSummary = false;
};

// Runs it, and ends it: an operation that fails once the user has interrupted it has not failed.
template <typename Work>
void RunToEnd(CTransferRun& run, Work work) {
    try {
        work();
    } catch (const COperationError& error) {
        if (!CTransferRun::Interrupted()) run.Fail(error.Failures());
    }
    run.End();
}

}  // namespace qelftp

#endif
