#ifndef QEL_TOOLS_CREDENTIALS_H
#define QEL_TOOLS_CREDENTIALS_H

#include <string>

#include "tools/url.h"

namespace qelftp {

// The user to log in as, UTF-8: the URL's; when it names none, the login that the user's netrc file
// has for the host, else the scheme's. Throws CUsageError, see FindInUsersNetrc.
std::string AccountName(const SUrl& url);

}  // namespace qelftp

#endif
