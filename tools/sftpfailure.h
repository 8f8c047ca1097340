#ifndef QEL_TOOLS_SFTPFAILURE_H
#define QEL_TOOLS_SFTPFAILURE_H

#include <string>

#include "tools/failure.h"

namespace qelftp {

// What a code of ESftpError has to tell about an operation. strSubject: a path in UTF-8, or
// host:port. strDetail: the session's own text, UTF-8, which is used where the code says too
// little.
SFailure SftpFailure(const std::string& strOperation, const std::string& strSubject, int nCode,
                     const std::string& strDetail);

}  // namespace qelftp

#endif
