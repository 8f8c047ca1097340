#ifndef QEL_TOOLS_TRANSFERPLAN_H
#define QEL_TOOLS_TRANSFERPLAN_H

#include <string>
#include <vector>

#include "tools/session.h"
#include "tools/url.h"

namespace qelftp {

// Which file goes where. All throw CUsageError, also when two files would become one.

struct SGetArguments {
    std::vector<SUrl> sources;   // at least one, all of one account
    std::string strLocal = ".";  // file or directory
};

// URL... [LOCAL]
SGetArguments ParseGetArguments(const std::vector<std::string>& arguments);

// bIntoDirectory: strLocal is a directory, and the files keep their names.
std::vector<STransfer> PlanGet(const SGetArguments& arguments, bool bIntoDirectory);

struct SPutArguments {
    std::vector<std::string> sources;  // at least one local path
    SUrl target;
};

// LOCAL... URL
SPutArguments ParsePutArguments(const std::vector<std::string>& arguments);

// Files keep their names when the target is a directory: it ends in "/", or there are several.
std::vector<STransfer> PlanPut(const SPutArguments& arguments);

// An argument in the local encoding as a URL.
SUrl UrlArgument(const std::string& strArgument);

}  // namespace qelftp

#endif
