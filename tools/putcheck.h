#ifndef QEL_TOOLS_PUTCHECK_H
#define QEL_TOOLS_PUTCHECK_H

#include <cstddef>
#include <vector>

#include "tools/failure.h"
#include "tools/reopening.h"
#include "tools/transferengine.h"

namespace qelftp {

struct SWrongSize {
    std::size_t nJob;  // position among the jobs
    SFailure failure;
};

struct SPutCheck {
    std::vector<SWrongSize> wrong;
    std::vector<SFailure> failures;  // directories that could not be listed
};

// Looks, with one listing for each directory, whether stored files have the size on the server that
// they have here. Sessions that need no such check are not asked, and a file that the listing does
// not show, or shows without a size, is not judged.
SPutCheck CheckPuts(const std::vector<STransferJob>& jobs, const std::vector<SJobResult>& results,
                    CReopeningSession& session);

}  // namespace qelftp

#endif
