#ifndef QEL_TOOLS_CONFIRM_H
#define QEL_TOOLS_CONFIRM_H

#include <optional>
#include <string>

namespace qelftp {

// Asks on the controlling terminal, wherever standard input and output lead. Only "y" and "yes" are
// a yes. Empty when there is no terminal.
std::optional<bool> Confirm(const std::string& strQuestion);

}  // namespace qelftp

#endif
