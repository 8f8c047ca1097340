#ifndef QEL_TOOLS_PASSWORD_H
#define QEL_TOOLS_PASSWORD_H

#include <optional>
#include <string>

#include "platform/cipher.h"

namespace qelftp {

// The password of an account, from the first of these that has one: the first line of
// strPasswordFile, if that is named; QELFTP_PASSWORD, which is wiped from the environment whatever
// is taken; the user's netrc file; for "anonymous", one that needs no asking (RFC 1635); what the
// user types on the terminal. strUser is UTF-8.
// Throws CUsageError when there is none, when a file is refused, see ReadPasswordFile and
// FindInUsersNetrc, or when no protocol could send it.
TQ_UTIL::CcipheString ObtainPassword(const std::string& strUser, const std::string& strHost,
                                     const std::string& strPasswordFile = "");

// The same without a default and without asking; empty when there is none.
std::optional<TQ_UTIL::CcipheString> KnownPassword(const std::string& strUser,
                                                   const std::string& strHost,
                                                   const std::string& strPasswordFile = "");

// The passphrase of a private key file, in the same way from QELFTP_PASSPHRASE. Without bAsk, when
// the key needs none, the terminal is left alone, and the passphrase empty.
TQ_UTIL::CcipheString ObtainPassphrase(const std::string& strKeyFile, bool bAsk);

}  // namespace qelftp

#endif
