#ifndef QEL_TOOLS_COMMANDS_H
#define QEL_TOOLS_COMMANDS_H

#include <string>
#include <vector>

#include "tools/session.h"

namespace qelftp {

// A command line without the program's and the command's name.
struct SInvocation {
    std::vector<std::string> arguments;  // as many as the command's row allows
    SConnectOptions connect;
};

// Each throws CUsageError or COperationError; data goes to standard output.
void RunList(const SInvocation& invocation);
void RunGet(const SInvocation& invocation);
void RunPut(const SInvocation& invocation);
void RunRemove(const SInvocation& invocation);
void RunMakeDir(const SInvocation& invocation);
void RunRemoveDir(const SInvocation& invocation);
void RunExists(const SInvocation& invocation);

}  // namespace qelftp

#endif
