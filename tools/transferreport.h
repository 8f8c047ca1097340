#ifndef QEL_TOOLS_TRANSFERREPORT_H
#define QEL_TOOLS_TRANSFERREPORT_H

#include <cstddef>
#include <memory>
#include <vector>

#include "tools/failure.h"
#include "tools/session.h"

namespace qelftp {

// How one file ended.
struct SFileOutcome {
    STransfer transfer;
    bool bPut = false;
    unsigned long long ullBytes = 0;  // of the file; when it failed, what was moved of it
    double dSeconds = 0;              // all attempts together
    unsigned int uAttempts = 1;
    std::vector<SFailure> failures;  // of the last attempt; empty: all is well
};

// Is told how a run of transfers goes, and shows it. Every operation may be called from any thread.
class CTransferReport {
public:
    virtual ~CTransferReport() = default;

    // Before the first file; a total of 0 bytes is unknown.
    virtual void Planned(std::size_t nFiles, unsigned long long ullBytes) = 0;

    // Jobs count from 0, and each has one file at a time.
    virtual void Started(std::size_t nJob, const STransfer& transfer) = 0;
    virtual void Moved(std::size_t nJob, unsigned long long ullDone,
                       unsigned long long ullTotal) = 0;
    virtual void Finished(std::size_t nJob, const SFileOutcome& outcome) = 0;

    // No more of this comes; whatever is shown for the time of the run is taken away.
    virtual void Done() = 0;
};

struct SReportOptions {
    bool bQuiet = false;
    bool bVerbose = false;  // the dialogue is being shown: no display that overwrites itself
    bool bJson = false;     // one object a line on standard output for each file that finished
    std::size_t nJobs = 1;
};

std::unique_ptr<CTransferReport> MakeReport(const SReportOptions& options);

}  // namespace qelftp

#endif
