#include "src/ftp/replyassembly.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace RVN_FTP_CLIENT {
namespace {

using EState = CReplyAssembly::EState;

// Feeds an assembly as the reply reader does: each piece with a zero behind it.
class CFed {
public:
    EState Feed(const std::string& strPiece) {
        EXPECT_LE(strPiece.size(), static_cast<std::size_t>(CReplyAssembly::kPieceSize));
        std::vector<char> piece(CReplyAssembly::kPieceSize + 1, '\0');
        std::copy(strPiece.begin(), strPiece.end(), piece.begin());
        m_bAllUsable = m_bAllUsable && m_assembly.IsUsable(piece.data());
        m_assembly.Append(piece.data(), static_cast<int>(strPiece.size()));
        return m_assembly.Advance();
    }

    std::string m_strReply;
    CReplyAssembly m_assembly{m_strReply};
    bool m_bAllUsable = true;
};

TEST(ReplyAssembly, GivesTheSameForPiecesOfEverySize) {
    struct SReply {
        std::string strText;
        unsigned int uCode;
    };
    const SReply replies[] = {
        {"220 Ready\r\n", 220},
        {"220 Ready\n", 220},
        {"220-Welcome\r\n220 Ready\r\n", 220},
        {"220-Welcome\r\n to\r\nus\r\n\r\n220-still\r\n220 Ready\r\n", 220},
        {"550 No such file or directory\r\n", 550},
        {"999 odd\r\n", 999},
        {"abc d\r\n", 0},
        {"230-" + std::string(1500, 'x') + "\r\n230 in\r\n", 230},
    };
    for (const SReply& reply : replies) {
        for (std::size_t nSize = 1; nSize <= CReplyAssembly::kPieceSize; ++nSize) {
            SCOPED_TRACE("pieces of " + std::to_string(nSize) +
                         " of: " + reply.strText.substr(0, 60));
            CFed fed;
            std::size_t nAt = 0;
            EState eState = EState::Incomplete;
            while (eState == EState::Incomplete && nAt < reply.strText.size()) {
                const std::string strPiece = reply.strText.substr(nAt, nSize);
                eState = fed.Feed(strPiece);
                nAt += strPiece.size();
            }
            ASSERT_EQ(eState, EState::Complete);
            ASSERT_EQ(nAt, reply.strText.size());
            ASSERT_EQ(fed.m_assembly.Code(), reply.uCode);
            ASSERT_EQ(fed.m_strReply, reply.strText);
            ASSERT_EQ(fed.m_assembly.Pending(), "");
        }
    }
}

TEST(ReplyAssembly, KeepsAnUnfinishedLinePending) {
    CFed fed;
    EXPECT_EQ(fed.Feed("530 Login incorrect."), EState::Incomplete);
    EXPECT_EQ(fed.m_assembly.Pending(), "530 Login incorrect.");
    EXPECT_EQ(fed.m_strReply, "");
    EXPECT_EQ(fed.m_assembly.Code(), kNoReplyCode);

    EXPECT_EQ(fed.Feed("\r\n"), EState::Complete);
    EXPECT_EQ(fed.m_assembly.Code(), 530U);
    EXPECT_EQ(fed.m_strReply, "530 Login incorrect.\r\n");
}

TEST(ReplyAssembly, GoesOnAfterAnEmptyLine) {
    for (const char* pszGroup : {"226 sent\n\n", "226 sent\r\n\n", "226 sent\r\n\r\n"}) {
        SCOPED_TRACE(pszGroup);
        CFed fed;
        EXPECT_EQ(fed.Feed(pszGroup), EState::Incomplete);
        EXPECT_EQ(fed.m_assembly.Code(), kNoReplyCode);
        EXPECT_EQ(fed.m_strReply, pszGroup);
    }
}

TEST(ReplyAssembly, LooksAtTheLastLineOfAGroupOnly) {
    CFed together;
    EXPECT_EQ(together.Feed("150 Opening\r\n226 Done\r\n"), EState::Complete);
    EXPECT_EQ(together.m_assembly.Code(), 226U);
    EXPECT_EQ(together.m_strReply, "150 Opening\r\n226 Done\r\n");

    CFed cut;
    EXPECT_EQ(cut.Feed("150 Opening\r\n226 D"), EState::Incomplete);
    EXPECT_EQ(cut.Feed("one\r\n"), EState::Complete);
    EXPECT_EQ(cut.m_assembly.Code(), 226U);

    CFed endsIntermediate;
    EXPECT_EQ(endsIntermediate.Feed("220 Ready\r\n220-but\r\n"), EState::Incomplete);
    EXPECT_EQ(endsIntermediate.Feed("221 Bye\r\n"), EState::Complete);
    EXPECT_EQ(endsIntermediate.m_assembly.Code(), 221U);
    EXPECT_EQ(endsIntermediate.m_strReply, "220 Ready\r\n220-but\r\n221 Bye\r\n");
}

TEST(ReplyAssembly, TakesAnyLineWithABlankAsItsFourthCharacterForTheEnd) {
    CFed fed;
    EXPECT_EQ(fed.Feed("220-Hello\r\n"), EState::Incomplete);
    EXPECT_EQ(fed.Feed("yes we are open\r\n"), EState::Complete);
    EXPECT_EQ(fed.m_assembly.Code(), 0U) << "no number, so no code that anything knows";
}

TEST(ReplyAssembly, GoesOnAfterALineWithoutIt) {
    for (const char* pszLine : {"220-more\r\n", "220\r\n", "220\n", "22\n", " \r\n", "220:x\r\n"}) {
        CFed fed;
        EXPECT_EQ(fed.Feed(pszLine), EState::Incomplete) << pszLine;
        EXPECT_EQ(fed.m_assembly.Code(), kNoReplyCode) << pszLine;
        EXPECT_EQ(fed.m_assembly.Pending(), "") << pszLine;
        EXPECT_EQ(fed.m_strReply, pszLine);
    }
}

TEST(ReplyAssembly, EndsAtAnEmptyPiece) {
    CFed fed;
    EXPECT_EQ(fed.Feed("220-Welcome\r\n"), EState::Incomplete);
    EXPECT_EQ(fed.Feed("220 Rea"), EState::Incomplete);
    EXPECT_EQ(fed.Feed(""), EState::Ended);
    EXPECT_EQ(fed.m_assembly.Code(), kNoReplyCode);
    EXPECT_EQ(fed.m_strReply, "220-Welcome\r\n");
}

TEST(ReplyAssembly, TakesAFailedReceiveForAnEmptyPiece) {
    std::string strReply;
    CReplyAssembly assembly(strReply);
    assembly.Append("", -1);
    EXPECT_EQ(assembly.Advance(), EState::Ended);
    EXPECT_EQ(assembly.Code(), kNoReplyCode);
}

TEST(ReplyAssembly, AZeroByteCutsItsPieceShort) {
    CFed fed;
    EXPECT_EQ(fed.Feed(std::string("220 a\0b\r\n", 9)), EState::Complete);
    EXPECT_EQ(fed.m_strReply, "220 a");
    EXPECT_EQ(fed.m_assembly.Code(), 220U);

    CFed onlyZero;
    EXPECT_EQ(onlyZero.Feed(std::string("\0"
                                        "220 a\r\n",
                                        8)),
              EState::Ended);
}

TEST(ReplyAssembly, ALoneLineFeedIsUsableInsideAReplyOnly) {
    std::string strReply;
    CReplyAssembly assembly(strReply);
    EXPECT_FALSE(assembly.IsUsable(""));
    EXPECT_FALSE(assembly.IsUsable("\n"));
    EXPECT_FALSE(assembly.IsUsable("\n220 Ready\r\n")) << "only the first byte counts";
    EXPECT_TRUE(assembly.IsUsable("\r\n"));
    EXPECT_TRUE(assembly.IsUsable("2"));

    assembly.Append("220 Ready\r", 10);
    ASSERT_EQ(assembly.Advance(), EState::Incomplete);
    EXPECT_TRUE(assembly.IsUsable("\n"));
    EXPECT_FALSE(assembly.IsUsable(""));
    assembly.Append("\n", 1);
    EXPECT_EQ(assembly.Advance(), EState::Complete);
    EXPECT_FALSE(assembly.IsUsable("\n")) << "nothing is pending any more";
}

TEST(ReplyAssembly, AppendsToWhatTheReplyHeld) {
    std::string strReply = "kept;";
    CReplyAssembly assembly(strReply);
    assembly.Append("220 Ready\r\n", 11);
    ASSERT_EQ(assembly.Advance(), EState::Complete);
    EXPECT_EQ(strReply, "kept;220 Ready\r\n");
}

TEST(ReplyAssembly, BoundsTheLineGroup) {
    CFed fed;
    const std::string strPiece(512, 'x');
    for (std::size_t nSent = 512; nSent <= CReplyAssembly::kMaxLineGroup; nSent += 512)
        ASSERT_EQ(fed.Feed(strPiece), EState::Incomplete) << nSent;
    EXPECT_EQ(fed.m_assembly.Pending().size(), CReplyAssembly::kMaxLineGroup);
    EXPECT_EQ(fed.Feed("x"), EState::TooLong);
    EXPECT_EQ(fed.m_strReply, "");
}

TEST(ReplyAssembly, BoundsTheReply) {
    CFed fed;
    const std::string strLine = "220-" + std::string(507, 'x') + "\n";
    ASSERT_EQ(strLine.size(), 512U);
    for (std::size_t nSent = 512; nSent <= CReplyAssembly::kMaxReply; nSent += 512)
        ASSERT_EQ(fed.Feed(strLine), EState::Incomplete) << nSent;
    EXPECT_EQ(fed.m_strReply.size(), CReplyAssembly::kMaxReply);
    EXPECT_EQ(fed.Feed("220 Ready\r\n"), EState::TooLong);
}

}  // namespace
}  // namespace RVN_FTP_CLIENT
