#ifndef QEL_TOOLS_MANUAL_H
#define QEL_TOOLS_MANUAL_H

#include <string>

namespace qelftp {

// The manual page, for man(1): macros of man(7).
std::string ManualPage();

}  // namespace qelftp

#endif
