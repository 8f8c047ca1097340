#ifndef QEL_TOOLS_CHECK_H
#define QEL_TOOLS_CHECK_H

#include "tools/commands.h"

namespace qelftp {

// Tries what the library does with a server, with the library's defaults, and prints what it found.
// Throws COperationError when the server will not work with the library.
void RunCheck(const SInvocation& invocation);

}  // namespace qelftp

#endif
