#ifndef QEL_TOOLS_RESOLVER_H
#define QEL_TOOLS_RESOLVER_H

#include <string>

namespace qelftp {

// The dotted IPv4 address of a host name; a dotted address gives itself. The library wants it like
// that, since it compares it with the address a server announces for its data connections.
// Throws COperationError.
std::string ResolveHost(const std::string& strHost);

}  // namespace qelftp

#endif
