#ifndef QEL_TOOLS_TREE_H
#define QEL_TOOLS_TREE_H

#include <optional>
#include <string>
#include <vector>

#include "tools/session.h"

namespace qelftp {

// A directory with all that is below it, on a server or here. Paths are relative to it, without "/"
// at either end, names in the local encoding; "" is the directory itself. All operations throw
// COperationError.
class CTree {
public:
    CTree() = default;
    virtual ~CTree() = default;
    CTree(const CTree&) = delete;
    CTree& operator=(const CTree&) = delete;

    // What is neither file nor directory is listed as a link.
    virtual std::vector<SEntry> List(const std::string& strDir) = 0;

    // The file or directory that a link leads to; empty when there is none or it cannot be told.
    virtual std::optional<SEntry> Behind(const std::string& strLink) = 0;

    virtual bool Exists() = 0;  // the directory itself

    // One that exists already is no error; missing ones above "" are made, too.
    virtual void MakeDir(const std::string& strDir) = 0;
    virtual void RemoveFile(const std::string& strFile) = 0;  // or link
    virtual void RemoveDir(const std::string& strDir) = 0;    // without directories in it

    // As in STransfer: remote in UTF-8, local in the local encoding.
    virtual std::string Path(const std::string& strPath) const = 0;

    // Why no file of this tree can have the name, empty when one can.
    virtual std::string NameRefusal(const std::string& strName) const = 0;
};

inline std::string BelowTree(const std::string& strDir, const std::string& strName) {
    return strDir.empty() ? strName : strDir + "/" + strName;
}

}  // namespace qelftp

#endif
