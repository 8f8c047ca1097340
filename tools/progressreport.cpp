#include "tools/progressreport.h"

#include "platform/encoding.h"

namespace qelftp {

void CProgressReport::Planned(std::size_t nFiles, unsigned long long ullBytes) {
    const std::lock_guard lock(m_mutex);
    m_state.Planned(m_clock(), nFiles, ullBytes);
}

void CProgressReport::Started(std::size_t nJob, const STransfer& transfer) {
    const std::lock_guard lock(m_mutex);
    m_state.Started(m_clock(), nJob, ZeltGlobalUtils::UTF8TOLOC(transfer.strRemote.c_str()));
}

void CProgressReport::Moved(std::size_t nJob, unsigned long long ullDone,
                            unsigned long long ullTotal) {
    const std::lock_guard lock(m_mutex);
    m_state.Moved(m_clock(), nJob, ullDone, ullTotal);
}

void CProgressReport::Finished(std::size_t nJob, const SFileOutcome& outcome) {
    const std::lock_guard lock(m_mutex);
    m_state.Finished(m_clock(), nJob, outcome.ullBytes);
    ShowFinished(outcome);
}

void CProgressReport::Done() {
    const std::lock_guard lock(m_mutex);
    if (!m_bDone) Clear();
    m_bDone = true;
}

void CProgressReport::Tick() {
    const std::lock_guard lock(m_mutex);
    if (!m_bDone) Show(m_state, m_clock());
}

}  // namespace qelftp
