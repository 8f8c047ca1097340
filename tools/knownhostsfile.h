#ifndef QEL_TOOLS_KNOWNHOSTSFILE_H
#define QEL_TOOLS_KNOWNHOSTSFILE_H

#include <string>

#include "tools/knownhosts.h"

namespace qelftp {

// ~/.ssh/known_hosts, below $HOME or else the directory of the password database. Throws
// COperationError when there is neither.
std::string DefaultKnownHostsPath();

// Empty when there is no such file. Throws COperationError when it cannot be read.
CKnownHosts ReadKnownHosts(const std::string& strPath);

// Appends a host's key unless the file has one of it by now, and returns what the file then says of
// the key. Locked against other runs of this program. A missing file is made with mode 0600, and
// its directory, but not those above, with mode 0700. Throws COperationError.
SHostKeyVerdict RecordHostKey(const std::string& strPath, const std::string& strHost,
                              unsigned int uPort, const SPublicKey& key);

}  // namespace qelftp

#endif
