#ifndef QEL_TOOLS_PROGRESSREPORT_H
#define QEL_TOOLS_PROGRESSREPORT_H

#include <functional>
#include <mutex>
#include <string>

#include "tools/progressstate.h"
#include "tools/transferreport.h"

namespace qelftp {

using FClock = std::function<TimePoint()>;
using FWrite = std::function<void(const std::string& strText)>;

// Keeps what is known of a run, for those that show it whenever they are told that time has passed.
class CProgressReport : public CTransferReport {
public:
    CProgressReport(FClock clock, FWrite write)
        : m_clock(std::move(clock)), m_write(std::move(write)), m_state(m_clock()) {}

    void Planned(std::size_t nFiles, unsigned long long ullBytes) final;
    void Started(std::size_t nJob, const STransfer& transfer) final;
    void Moved(std::size_t nJob, unsigned long long ullDone, unsigned long long ullTotal) final;
    void Finished(std::size_t nJob, const SFileOutcome& outcome) final;
    void Done() final;

    // To be called some eight times a second, from any thread, until Done.
    void Tick();

protected:
    // All are called by one thread at a time.
    virtual void Show(const CProgressState& state, TimePoint now) = 0;
    virtual void ShowFinished(const SFileOutcome& /*outcome*/) {}
    virtual void Clear() {}

    void Write(const std::string& strText) const { m_write(strText); }

private:
    std::mutex m_mutex;
    FClock m_clock;
    FWrite m_write;
    CProgressState m_state;
    bool m_bDone = false;
};

}  // namespace qelftp

#endif
