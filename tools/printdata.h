#ifndef QEL_TOOLS_PRINTDATA_H
#define QEL_TOOLS_PRINTDATA_H

#include <string>

namespace qelftp {

// Writes to standard output, and through to what is behind it. Throws COperationError.
void PrintData(const std::string& strText);

}  // namespace qelftp

#endif
