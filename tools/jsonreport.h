#ifndef QEL_TOOLS_JSONREPORT_H
#define QEL_TOOLS_JSONREPORT_H

#include <functional>
#include <mutex>
#include <string>

#include "tools/forwardingreport.h"

namespace qelftp {

// Writes an object for each file that finished, see OutcomeJson. The first write that fails is the
// last one, and Done throws COperationError for it.
class CJsonReport : public CForwardingReport {
public:
    using FWriteData = std::function<int(const std::string& strText)>;  // errno, or 0

    CJsonReport(std::unique_ptr<CTransferReport> display, FWriteData write)
        : CForwardingReport(std::move(display)), m_write(std::move(write)) {}

    void Finished(std::size_t nJob, const SFileOutcome& outcome) override;
    void Done() override;

private:
    std::mutex m_mutex;
    FWriteData m_write;
    int m_nErrno = 0;
};

}  // namespace qelftp

#endif
