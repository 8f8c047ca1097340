#include "src/ftp/closingreply.h"

#include "src/ftp/replyline.h"

namespace RVN_FTP_CLIENT {

bool HoldsClosingReply(const std::string& strReply) {
    bool bPreliminarySeen = false;
    int nOpenCode = 0;  // code of the multi-line reply that we are inside of, or 0
    std::size_t nLine = 0;
    for (std::size_t nEnd = strReply.find('\n'); nEnd != std::string::npos;
         nLine = nEnd + 1, nEnd = strReply.find('\n', nLine)) {
        const int nCode = ReplyCodeAt(strReply, nLine);
        if (nCode == 0 || (nOpenCode != 0 && nCode != nOpenCode)) continue;
        const char cAfterCode = strReply[nLine + 3];  // the line feed at the latest
        if (cAfterCode == '-') {
            nOpenCode = nCode;
            continue;
        }
        if (cAfterCode != ' ') continue;
        nOpenCode = 0;
        if (nCode / 100 == 1) {
            bPreliminarySeen = true;
        } else if (bPreliminarySeen) {
            return true;
        }
    }
    return false;
}

}  // namespace RVN_FTP_CLIENT
