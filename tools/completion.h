#ifndef QEL_TOOLS_COMPLETION_H
#define QEL_TOOLS_COMPLETION_H

#include <string>

namespace qelftp {

// What the shells read to complete a command line: commands, options, local files.
std::string BashCompletion();
std::string ZshCompletion();

}  // namespace qelftp

#endif
