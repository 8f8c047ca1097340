#ifndef QEL_TOOLS_TRANSFERENGINE_H
#define QEL_TOOLS_TRANSFERENGINE_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "tools/reopening.h"
#include "tools/session.h"
#include "tools/transferreport.h"

namespace qelftp {

// One file to move.
struct STransferJob {
    STransfer transfer;
    bool bPut = false;
    std::optional<unsigned long long> ullSize =
        {};                                       // of the source as listed; looked at afterwards
    std::optional<std::int64_t> llModified = {};  // to be the target's, where that is possible
};

enum class EJobEnd { NotStarted, Done, Failed };

struct SJobResult {
    EJobEnd eEnd = EJobEnd::NotStarted;  // NotStarted: the run ended before its turn
    SFileOutcome outcome;
};

struct SEngineSetup {
    FOpenSession open;
    FOpenSession openBriefly;  // for cleaning up, when there is no time to wait for a slow server
    FInterrupted interrupted;
    CTransferReport* pReport = nullptr;
    std::size_t nSessions = 1;  // side by side
    SPatience patience;         // for each file
    bool bContinue = false;
    // A session that kept a file waiting so long is not used for another one.
    std::chrono::milliseconds slow{5000};
    // Called at the start of each thread that works here; what it gives lives as long as the
    // thread's work. May be empty.
    std::function<std::shared_ptr<void>()> enterThread = {};
};

// Moves the files, in their order as far as there is one session, and goes on after a failure. The
// results are in the order of the jobs. Every session serves one thread; after a failed, cancelled
// or slow file it is closed and another one opened.
//
// What is left of a file that could not be stored is removed from the server in a new session,
// except with bContinue; if that is not possible the failure says so. When no session can be opened
// any more, the files that are left fail with that reason.
//
// firstSession, if there is one, is used up. The caller is the main thread; the threads made here
// see no signals.
std::vector<SJobResult> RunTransfers(const std::vector<STransferJob>& jobs,
                                     const SEngineSetup& setup,
                                     std::unique_ptr<CSession> firstSession = nullptr);

}  // namespace qelftp

#endif
