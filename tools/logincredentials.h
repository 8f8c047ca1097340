#ifndef QEL_TOOLS_LOGINCREDENTIALS_H
#define QEL_TOOLS_LOGINCREDENTIALS_H

#include <string>

#include "tools/session.h"
#include "tools/url.h"

namespace qelftp {

// Fills in what it takes to log in to the URL's account: the user, see AccountName, and a password
// or, where the server takes keys and the connection names one, its passphrase. With a key no
// password is asked for; one that is known without asking is kept for servers that refuse the key
// or want both. strPasswordFile: see ObtainPassword.
// Throws CUsageError or COperationError.
void ObtainCredentials(const SUrl& url, SConnection& connection,
                       const std::string& strPasswordFile = "");

}  // namespace qelftp

#endif
