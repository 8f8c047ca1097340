#include "src/ftp/wildmatch.h"

namespace RVN_FTP_CLIENT {

int WildMatch(const char* text, const char* pattern) {
    const char* pRetryText = nullptr;     // where the most recent '*' would resume in the text,
    const char* pRetryPattern = nullptr;  // and in the pattern
    while (*text != '\0') {
        if (*pattern == '*') {
            while (*pattern == '*' || *pattern == '?')
                ++pattern;
            if (*pattern == '\0') return 1;
            pRetryText = text;
            pRetryPattern = pattern;
        } else if (*pattern != '\0' && (*pattern == '?' || *pattern == *text)) {
            ++text;
            ++pattern;
        } else if (pRetryPattern != nullptr) {
            // Going back to the most recent '*' only is enough: an earlier one could swallow
            // nothing that this one cannot.
            text = ++pRetryText;
            pattern = pRetryPattern;
        } else {
            return 0;
        }
    }
    while (*pattern == '*')
        ++pattern;
    return *pattern == '\0' ? 1 : 0;
}

int WildMatchGuarded(const char* text, const char* pattern) {
    if (text == nullptr || pattern == nullptr || *text == '\0') return 0;
    return WildMatch(text, pattern);
}

}  // namespace RVN_FTP_CLIENT
