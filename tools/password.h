#ifndef QEL_TOOLS_PASSWORD_H
#define QEL_TOOLS_PASSWORD_H

#include <string>

#include "platform/cipher.h"

namespace qelftp {

// The password of an account: QELFTP_PASSWORD, which is wiped from the environment on the way, else
// what the user types on the terminal. "anonymous" has one without asking (RFC 1635).
// Throws CUsageError when there is neither, or when no protocol could send it.
TQ_UTIL::CcipheString ObtainPassword(const std::string& strUser, const std::string& strHost);

}  // namespace qelftp

#endif
