#ifndef QEL_FTP_REPLYASSEMBLY_H
#define QEL_FTP_REPLYASSEMBLY_H

#include <cstddef>
#include <string>

#include "src/ftp/replyclass.h"

namespace RVN_FTP_CLIENT {

// One reply (RFC 959, section 4.2) as it is put together from the pieces that the control
// connection delivers. Knows no socket and no clock. A line group is what has arrived when a piece
// ends with a line feed; only the last line of a group can end the reply, and does when its fourth
// character is a blank.
class CReplyAssembly {
public:
    static constexpr int kPieceSize = 520;  // bytes of one receive at most
    static constexpr std::size_t kMaxLineGroup =
        std::size_t{64} * 1024U;  // a hostile server's memory bound
    static constexpr std::size_t kMaxReply = std::size_t{1024} * 1024U;

    enum class EState {
        Ended,       // the piece was empty: nothing more will come
        Incomplete,  // the reply goes on
        Complete,    // Code() is that of the final line
        TooLong,     // a bound was passed
    };

    // strReply: receives every finished line group; the caller's, kept by reference.
    explicit CReplyAssembly(std::string& strReply) : m_strReply(strReply) {}

    // Whether a piece can be part of the reply: not empty, and no lone line feed at its start.
    bool IsUsable(const char* pszPiece) const;

    // Takes a piece; nReceived is what the receive returned. A zero byte ends the piece's text.
    void Append(const char* pszPiece, int nReceived);

    // What the reply has come to with the piece just appended; called once a piece. A finished line
    // group moves to the reply.
    EState Advance();

    // The text received since the last finished line group.
    const std::string& Pending() const { return m_strPending; }

    // The final line's code; kNoReplyCode until there is one, 0 when it is no number.
    unsigned int Code() const { return m_uCode; }

private:
    std::string& m_strReply;
    std::string m_strPending;
    bool m_bPieceEmpty = true;
    bool m_bLineEnded = false;
    unsigned int m_uCode = kNoReplyCode;
};

}  // namespace RVN_FTP_CLIENT

#endif
