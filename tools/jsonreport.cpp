#include "tools/jsonreport.h"

#include "tools/jsonlines.h"

namespace qelftp {

void CJsonReport::Finished(std::size_t nJob, const SFileOutcome& outcome) {
    CForwardingReport::Finished(nJob, outcome);
    const std::string strLine = OutcomeJson(outcome);
    const std::lock_guard lock(m_mutex);
    if (m_nErrno == 0) m_nErrno = m_write(strLine);
}

void CJsonReport::Done() {
    CForwardingReport::Done();
    const std::lock_guard lock(m_mutex);
    if (m_nErrno != 0) throw COperationError(LocalFailure("write", "standard output", m_nErrno));
}

}  // namespace qelftp
