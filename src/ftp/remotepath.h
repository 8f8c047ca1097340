#ifndef QEL_FTP_REMOTEPATH_H
#define QEL_FTP_REMOTEPATH_H

#include <cstddef>
#include <string>

namespace RVN_FTP_CLIENT {

constexpr std::size_t kMaxRemotePath = 260;  // bytes, after joining to the root

// Joins a path as given by a caller to the session root: what one session does stays below its own
// root. An empty root or path is logged, and the path is then returned as given.
// The root's backslashes become "/", the path's stay; a leading separator is added if missing.
std::string addRoodDir(const std::string& path, const std::string& root);

struct SSplitPath {
    std::string strDir;  // without the separator at its end; empty when the path names no directory
    std::string strName;  // what follows the last separator
};

// Splits at the last separator, '\' counting as '/' and turned into it. "/c" has the directory "/".
SSplitPath SplitPath(const std::string& strPath);

}  // namespace RVN_FTP_CLIENT

#endif
