#ifndef QEL_FTP_REPLYCLASS_H
#define QEL_FTP_REPLYCLASS_H

#include <string>

namespace RVN_FTP_CLIENT {

// The code that stands in when no reply code could be read: service not available.
constexpr unsigned int kNoReplyCode = 421;

// Turns a failure reply into a result code: by its reply code (RFC 959, section 4.2), refined for
// some codes by the server's text, since servers report different causes under the same 501 or 550.
// replyText: all lines, line ends included; may be empty.
unsigned int ClassifyReply(unsigned int code, const std::string& replyText);

}  // namespace RVN_FTP_CLIENT

#endif
