#ifndef QEL_FTP_CLOSINGREPLY_H
#define QEL_FTP_CLOSINGREPLY_H

#include <string>

namespace RVN_FTP_CLIENT {

// Whether the text holds a preliminary (1xx) reply and, after it, a complete final one: then the
// closing reply of the transfer came together with the preliminary one and will not come again.
// Replies may have several lines (RFC 959, section 4.2); a last line without its line end is not
// complete.
bool HoldsClosingReply(const std::string& strReply);

}  // namespace RVN_FTP_CLIENT

#endif
