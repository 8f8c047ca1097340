#ifndef QEL_FUZZ_SLOWMATCH_H
#define QEL_FUZZ_SLOWMATCH_H

#include <string_view>

namespace QelFuzz {

// Wildcard matching as its rules are told, without any cleverness: which prefixes of the text does
// each prefix of the pattern match?
// bStarSwallows: a run of '*' and '?' that begins with '*' counts as a single '*', as long as there
// is text left.
bool MatchesSlowly(std::string_view strText, std::string_view strPattern, bool bStarSwallows);

}  // namespace QelFuzz

#endif
