#include "tools/remotetree.h"

#include <sstream>

#include "platform/encoding.h"
#include "tools/failure.h"
#include "tools/remotepath.h"

namespace qelftp {

std::vector<SEntry> CRemoteTree::List(const std::string& strDir) {
    std::vector<SEntry> entries;
    m_session.Do([&](CSession& session) { entries = session.List(Path(strDir)); });
    return entries;
}

std::optional<SEntry> CRemoteTree::Behind(const std::string& strLink) {
    std::optional<SEntry> entry;
    m_session.Do([&](CSession& session) {
        if (session.FindFollowsLinks()) entry = session.Find(Path(strLink));
    });
    if (entry && entry->eType == EEntryType::Link) return {};
    return entry;
}

bool CRemoteTree::Exists() {
    if (m_strRoot == "/") return true;
    std::optional<SEntry> entry;
    m_session.Do([&](CSession& session) { entry = session.Find(m_strRoot); });
    if (entry && entry->eType == EEntryType::File) {
        throw COperationError({"ls", ZeltGlobalUtils::UTF8TOLOC(m_strRoot.c_str()),
                               "not a directory", std::nullopt, "", true});
    }
    return entry.has_value();
}

void CRemoteTree::MakeDir(const std::string& strDir) {
    if (Path(strDir) == "/") return;
    m_session.Do([&](CSession& session) { session.MakeDir(Path(strDir)); });
}

void CRemoteTree::RemoveFile(const std::string& strFile) {
    m_session.Do([&](CSession& session) { session.Remove(Path(strFile)); });
}

void CRemoteTree::RemoveDir(const std::string& strDir) {
    m_session.Do([&](CSession& session) { session.RemoveDir(Path(strDir)); });
}

// Name by name: one that cannot be converted must not keep the others from it.
std::string CRemoteTree::Path(const std::string& strPath) const {
    std::string strRemote = m_strRoot;
    std::istringstream names(strPath);
    std::string strName;
    while (std::getline(names, strName, '/'))
        strRemote = Below(strRemote, ZeltGlobalUtils::LOCTOUTF8(strName.c_str()));
    return strRemote;
}

std::string CRemoteTree::NameRefusal(const std::string& strName) const {
    if (!FitsOnCommandLine(strName)) return "a line end cannot be sent in a name";
    if (strName.find('\\') != std::string::npos) return "a backslash cannot be sent in a name";
    return "";
}

}  // namespace qelftp
