#include "src/ftp/replyclass.h"

#include <gtest/gtest.h>

#include <string>

namespace RVN_FTP_CLIENT {
namespace {

struct SCodeRow {
    unsigned int uReplyCode;
    unsigned int uResult;
};

// Numbers, not the names of ftpresult.h: callers of the library compare numbers.
constexpr SCodeRow kCodes[] = {
    {421, 0x3bb0000f}, {425, 0x3bb00010}, {426, 0x3bb00011}, {450, 0x3bb00012},
    {451, 0x3bb00013}, {452, 0x3bb00014}, {501, 0x3bb00015}, {521, 0x3bb00016},
    {530, 0x3bb0001a}, {550, 0x3bb00019}, {552, 0x3bb00018}, {553, 0x3bb00017},
};

struct STextRow {
    const char* pszText;
    unsigned int uResult;
};

constexpr STextRow kTexts[] = {
    {"Permission denied", 0x3bb0000d},
    {"permission denied", 0x3bb0000d},
    {"No such file or directory", 0x3bb0000e},
    {"no such file or directory", 0x3bb0000e},
    {"Can't open file", 0x3bb0000e},
    {"Unknown directory", 0x3bb0000e},
    {"exists", 0x3bb00016},
};

constexpr unsigned int kShutdown = 0x3bb0001c;
constexpr unsigned int kUnknown = 0x4007001a;

std::string Reply(unsigned int uCode, const std::string& strText) {
    return std::to_string(uCode) + " /a: " + strText + ".\r\n";
}

TEST(ClassifyReply, MapsEachReplyCode) {
    for (const SCodeRow& row : kCodes) {
        EXPECT_EQ(ClassifyReply(row.uReplyCode, ""), row.uResult) << row.uReplyCode;
        EXPECT_EQ(ClassifyReply(row.uReplyCode, Reply(row.uReplyCode, "Failed")), row.uResult)
            << row.uReplyCode;
    }
}

TEST(ClassifyReply, KnowsNoOtherCode) {
    for (unsigned int uCode = 0; uCode <= 1000; ++uCode) {
        bool bInTable = false;
        for (const SCodeRow& row : kCodes)
            bInTable = bInTable || row.uReplyCode == uCode;
        if (!bInTable) {
            EXPECT_EQ(ClassifyReply(uCode, Reply(uCode, "exists")), kUnknown) << uCode;
        }
    }
    EXPECT_EQ(ClassifyReply(0xFFFFFFFF, ""), kUnknown);
    EXPECT_EQ(ClassifyReply(999, "999 Permission denied"), kUnknown);
}

TEST(ClassifyReply, ReadsTheTextOf501And550) {
    for (const unsigned int uCode : {501U, 550U}) {
        for (const STextRow& row : kTexts) {
            EXPECT_EQ(ClassifyReply(uCode, Reply(uCode, row.pszText)), row.uResult)
                << uCode << ' ' << row.pszText;
            EXPECT_EQ(ClassifyReply(uCode, row.pszText), row.uResult) << "the text alone";
        }
    }
}

TEST(ClassifyReply, ReadsNoOtherCodesText) {
    for (const SCodeRow& code : kCodes) {
        if (code.uReplyCode == 501 || code.uReplyCode == 550) continue;
        for (const STextRow& text : kTexts) {
            EXPECT_EQ(ClassifyReply(code.uReplyCode, Reply(code.uReplyCode, text.pszText)),
                      code.uResult)
                << code.uReplyCode << ' ' << text.pszText;
        }
    }
}

TEST(ClassifyReply, TakesTheFirstTextThatMatches) {
    for (const STextRow& first : kTexts) {
        for (const STextRow& later : kTexts) {
            if (&later < &first) continue;
            const std::string strBackwards = std::string(later.pszText) + ", " + first.pszText;
            EXPECT_EQ(ClassifyReply(550, Reply(550, strBackwards)), first.uResult) << strBackwards;
        }
    }
}

TEST(ClassifyReply, TakesTextsInTheirOwnCaseOnly) {
    const char* const otherCase[] = {
        "PERMISSION DENIED",
        "Permission Denied",
        "No Such File Or Directory",
        "can't open file",
        "CAN'T OPEN FILE",
        "unknown directory",
        "Unknown Directory",
        "Directory EXISTS",
        "Exists",
        "permission  denied",
        "No such file, or directory",
    };
    for (const char* pszText : otherCase) {
        EXPECT_EQ(ClassifyReply(501, Reply(501, pszText)), 0x3bb00015U) << pszText;
        EXPECT_EQ(ClassifyReply(550, Reply(550, pszText)), 0x3bb00019U) << pszText;
    }
}

TEST(ClassifyReply, FindsTheTextInAnyLine) {
    EXPECT_EQ(ClassifyReply(550, "550-Sorry,\r\n550-permission denied\r\n550 that is all\r\n"),
              0x3bb0000dU);
    EXPECT_EQ(ClassifyReply(550, "550 No such file\r\nor directory\r\n"), 0x3bb00019U);
}

TEST(ClassifyReply, AShutdownIsAShutdownUnderAnyCode) {
    const std::string strText = "The FTP server is in shutdown mode";
    for (const SCodeRow& row : kCodes) {
        EXPECT_EQ(ClassifyReply(row.uReplyCode, Reply(row.uReplyCode, strText)), kShutdown)
            << row.uReplyCode;
    }
    EXPECT_EQ(ClassifyReply(999, Reply(999, strText)), kShutdown);
    EXPECT_EQ(ClassifyReply(550, Reply(550, "Permission denied; " + strText)), kShutdown);
    EXPECT_EQ(ClassifyReply(421, "421-FTP\r\n421-server\r\n421 shutdown\r\n"), kShutdown);
    EXPECT_EQ(ClassifyReply(421, "FTPservershutdown"), kShutdown);
}

TEST(ClassifyReply, AShutdownNeedsItsThreeWordsInOrderAndCase) {
    for (const char* pszText : {"ftp server shutdown", "FTP Server shutdown", "FTP server Shutdown",
                                "shutdown of FTP server", "server FTP shutdown", "FTP shutdown",
                                "server shutdown", "FTP server shut down"}) {
        EXPECT_EQ(ClassifyReply(421, Reply(421, pszText)), 0x3bb0000fU) << pszText;
    }
}

}  // namespace
}  // namespace RVN_FTP_CLIENT
