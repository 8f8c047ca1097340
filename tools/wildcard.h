#ifndef QEL_TOOLS_WILDCARD_H
#define QEL_TOOLS_WILDCARD_H

#include <optional>
#include <string>

namespace qelftp {

// The pattern in the last part of a URL's path, in the encoding of the text: "*", "?" and "[...]",
// as they stand there; percent-encoded they mean themselves. Empty when the last part has none of
// them.
std::optional<std::string> UrlPattern(const std::string& strUrl);

// fnmatch(3) as a shell does it: a leading "." must be written.
bool MatchesPattern(const std::string& strPattern, const std::string& strName);

}  // namespace qelftp

#endif
