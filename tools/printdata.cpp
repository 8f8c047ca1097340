#include "tools/printdata.h"

#include <cerrno>
#include <cstdio>

#include "tools/failure.h"

namespace qelftp {

void PrintData(const std::string& strText) {
    const bool bWritten = std::fwrite(strText.data(), 1, strText.size(), stdout) == strText.size();
    if (bWritten && std::fflush(stdout) == 0) return;
    throw COperationError(LocalFailure("write", "standard output", errno));
}

}  // namespace qelftp
