#ifndef QEL_TOOLS_LOCALTREE_H
#define QEL_TOOLS_LOCALTREE_H

#include <string>

#include "tools/tree.h"

namespace qelftp {

// A local directory. Links in it are never followed, neither to list nor to make what is below
// them.
class CLocalTree : public CTree {
public:
    // pszOperation: in failures.
    CLocalTree(std::string strRoot, const char* pszOperation)
        : m_strRoot(std::move(strRoot)), m_pszOperation(pszOperation) {}

    std::vector<SEntry> List(const std::string& strDir) override;
    std::optional<SEntry> Behind(const std::string& strLink) override;
    bool Exists() override;
    void MakeDir(const std::string& strDir) override;
    void RemoveFile(const std::string& strFile) override;
    void RemoveDir(const std::string& strDir) override;
    std::string Path(const std::string& strPath) const override;
    std::string NameRefusal(const std::string& strName) const override;

private:
    [[noreturn]] void Fail(const std::string& strPath, int nErrno) const;

    std::string m_strRoot;
    const char* m_pszOperation;
};

}  // namespace qelftp

#endif
