#ifndef QEL_TOOLS_TRANSFERPLAN_H
#define QEL_TOOLS_TRANSFERPLAN_H

#include <optional>
#include <string>
#include <vector>

#include "tools/session.h"
#include "tools/url.h"

namespace qelftp {

// Which file goes where. All throw CUsageError, also when two files would become one.

struct SGetSource {
    SUrl url;
    std::optional<std::string> strPattern;  // of the last part of the path; local encoding
};

struct SGetArguments {
    std::vector<SGetSource> sources;  // at least one, all of one account
    std::string strLocal = ".";       // file or directory

    bool HasPatterns() const;
};

// URL... [LOCAL]. bRecursive: URLs may be directories.
SGetArguments ParseGetArguments(const std::vector<std::string>& arguments, bool bRecursive = false);

// Of URLs without patterns. bIntoDirectory: strLocal is a directory, and the files keep their
// names.
std::vector<STransfer> PlanGet(const SGetArguments& arguments, bool bIntoDirectory);

struct SPutArguments {
    std::vector<std::string> sources;  // at least one local path
    SUrl target;
};

// LOCAL... URL
SPutArguments ParsePutArguments(const std::vector<std::string>& arguments);

// Files keep their names when the target is a directory: it ends in "/", or there are several.
std::vector<STransfer> PlanPut(const SPutArguments& arguments);

// "get /a -> b" or "put b -> /a", for people.
std::string TransferText(const STransfer& transfer, bool bPut);

void RefuseDuplicates(const std::vector<STransfer>& batch, std::string STransfer::*pTarget);

// An argument in the local encoding as a URL.
SUrl UrlArgument(const std::string& strArgument);

}  // namespace qelftp

#endif
