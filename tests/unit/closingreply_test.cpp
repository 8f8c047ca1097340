#include "src/ftp/closingreply.h"

#include <gtest/gtest.h>

#include "src/ftp/replyline.h"

namespace RVN_FTP_CLIENT {
namespace {

TEST(HoldsClosingReply, NeedsAPreliminaryReplyAndAFinalOneBehindIt) {
    for (const char* pszReply : {
             "150 Opening\r\n226 Done\r\n",
             "125 Open\r\n250 Done\r\n",
             "150 Opening\n226 Done\n",
             "150 Opening\r\n426 Aborted\r\n",
             "150 Opening\r\n551 Broken\r\n",
             "150-Opening\r\n150 now\r\n226 Done\r\n",
             "150 Opening\r\n226-Done\r\n226-so\r\n226 far\r\n",
             "150-Opening\r\n226 of 300 files left\r\n150 now\r\n226 Done\r\n",
             "150 Opening\r\n110 Marker\r\n226 Done\r\n",
             "150 Opening\r\n226 Done\r\n220 more\r\n",
             "150 Opening\r\n200 Nobody asked\r\n226 Done\r\n",
         }) {
        EXPECT_TRUE(HoldsClosingReply(pszReply)) << pszReply;
    }
    for (const char* pszReply : {
             "",
             "\r\n",
             "150 Opening\r\n",
             "226 Done\r\n",
             "550 No\r\n",
             "550-No\r\n550 not here\r\n",
             "226 Done\r\n150 Opening\r\n",
             "150 Opening\r\n125 Open\r\n",
         }) {
        EXPECT_FALSE(HoldsClosingReply(pszReply)) << pszReply;
    }
}

TEST(HoldsClosingReply, SeesNoReplyInsideAMultiLineOne) {
    EXPECT_FALSE(HoldsClosingReply("150-Opening\r\n226 of 300 files left\r\n150 now\r\n"));
    EXPECT_FALSE(HoldsClosingReply("150-Opening\r\n226-and\r\n226 Done\r\n"));
    EXPECT_FALSE(HoldsClosingReply("150 Opening\r\n226-Done\r\n"));
    EXPECT_FALSE(HoldsClosingReply("150 Opening\r\n226-Done\r\n250 no end of 226\r\n"));
}

TEST(HoldsClosingReply, TakesNoLineWithoutCodeOrBlankOrEnd) {
    EXPECT_FALSE(HoldsClosingReply("150 Opening\r\n226 Don"));
    EXPECT_FALSE(HoldsClosingReply("150 Opening\r\n226 Done\r"));
    EXPECT_FALSE(HoldsClosingReply("150 Opening\r\n226\r\n"));
    EXPECT_FALSE(HoldsClosingReply("150 Opening\r\n226:Done\r\n"));
    EXPECT_FALSE(HoldsClosingReply("150 Opening\r\n 226 Done\r\n"));
    EXPECT_FALSE(HoldsClosingReply("150 Opening\r\nabc Done\r\n"));
    EXPECT_FALSE(HoldsClosingReply("150 Opening\r\n22\r\n"));
    EXPECT_TRUE(HoldsClosingReply("150 Opening\r\nabc\r\n\r\n226 Done\r\n"));
}

TEST(ReplyCodeAt, ReadsThreeDigits) {
    EXPECT_EQ(ReplyCodeAt("220 Ready", 0), 220);
    EXPECT_EQ(ReplyCodeAt("220", 0), 220);
    EXPECT_EQ(ReplyCodeAt("2201", 0), 220);
    EXPECT_EQ(ReplyCodeAt("2201", 1), 201);
    EXPECT_EQ(ReplyCodeAt("007", 0), 7);
    EXPECT_EQ(ReplyCodeAt("x\n226 Done", 2), 226);
}

TEST(ReplyCodeAt, GivesZeroForAnythingElse) {
    EXPECT_EQ(ReplyCodeAt("", 0), 0);
    EXPECT_EQ(ReplyCodeAt("22", 0), 0);
    EXPECT_EQ(ReplyCodeAt("220", 1), 0);
    EXPECT_EQ(ReplyCodeAt("220", 3), 0);
    EXPECT_EQ(ReplyCodeAt("220", 4), 0);
    EXPECT_EQ(ReplyCodeAt("220", 1000), 0);
    for (const char* pszText : {"abc", "2x0", "22x", " 22", "-22", "+22", "2 0", "\xb2\xb2\xb0"})
        EXPECT_EQ(ReplyCodeAt(pszText, 0), 0) << pszText;
}

}  // namespace
}  // namespace RVN_FTP_CLIENT
