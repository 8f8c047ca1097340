#ifndef QEL_TOOLS_URL_H
#define QEL_TOOLS_URL_H

#include <string>

namespace qelftp {

// A place on a server: scheme://user@host:port/path (RFC 3986; the path of RFC 1738, section 3.2.2,
// without its ";type="). All that follows the host is path, "?" and "#" included.
struct SUrl {
    std::string strScheme;  // one of the supported ones
    std::string strUser;    // if the URL names none: "anonymous" or, for sftp, the local user
    std::string strHost;    // name or dotted address
    unsigned short usPort = 0;
    std::string strPath;      // percent-decoded and normal, see NormalPath; "/" if there is none
    bool bDirectory = false;  // the path ends in "/" or is missing
    bool bUserNamed = false;  // strUser stands in the URL
};

// Whether a command line argument is meant as a URL: a scheme and "://".
bool LooksLikeUrl(const std::string& strText);

// Throws CUsageError. Its text repeats nothing of the URL but the scheme: the rest may hold a
// password by mistake.
SUrl ParseUrl(const std::string& strText);

// The text with what may be a password in the URLs of it replaced by "***".
std::string WithoutPasswords(const std::string& strText);

}  // namespace qelftp

#endif
