#include "tools/progressdisplay.h"

#include <fmt/format.h>

#include <algorithm>

namespace qelftp {
namespace {

constexpr const char* kEraseLine = "\x1b[K";   // from the cursor on
constexpr const char* kEraseBelow = "\x1b[J";  // from the cursor on

}  // namespace

CProgressDisplay::CProgressDisplay(FClock clock, FWrite write, FScreen screen, bool bColour)
    : CProgressReport(std::move(clock), std::move(write)),
      m_screen(std::move(screen)),
      m_bColour(bColour) {}

void CProgressDisplay::Show(const CProgressState& state, TimePoint now) {
    if (!m_start) m_start = now;
    if (now - *m_start < kPatience) return;
    const SScreen screen = m_screen();
    std::vector<SProgress> lines = state.Running(now);
    const bool bTotal = state.Files() > 1;
    const std::size_t nRoom = screen.nRows - std::min<std::size_t>(screen.nRows, bTotal ? 2 : 1);
    if (lines.size() > nRoom) lines.resize(nRoom);
    if (bTotal) lines.push_back(state.Total(now));

    std::string strFrame = BackToStart(screen);
    m_drawn.clear();
    // The last column stays free: terminals differ in where the cursor is after it.
    const std::size_t nColumns = screen.nColumns - std::min<std::size_t>(screen.nColumns, 1);
    for (const SProgress& line : lines) {
        strFrame += ProgressLine(line, nColumns, m_bColour) + kEraseLine + "\n";
        m_drawn.push_back(nColumns);
    }
    Write(strFrame + kEraseBelow);
}

void CProgressDisplay::Clear() {
    if (m_drawn.empty()) return;
    Write(BackToStart(m_screen()) + kEraseBelow);
    m_drawn.clear();
}

// A terminal that has become narrower has broken the lines that were drawn.
std::string CProgressDisplay::BackToStart(const SScreen& screen) const {
    const std::size_t nWidth = std::max<std::size_t>(screen.nColumns, 1);
    std::size_t nRows = 0;
    for (const std::size_t nColumns : m_drawn)
        nRows += std::max<std::size_t>((nColumns + nWidth - 1) / nWidth, 1);
    return nRows == 0 ? "" : fmt::format("\r\x1b[{}A", nRows);
}

}  // namespace qelftp
