#ifndef QEL_FTP_WILDMATCH_H
#define QEL_FTP_WILDMATCH_H

namespace RVN_FTP_CLIENT {

// Matches a whole zero-terminated text against a whole pattern, byte by byte and case-sensitively.
// '*' stands for any run of bytes, an empty one and line ends included; '?' for exactly one byte,
// but a run of '*' and '?' that begins with '*' counts as a single '*'. Returns 1 or 0.
// Takes time in proportion to text times pattern at worst.
int WildMatch(const char* text, const char* pattern);

// The same, but 0 when either argument is null or the text is empty.
int WildMatchGuarded(const char* text, const char* pattern);

}  // namespace RVN_FTP_CLIENT

#endif
