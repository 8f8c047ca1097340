#ifndef QEL_TOOLS_ARGUMENTS_H
#define QEL_TOOLS_ARGUMENTS_H

#include "tools/commandtable.h"

namespace qelftp {

struct SRequest {
    const SCommand* pCommand = nullptr;
    SInvocation invocation;
};

// Returns false when there is nothing left to do: help or the version went to standard output.
// Throws CUsageError; the request then holds the command, if that much was clear.
bool ParseArguments(int nArguments, const char* const* ppszArguments, SRequest& request);

}  // namespace qelftp

#endif
