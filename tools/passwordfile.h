#ifndef QEL_TOOLS_PASSWORDFILE_H
#define QEL_TOOLS_PASSWORDFILE_H

#include <string>

#include "tools/plaintext.h"

namespace qelftp {

// Appends the first line of a file, without its line end (LF or CRLF), which may be missing. The
// path may lead to a pipe. Throws CUsageError when the file cannot be read, has no line, or when
// its rights let others than its owner in.
void ReadPasswordFile(const std::string& strPath, CPlainText& password);

}  // namespace qelftp

#endif
