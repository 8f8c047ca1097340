#ifndef QEL_TOOLS_TREEPLAN_H
#define QEL_TOOLS_TREEPLAN_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "tools/failure.h"
#include "tools/reopening.h"
#include "tools/session.h"
#include "tools/tree.h"

namespace qelftp {

struct STreeRules {
    bool bRecursive = true;
    bool bForce = false;   // move also what does not differ
    bool bDelete = false;  // find what the source has not
    // Which entries of the source directory itself are meant; empty: all.
    std::function<bool(const std::string& strName)> isMeant = {};
    FInterrupted interrupted = {};
    std::size_t nMaxEntries = kMaxEntries;  // of both trees; what is beyond is not gone into
    const char* pszOperation = "get";       // in failures
};

// What it takes to make one tree like another. Paths as in CTree, directories before what is in
// them.
struct STreePlan {
    struct SMove {
        std::string strPath;
        SEntry source;
    };

    std::vector<std::string> directories;  // to make; "" when the target itself is missing
    std::vector<SMove> moves;
    std::size_t nSame = 0;                // files that need not be moved
    std::vector<std::string> extraFiles;  // to delete
    std::vector<std::string> extraDirs;   //
    std::vector<SFailure> failures;       // what could not be listed, or cannot be moved
    std::vector<std::string> skipped;     // one line each: what is left out, and why
    std::size_t nMeant = 0;               // entries of the source directory that were meant
};

// Whether a file is to be moved: its size is another one or not known, or the source is newer by
// the time that the coarser of the two listings cannot tell apart, or more. A time that is not
// known is not looked at.
bool Differs(const SEntry& source, const SEntry& target);

// Compares the trees, directory by directory; moves and changes nothing. Links in the source that
// lead to files count as these, other links are skipped. A link in the target is in the way of
// what the source has under its name. Throws nothing but what the interruption makes of it: a
// directory that cannot be listed is a failure of the plan, and what is below it is left alone.
STreePlan PlanTree(CTree& source, CTree& target, const STreeRules& rules);

}  // namespace qelftp

#endif
