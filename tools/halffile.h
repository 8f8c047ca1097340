#ifndef QEL_TOOLS_HALFFILE_H
#define QEL_TOOLS_HALFFILE_H

#include "tools/failure.h"
#include "tools/reopening.h"
#include "tools/session.h"

namespace qelftp {

// Whether a store that failed has changed the remote file.
enum class EStoreBegan { No, Perhaps, Yes };

// Removes what a failed store left on the server. Perhaps: only a file without a byte in it, which
// is all that the server can have made of it; another one is the file as it was before. What cannot
// be removed is said in the failure's advice.
void RemoveHalfFile(const STransfer& transfer, EStoreBegan eBegan, const FOpenSession& open,
                    SFailure& failure);

}  // namespace qelftp

#endif
