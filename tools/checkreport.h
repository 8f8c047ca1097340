#ifndef QEL_TOOLS_CHECKREPORT_H
#define QEL_TOOLS_CHECKREPORT_H

#include <optional>
#include <string>
#include <vector>

namespace qelftp {

enum class EFinding {
    Good,
    Note,  // works, but somebody should know
    Bad,
};

// One thing looked at.
struct SCheckStep {
    std::string strName;
    EFinding eFinding = EFinding::Good;
    std::optional<double> dMillis;  // empty when there was nothing to wait for
    std::string strText;            // may hold any bytes of the server
};

using CheckSteps = std::vector<SCheckStep>;

bool AllGood(const CheckSteps& steps);  // notes included

// A line for each step: name, "ok", "note" or "FAIL", time, text as VisibleText makes it.
std::string CheckTable(const CheckSteps& steps);

// A JSON object for each step (RFC 8259), one a line and all of it ASCII:
// {"step":"login","result":"ok","ms":1.2,"text":"230 in"}; "ms" is null where there was nothing to
// wait for. Bytes of the server that are no UTF-8 become U+FFFD.
std::string CheckJson(const CheckSteps& steps);

}  // namespace qelftp

#endif
