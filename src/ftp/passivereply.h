#ifndef QEL_FTP_PASSIVEREPLY_H
#define QEL_FTP_PASSIVEREPLY_H

#include <string>

namespace RVN_FTP_CLIENT {

// The port of a reply to PASV, wherever its "h1,h2,h3,h4,p1,p2" stands: the text around the six
// numbers is free (RFC 959, section 4.1.2; RFC 1123, section 4.1.2.6). False, with the port as it
// was, when there are no six numbers of 0 to 255, or the port is 0.
bool ParsePassiveReply(const std::string& strReply, unsigned short& usPort);

}  // namespace RVN_FTP_CLIENT

#endif
