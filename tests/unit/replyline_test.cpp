#include "src/ftp/replyline.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using RVN_FTP_CLIENT::ReplyCodeAt;

TEST(ReplyCodeAt, ReadsThreeDigitsAnywhere) {
    const std::string strText = "226 a\n550";
    EXPECT_EQ(ReplyCodeAt(strText, 0), 226);
    EXPECT_EQ(ReplyCodeAt(strText, 6), 550);
}

TEST(ReplyCodeAt, IsZeroForAnythingElse) {
    for (const char* pszText : {"", "2", "22", "x26", "2x6", "22x", " 226", "/26", "2:6", "22/"})
        EXPECT_EQ(ReplyCodeAt(pszText, 0), 0) << pszText;
}

TEST(ReplyCodeAt, LooksAtNothingBehindTheText) {
    std::string strText = "226 226 226 226 226 226";
    strText.resize(7);  // the digits behind stay in the buffer
    for (std::size_t nStart = 5; nStart <= 20; ++nStart)
        EXPECT_EQ(ReplyCodeAt(strText, nStart), 0) << nStart;
}

}  // namespace
