#ifndef QEL_TOOLS_FTPFAILURE_H
#define QEL_TOOLS_FTPFAILURE_H

#include <string>

#include "tools/failure.h"

namespace qelftp {

// What a result code of ftpresult.h has to tell about an operation. strSubject: a path in UTF-8,
// or host:port.
SFailure FtpFailure(const std::string& strOperation, const std::string& strSubject,
                    unsigned int uCode);

}  // namespace qelftp

#endif
