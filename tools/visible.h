#ifndef QEL_TOOLS_VISIBLE_H
#define QEL_TOOLS_VISIBLE_H

#include <string>

namespace qelftp {

// A text for the terminal: bytes that are no printable character of the locale's encoding, and
// those of characters that are unseen or turn the direction of what follows, become "\x1b" and the
// like, a backslash becomes two, so that no two texts look alike and none can drive the terminal.
std::string VisibleText(const std::string& strText);

}  // namespace qelftp

#endif
