#ifndef QEL_FTP_REPLYLINE_H
#define QEL_FTP_REPLYLINE_H

#include <cstddef>
#include <string>

namespace RVN_FTP_CLIENT {

// The number that the three characters from nStart on give, or 0 when they are not three digits.
inline int ReplyCodeAt(const std::string& strText, std::size_t nStart) {
    if (nStart > strText.size() || strText.size() - nStart < 3) return 0;
    int nCode = 0;
    for (std::size_t i = nStart; i < nStart + 3; ++i) {
        const char c = strText[i];
        if (c < '0' || c > '9') return 0;
        nCode = nCode * 10 + (c - '0');
    }
    return nCode;
}

}  // namespace RVN_FTP_CLIENT

#endif
