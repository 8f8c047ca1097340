// How a transfer ends on the control connection (RFC 959, section 5.4).

#include <string>

#include "include/ftpresult.h"
#include "src/ftp/ftpcommand.h"
#include "src/ftp/replyline.h"

namespace RVN_FTP_CLIENT {
namespace {

// More marks than this before a closing reply are not worth waiting for.
constexpr int kMaxMarks = 16;

// The code that the last line begins with, 0 if none.
unsigned int LastCode(const std::string& strReply) {
    const std::size_t nLineFeed =
        strReply.size() < 2 ? std::string::npos : strReply.rfind('\n', strReply.size() - 2);
    const std::size_t nLastLine = nLineFeed == std::string::npos ? 0 : nLineFeed + 1;
    return static_cast<unsigned int>(ReplyCodeAt(strReply, nLastLine));
}

}  // namespace

// Close first: in stream mode the end of the data connection is the end of the file (RFC 959,
// section 3.4.1), and only then does the server answer.
unsigned int CFtpComand::FinishTransfer(bool bClosingSeen) {
    CloseDataSock();
    if (bClosingSeen) return FTP_OK;
    return m_Options.bVerify ? ReadClosingReply() : GetRetCode(m_nRetryTimeout);
}

unsigned int CFtpComand::EndRefused(unsigned int uRefusal, bool bClosingSeen) {
    if (m_Options.bVerify) {
        CloseDataSock();
    } else {
        FinishTransfer(bClosingSeen);
    }
    return uRefusal;
}

unsigned int CFtpComand::ReadClosingReply() {
    for (int nMark = 0; nMark < kMaxMarks; ++nMark) {
        std::string strReply;
        const unsigned int uResult = GetRetCode(strReply, m_nRetryTimeout);
        const unsigned int uCode = LastCode(strReply);
        // Where it ran out of tries, the reader answers as if it had read 421.
        if (uResult == FTP_REPLY_421 && uCode != 421) return FTP_NO_REPLY;
        if (uResult != FTP_OK || uCode / 100 != 1) return uResult;
    }
    return FTP_NO_REPLY;
}

}  // namespace RVN_FTP_CLIENT
