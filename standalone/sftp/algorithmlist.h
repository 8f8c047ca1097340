#ifndef QEL_STANDALONE_SFTP_ALGORITHMLIST_H
#define QEL_STANDALONE_SFTP_ALGORITHMLIST_H

#include <cstddef>
#include <string>
#include <vector>

#include "standalone/sftp/algorithms.h"

namespace sftpwrapper {

// The names of the identifiers, in their order, each once. Those that the family does not know are
// left out and named in one log line. pIds may be null when uCount is 0.
std::vector<std::string> NamesOf(const SAlgorithmFamily& family, const int* pIds,
                                 std::size_t uCount);

// "a,b,c", as SSH and libssh write lists.
std::string Joined(const std::vector<std::string>& names);

}  // namespace sftpwrapper

#endif
