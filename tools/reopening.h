#ifndef QEL_TOOLS_REOPENING_H
#define QEL_TOOLS_REOPENING_H

#include <chrono>
#include <functional>
#include <memory>

#include "tools/session.h"

namespace qelftp {

// Logs in to the account of this run. Throws COperationError. Any thread.
using FOpenSession = std::function<std::unique_ptr<CSession>()>;

// Whether the user wants the run to end. Any thread.
using FInterrupted = std::function<bool()>;

// How often something is tried again.
struct SPatience {
    unsigned int uRetries = 2;
    std::chrono::milliseconds pause{200};  // before the second attempt; twice as long each time
};

// Waits before attempt uAttempt, which counts from 1: at most 2 seconds, and not at all before the
// first. Returns early when the run is to end.
void PauseBefore(unsigned int uAttempt, const SPatience& patience, const FInterrupted& interrupted);

// A session for work that may be done twice: after a failure another one is opened, since nobody
// knows what the old one still has to say, and the work is tried again.
class CReopeningSession {
public:
    CReopeningSession(FOpenSession open, SPatience patience, FInterrupted interrupted)
        : m_open(std::move(open)), m_patience(patience), m_interrupted(std::move(interrupted)) {}

    // Throws COperationError: the last attempt's, or the first lasting one.
    void Do(const std::function<void(CSession&)>& work);

    // The open session, which is then the caller's; null when there is none.
    std::unique_ptr<CSession> Release() { return std::move(m_session); }

private:
    FOpenSession m_open;
    SPatience m_patience;
    FInterrupted m_interrupted;
    std::unique_ptr<CSession> m_session;
};

}  // namespace qelftp

#endif
