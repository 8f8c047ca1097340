#ifndef QEL_TOOLS_REMOTETREE_H
#define QEL_TOOLS_REMOTETREE_H

#include <string>

#include "tools/reopening.h"
#include "tools/tree.h"

namespace qelftp {

// A directory on a server. Names that are no UTF-8 there keep their bytes.
class CRemoteTree : public CTree {
public:
    // strRoot: a normal path in UTF-8. The session must outlive the tree.
    CRemoteTree(std::string strRoot, CReopeningSession& session)
        : m_strRoot(std::move(strRoot)), m_session(session) {}

    std::vector<SEntry> List(const std::string& strDir) override;
    std::optional<SEntry> Behind(const std::string& strLink) override;
    bool Exists() override;
    void MakeDir(const std::string& strDir) override;
    void RemoveFile(const std::string& strFile) override;
    void RemoveDir(const std::string& strDir) override;
    std::string Path(const std::string& strPath) const override;
    std::string NameRefusal(const std::string& strName) const override;

private:
    std::string m_strRoot;
    CReopeningSession& m_session;
};

}  // namespace qelftp

#endif
