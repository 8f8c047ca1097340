#ifndef QEL_TOOLS_OPTIONTEXT_H
#define QEL_TOOLS_OPTIONTEXT_H

#include <string>
#include <vector>

#include "tools/commandtable.h"

namespace qelftp {

// An option as help shows it.
struct SOptionText {
    std::vector<std::string> names;  // "-j", "--jobs"
    std::string strValue;            // "N (1)"; empty when it takes none
    std::string strMeaning;          // one line
};

// What can stand before a command (null), or after this one. Help is in both.
std::vector<SOptionText> OptionsOf(const SCommand* pCommand);

}  // namespace qelftp

#endif
