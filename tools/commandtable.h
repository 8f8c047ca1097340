#ifndef QEL_TOOLS_COMMANDTABLE_H
#define QEL_TOOLS_COMMANDTABLE_H

#include <cstddef>

#include "tools/commands.h"

namespace qelftp {

constexpr std::size_t kNoLimit = static_cast<std::size_t>(-1);

// Groups of options that a command takes besides the common ones.
enum EOptionGroup : unsigned int {
    kNoOptions = 0,
    kTransferOptions = 1,  // how files are moved
    kTreeOptions = 2,      // -r and --force
    kDeleteOptions = 4,
    kJsonOption = 8,
};

// All there is to say about a command, in one place.
struct SCommand {
    const char* pszName;
    void (*pRun)(const SInvocation& invocation);
    std::size_t nMinArguments;
    std::size_t nMaxArguments;
    const char* pszArguments;            // as in the usage line
    const char* pszSummary;              // one line
    const char* pszDetails;              // help beyond the summary; lines of at most 80 columns
    const char* pszExamples;             // one command per line, without the indentation
    unsigned int uOptions = kNoOptions;  // of EOptionGroup
};

struct SCommandTable {
    const SCommand* pFirst;
    std::size_t nCount;

    const SCommand* begin() const { return pFirst; }
    const SCommand* end() const { return pFirst + nCount; }
};

SCommandTable Commands();

}  // namespace qelftp

#endif
