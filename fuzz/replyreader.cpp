// Input: one digit, how often the reader tries; then what the server sends, with the marks of
// fuzz/wire.h.

#include <string>
#include <vector>

#include "fuzz/require.h"
#include "fuzz/wire.h"
#include "include/ftpresult.h"
#include "src/ftp/ftpcommand.h"
#include "src/ftp/replyclass.h"

namespace QelFuzz {
namespace {

using namespace RVN_FTP_CLIENT;

constexpr std::size_t kReceive = 520;
constexpr std::size_t kMaxPending = 64U * 1024U;
constexpr int kRetries = 2;

// The receives that the marks describe; an empty one is a receive that brings nothing.
class CReceives {
public:
    explicit CReceives(std::string_view strMarked) {
        std::string strPiece;
        const auto end = [&] {
            if (!strPiece.empty()) m_pieces.push_back(strPiece);
            strPiece.clear();
        };
        for (std::size_t n = 0; n < strMarked.size() && !m_bOver; ++n) {
            const char c = strMarked[n];
            if (c == Mark::kCut || c == Mark::kInterrupt) {
                end();
            } else if (c == Mark::kSilence) {
                end();
                m_pieces.emplace_back();
            } else if (c == Mark::kClosed || c == Mark::kReset) {
                m_bOver = true;
            } else if (c != Mark::kLiteral) {
                strPiece += c;
            } else if (++n < strMarked.size()) {
                strPiece += strMarked[n];
            }
            if (strPiece.size() == kReceive) end();
        }
        end();
    }

    std::string Next() { return m_nAt < m_pieces.size() ? m_pieces[m_nAt++] : std::string(); }

private:
    std::vector<std::string> m_pieces;
    std::size_t m_nAt = 0;
    bool m_bOver = false;
};

struct SRead {
    unsigned int uResult = 0;
    std::string strReply;
};

std::string TextUpToZero(const std::string& strPiece) {
    return strPiece.substr(0, strPiece.find('\0'));
}

bool IsUsable(const std::string& strPiece, const std::string& strPending) {
    const std::string strText = TextUpToZero(strPiece);
    return !strText.empty() && (strText[0] != '\n' || !strPending.empty());
}

// The steps of the reader, once more, over ready receives.
SRead ReadSlowly(CReceives receives, int nTries) {
    SRead read;
    std::string strPending;
    unsigned int uCode = 421;
    while (true) {
        std::string strPiece = receives.Next();
        if (!IsUsable(strPiece, strPending)) {
            if (nTries == 0) break;
            int nTried = 0;
            while (true) {
                strPiece = receives.Next();
                if (IsUsable(strPiece, strPending)) break;
                if (nTried == kRetries - 1) {
                    read.uResult = FTP_NO_REPLY;
                    return read;
                }
                if (++nTried == nTries) break;
            }
        }
        const std::string strText = TextUpToZero(strPiece);
        if (strText.empty()) break;
        strPending += strText;
        if (strPending.size() > kMaxPending) {
            read.uResult = FTP_NO_REPLY;
            return read;
        }
        if (strPiece.back() != '\n') continue;
        read.strReply += strPending;
        const std::size_t nFeed = strPending.size() < 2
                                      ? std::string::npos
                                      : strPending.rfind('\n', strPending.size() - 2);
        const std::string strLast =
            nFeed == std::string::npos ? strPending : strPending.substr(nFeed + 1);
        strPending.clear();
        if (strLast.size() <= 3 || strLast[3] != ' ') continue;
        const bool bNumber =
            strLast.substr(0, 3).find_first_not_of("0123456789") == std::string::npos;
        uCode = bNumber ? static_cast<unsigned int>(std::stoi(strLast.substr(0, 3))) : 0;
        if (uCode >= 100 && uCode < 400) return read;
        break;
    }
    read.uResult = ClassifyReply(uCode, read.strReply);
    return read;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    if (nSize == 0) return 0;
    const int nTries = pData[0] % 4;
    const std::string strMarked(TextOf(pData + 1, nSize - 1));
    CWire::Reset(nullptr);
    CFtpComand command;
    command.m_CtrlSock.set_handle(CWire::Connected(strMarked));
    SRead read;
    read.uResult = command.GetRetCode(read.strReply, nTries);
    command.CloseAll();
    RequireEqual(0, CWire::OpenHandles(), "descriptors left");

    const SRead expected = ReadSlowly(CReceives(strMarked), nTries);
    RequireEqual(expected.uResult, read.uResult, "result of the reader");
    RequireEqual(expected.strReply, read.strReply, "text of the reply");
    return 0;
}

}  // namespace QelFuzz
