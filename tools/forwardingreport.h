#ifndef QEL_TOOLS_FORWARDINGREPORT_H
#define QEL_TOOLS_FORWARDINGREPORT_H

#include <memory>
#include <utility>

#include "tools/transferreport.h"

namespace qelftp {

// Tells another report all that it is told: for those that add something.
class CForwardingReport : public CTransferReport {
public:
    explicit CForwardingReport(std::unique_ptr<CTransferReport> next) : m_next(std::move(next)) {}

    void Planned(std::size_t nFiles, unsigned long long ullBytes) override {
        m_next->Planned(nFiles, ullBytes);
    }
    void Started(std::size_t nJob, const STransfer& transfer) override {
        m_next->Started(nJob, transfer);
    }
    void Moved(std::size_t nJob, unsigned long long ullDone, unsigned long long ullTotal) override {
        m_next->Moved(nJob, ullDone, ullTotal);
    }
    void Finished(std::size_t nJob, const SFileOutcome& outcome) override {
        m_next->Finished(nJob, outcome);
    }
    void Done() override { m_next->Done(); }

private:
    std::unique_ptr<CTransferReport> m_next;
};

}  // namespace qelftp

#endif
