#include "fuzz/slowmatch.h"

#include <vector>

namespace QelFuzz {

bool MatchesSlowly(std::string_view strText, std::string_view strPattern, bool bStarSwallows) {
    std::vector<char> matched(strText.size() + 1, 0);  // by length of the text's prefix
    matched[0] = 1;
    for (std::size_t i = 0; i < strPattern.size(); ++i) {
        std::vector<char> next(strText.size() + 1, 0);
        if (strPattern[i] == '*') {
            bool bSwallowed = false;
            while (bStarSwallows && i + 1 < strPattern.size() &&
                   (strPattern[i + 1] == '*' || strPattern[i + 1] == '?')) {
                bSwallowed = strPattern[++i] == '?' || bSwallowed;
            }
            bool bAny = false;
            for (std::size_t n = 0; n < next.size(); ++n) {
                // Of an exhausted text a run with a '?' in it matches nothing, not even the end.
                const bool bExhausted = bSwallowed && n == strText.size();
                next[n] = bAny || (matched[n] != 0 && !bExhausted) ? 1 : 0;
                bAny = bAny || matched[n] != 0;
            }
        } else {
            for (std::size_t n = 1; n < next.size(); ++n) {
                const bool bByte = strPattern[i] == '?' || strPattern[i] == strText[n - 1];
                next[n] = matched[n - 1] != 0 && bByte ? 1 : 0;
            }
        }
        matched = next;
    }
    return matched.back() != 0;
}

}  // namespace QelFuzz
