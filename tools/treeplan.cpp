#include "tools/treeplan.h"

#include <algorithm>
#include <map>
#include <set>

#include "platform/encoding.h"
#include "tools/partnames.h"
#include "tools/safename.h"
#include "tools/visible.h"

namespace qelftp {
namespace {

constexpr int kMaxDepth = 200;  // deeper than any path can be long; a server can go on for ever

// Bytes of a path. A longer one, which a server can give to all that is deep in a tree, counts as
// so many entries more.
constexpr std::size_t kUsualPath = 256;

using Entries = std::map<std::string, SEntry>;  // by name

class CTreePlanner {
public:
    CTreePlanner(CTree& source, CTree& target, const STreeRules& rules)
        : m_source(source), m_target(target), m_rules(rules) {}

    STreePlan Plan() {
        bool bTargetThere = false;
        const bool bKnown = Try([&] { bTargetThere = m_target.Exists(); });
        if (bKnown) Compare("", bTargetThere, 0);
        return std::move(m_plan);
    }

private:
    // False, with the failure noted, when it throws.
    template <typename Work>
    bool Try(Work work) {
        try {
            work();
            return true;
        } catch (const COperationError& error) {
            const auto& failures = error.Failures();
            m_plan.failures.insert(m_plan.failures.end(), failures.begin(), failures.end());
            return false;
        }
    }

    // Of names that a server lists twice, one counts.
    bool List(CTree& tree, const std::string& strDir, Entries& entries) {
        if (m_rules.interrupted && m_rules.interrupted()) return false;
        if (m_nListed > m_rules.nMaxEntries) return false;
        return Try([&] {
            std::vector<SEntry> listed = tree.List(strDir);
            for (const SEntry& entry : listed)
                m_nListed += 1 + (strDir.size() + entry.strName.size()) / kUsualPath;
            if (m_nListed > m_rules.nMaxEntries) {
                throw COperationError({m_rules.pszOperation, tree.Path(""),
                                       "the tree has too many entries", std::nullopt, "", true});
            }
            for (SEntry& entry : listed) {
                const std::string strName = entry.strName;
                entries.emplace(strName, std::move(entry));
            }
        });
    }

    void Compare(const std::string& strDir, bool bTargetThere, int nDepth) {
        Entries sources;
        Entries targets;
        if (nDepth > kMaxDepth) return Refuse(strDir, "too many directories one below the other");
        if (!List(m_source, strDir, sources)) return;
        if (bTargetThere && !List(m_target, strDir, targets)) return;
        if (!bTargetThere) m_plan.directories.push_back(strDir);
        for (auto& [strName, entry] : sources) {
            if (nDepth == 0 && m_rules.isMeant) {
                if (!m_rules.isMeant(strName)) continue;
                ++m_plan.nMeant;
            }
            const auto existing = targets.find(strName);
            CompareEntry(BelowTree(strDir, strName), entry,
                         existing == targets.end() ? nullptr : &existing->second, nDepth);
        }
        if (!m_rules.bDelete) return;
        for (const auto& [strName, entry] : targets) {
            if (sources.count(strName) == 0) Extra(BelowTree(strDir, strName), entry, nDepth);
        }
    }

    void CompareEntry(const std::string& strPath, SEntry entry, const SEntry* pTarget, int nDepth) {
        const std::string strName = entry.strName;
        std::string strRefusal = m_target.NameRefusal(strName);
        if (strRefusal.empty()) strRefusal = m_source.NameRefusal(strName);
        if (!strRefusal.empty()) return Refuse(strPath, strRefusal);
        if (entry.eType == EEntryType::Link && !Follow(strPath, entry)) return;
        if (entry.eType == EEntryType::Directory) {
            if (!m_rules.bRecursive) return Skip(strPath, "a directory; -r takes it along");
            if (pTarget != nullptr && pTarget->eType != EEntryType::Directory)
                return InTheWay(strPath, *pTarget);
            return Compare(strPath, pTarget != nullptr, nDepth + 1);
        }
        if (pTarget != nullptr && pTarget->eType != EEntryType::File)
            return InTheWay(strPath, *pTarget);
        if (pTarget != nullptr && !m_rules.bForce && !Differs(entry, *pTarget)) {
            if (!OverwrittenByAnother(strPath)) {
                ++m_plan.nSame;
                return;
            }
        }
        m_plan.moves.push_back({strPath, std::move(entry)});
    }

    // While "x" is fetched it is called "x.part". In the order of names "x" comes first.
    bool OverwrittenByAnother(const std::string& strPath) const {
        const std::optional<std::string> other = FileOfPart(strPath);
        return other && std::any_of(m_plan.moves.begin(), m_plan.moves.end(),
                                    [&](const auto& move) { return move.strPath == *other; });
    }

    // False when there is no file to take.
    bool Follow(const std::string& strPath, SEntry& entry) {
        std::optional<SEntry> behind;
        if (!Try([&] { behind = m_source.Behind(strPath); })) return false;
        if (!behind || behind->eType != EEntryType::File) {
            Skip(strPath, behind ? "a link to a directory" : "a link, or no regular file");
            return false;
        }
        behind->strName = entry.strName;
        entry = *behind;
        return true;
    }

    void Extra(const std::string& strPath, const SEntry& entry, int nDepth) {
        // What a server calls ".." is not below the directory, whatever it says.
        if (!IsSafeName(entry.strName)) return Refuse(strPath, UnsafeNameReason(entry.strName));
        if (entry.eType != EEntryType::Directory) {
            m_plan.extraFiles.push_back(strPath);
            return;
        }
        if (nDepth > kMaxDepth) return Refuse(strPath, "too many directories one below the other");
        m_plan.extraDirs.push_back(strPath);
        Entries entries;
        if (!List(m_target, strPath, entries)) return;
        for (const auto& [strName, inside] : entries)
            Extra(BelowTree(strPath, strName), inside, nDepth + 1);
    }

    void InTheWay(const std::string& strPath, const SEntry& target) {
        switch (target.eType) {
            case EEntryType::Directory:
                return Refuse(strPath, "a directory is in the way");
            case EEntryType::Link:
                return Refuse(strPath, "a link is in the way, or a special file");
            case EEntryType::File:
                return Refuse(strPath, "a file is in the way");
        }
    }

    void Refuse(const std::string& strPath, const std::string& strReason) {
        const std::string strShown = ZeltGlobalUtils::UTF8TOLOC(m_source.Path(strPath).c_str());
        m_plan.failures.push_back(
            {m_rules.pszOperation, strShown, strReason, std::nullopt, "", true});
    }

    void Skip(const std::string& strPath, const char* pszReason) {
        const std::string strShown = ZeltGlobalUtils::UTF8TOLOC(m_source.Path(strPath).c_str());
        m_plan.skipped.push_back(VisibleText(strShown) + ": " + pszReason);
    }

    CTree& m_source;
    CTree& m_target;
    const STreeRules& m_rules;
    STreePlan m_plan;
    std::size_t m_nListed = 0;  // entries, of both trees
};

}  // namespace

bool Differs(const SEntry& source, const SEntry& target) {
    if (!source.ullSize || !target.ullSize || *source.ullSize != *target.ullSize) return true;
    if (!source.llModified || !target.llModified) return false;
    const std::int64_t llPrecision = std::max(source.uTimePrecision, target.uTimePrecision);
    return *source.llModified - *target.llModified >= std::max<std::int64_t>(llPrecision, 1);
}

STreePlan PlanTree(CTree& source, CTree& target, const STreeRules& rules) {
    return CTreePlanner(source, target, rules).Plan();
}

}  // namespace qelftp
