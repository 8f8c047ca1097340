#ifndef QEL_TOOLS_SCHEMES_H
#define QEL_TOOLS_SCHEMES_H

#include <memory>
#include <string>

#include "tools/session.h"

namespace qelftp {

// One row per kind of server.
struct SScheme {
    const char* pszName;  // as in a URL, lower case
    unsigned short usDefaultPort;
    std::string (*pDefaultUser)();  // of a URL without one; UTF-8
    bool bKeys;                     // takes a private key in place of a password
    // Logs in. Throws COperationError.
    std::unique_ptr<CSession> (*pOpen)(const SConnection& connection);
};

// Null when no row has the name.
const SScheme* FindScheme(const std::string& strName);

// "ftp://", for messages; several are separated by commas.
std::string SupportedSchemes();

}  // namespace qelftp

#endif
