#ifndef QEL_TOOLS_LOCALCHECK_H
#define QEL_TOOLS_LOCALCHECK_H

#include <string>
#include <vector>

#include "tools/session.h"

namespace qelftp {

// 0 for a directory; else ENOTDIR, or why the path cannot be looked at.
int DirectoryErrno(const std::string& strPath);

// Whether the local side of a batch can work, asked before anything is sent: a server creates its
// file before the local one is opened, and a failed batch has moved files already. Local paths are
// in the local encoding. Throws COperationError that names every file in the way.
void CheckSources(const std::vector<STransfer>& batch);  // exist, are plain files, can be read
void CheckTargets(const std::vector<STransfer>& batch);  // can be written, or created

}  // namespace qelftp

#endif
