#ifndef QEL_TOOLS_REMOTEPATH_H
#define QEL_TOOLS_REMOTEPATH_H

#include <string>

namespace qelftp {

// Begins with "/" and does not end with it (but for "/" itself); empty and "." levels are gone, and
// ".." removes the level before it without ever leaving the login directory (RFC 3986, section
// 5.2.4).
std::string NormalPath(const std::string& strPath);

// The level above a normal path; "/" above "/".
std::string ParentOf(const std::string& strPath);

// What follows the last separator; a backslash separates as it does in the library. Works on local
// paths, too.
std::string NameOf(const std::string& strPath);

// A path one level below a normal path.
std::string Below(const std::string& strDir, const std::string& strName);

// Whether a text can stand in a command line of the protocol: CR, LF and NUL cannot.
bool FitsOnCommandLine(const std::string& strText);

}  // namespace qelftp

#endif
