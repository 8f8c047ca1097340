#include "tools/progresslines.h"

#include <fmt/format.h>

#include "platform/encoding.h"
#include "tools/visible.h"

namespace qelftp {

void CProgressLines::Show(const CProgressState& state, TimePoint now) {
    if (!m_shown) m_shown = now;
    if (now - *m_shown < kInterval) return;
    m_shown = now;
    const std::vector<SProgress> running = state.Running(now);
    if (state.Files() > 1) {
        Write(ProgressSentence(state.Total(now)) + "\n");
    } else if (!running.empty()) {
        Write(ProgressSentence(running.front()) + "\n");
    }
}

void CProgressLines::ShowFinished(const SFileOutcome& outcome) {
    if (!m_bEach || !outcome.failures.empty()) return;
    const std::string strName = ZeltGlobalUtils::UTF8TOLOC(outcome.transfer.strRemote.c_str());
    Write(fmt::format("{} {}: {} in {:.1f} s\n", outcome.bPut ? "put" : "get", VisibleText(strName),
                      SizeText(outcome.ullBytes), outcome.dSeconds));
}

}  // namespace qelftp
