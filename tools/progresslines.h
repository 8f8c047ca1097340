#ifndef QEL_TOOLS_PROGRESSLINES_H
#define QEL_TOOLS_PROGRESSLINES_H

#include <optional>

#include "tools/progressreport.h"

namespace qelftp {

// For logs and simple terminals: how far a run has come, every few seconds, and with bEach a line
// for each file that is complete.
class CProgressLines : public CProgressReport {
public:
    static constexpr std::chrono::seconds kInterval{5};

    CProgressLines(FClock clock, FWrite write, bool bEach)
        : CProgressReport(std::move(clock), std::move(write)), m_bEach(bEach) {}

private:
    void Show(const CProgressState& state, TimePoint now) override;
    void ShowFinished(const SFileOutcome& outcome) override;

    bool m_bEach;
    std::optional<TimePoint> m_shown;  // when, last
};

}  // namespace qelftp

#endif
