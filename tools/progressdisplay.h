#ifndef QEL_TOOLS_PROGRESSDISPLAY_H
#define QEL_TOOLS_PROGRESSDISPLAY_H

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "tools/progressreport.h"

namespace qelftp {

// The size of a terminal, in characters.
struct SScreen {
    std::size_t nColumns = 80;
    std::size_t nRows = 24;
};

using FScreen = std::function<SScreen()>;

// A terminal's display of a run that lasts: a line for each job and, for several files, one for
// all, drawn over themselves (ECMA-48). Between two drawings the cursor is below, at the start of a
// line, so that a program that ends abruptly leaves a usable terminal. A screen without room for
// all jobs has the first ones.
class CProgressDisplay : public CProgressReport {
public:
    static constexpr std::chrono::seconds kPatience{1};  // what is over before is not shown

    // screen is asked at every drawing. bColour: see ProgressLine.
    CProgressDisplay(FClock clock, FWrite write, FScreen screen, bool bColour);

private:
    void Show(const CProgressState& state, TimePoint now) override;
    void Clear() override;

    std::string BackToStart(const SScreen& screen) const;

    FScreen m_screen;
    bool m_bColour;
    std::optional<TimePoint> m_start;  // of the run
    std::vector<std::size_t> m_drawn;  // columns of the lines on the screen
};

}  // namespace qelftp

#endif
