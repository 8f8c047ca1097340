#ifndef QEL_TOOLS_TREECOMMAND_H
#define QEL_TOOLS_TREECOMMAND_H

#include "tools/commands.h"
#include "tools/transferplan.h"

namespace qelftp {

// get with -r or with patterns, put with -r, and mirror. Errors as of the commands.
void RunTreeGet(const SInvocation& invocation, const SGetArguments& arguments);
void RunTreePut(const SInvocation& invocation, const SPutArguments& arguments);
void RunTreeMirror(const SInvocation& invocation);

}  // namespace qelftp

#endif
