#ifndef QEL_TOOLS_FTPCHECK_H
#define QEL_TOOLS_FTPCHECK_H

#include "tools/checkreport.h"
#include "tools/session.h"

namespace qelftp {

// A session of the library with its defaults, from greeting to QUIT. Nothing is changed on the
// server. bVerbose: the dialogue is shown on standard error, too.
CheckSteps CheckFtpServer(const SConnection& connection, bool bVerbose);

}  // namespace qelftp

#endif
