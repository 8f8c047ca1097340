#include "src/ftp/replyassembly.h"

#include "src/ftp/replyline.h"

namespace RVN_FTP_CLIENT {

bool CReplyAssembly::IsUsable(const char* pszPiece) const {
    if (pszPiece[0] == '\0') return false;
    return pszPiece[0] != '\n' || !m_strPending.empty();
}

void CReplyAssembly::Append(const char* pszPiece, int nReceived) {
    m_bPieceEmpty = pszPiece[0] == '\0';
    m_bLineEnded = nReceived > 0 && pszPiece[nReceived - 1] == '\n';
    m_strPending += pszPiece;
}

CReplyAssembly::EState CReplyAssembly::Advance() {
    if (m_bPieceEmpty) return EState::Ended;
    if (m_strPending.size() > kMaxLineGroup) return EState::TooLong;
    if (m_strReply.size() + m_strPending.size() > kMaxReply) return EState::TooLong;
    if (!m_bLineEnded) return EState::Incomplete;

    m_strReply += m_strPending;
    std::size_t nLastLine = 0;
    if (m_strPending.size() >= 2) {
        const std::size_t nLineFeed = m_strPending.rfind('\n', m_strPending.size() - 2);
        if (nLineFeed != std::string::npos) nLastLine = nLineFeed + 1;
    }
    const bool bFinal = m_strPending.size() - nLastLine > 3 && m_strPending[nLastLine + 3] == ' ';
    if (bFinal) m_uCode = static_cast<unsigned int>(ReplyCodeAt(m_strPending, nLastLine));
    m_strPending.clear();
    return bFinal ? EState::Complete : EState::Incomplete;
}

}  // namespace RVN_FTP_CLIENT
