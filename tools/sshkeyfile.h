#ifndef QEL_TOOLS_SSHKEYFILE_H
#define QEL_TOOLS_SSHKEYFILE_H

#include <string>

namespace qelftp {

// Whether a private key file needs a passphrase: OpenSSH's form (PROTOCOL.key) with a cipher, PEM
// with one (RFC 1421), or PKCS #8 that says so (RFC 7468). False for what is no key at all, which
// is found out when it is used. Throws COperationError when the file cannot be read.
bool NeedsPassphrase(const std::string& strPath);

// The same for the file's content.
bool IsEncryptedKey(const std::string& strText);

}  // namespace qelftp

#endif
