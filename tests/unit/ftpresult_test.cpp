#include "include/ftpresult.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <string>

namespace RVN_FTP_CLIENT {
namespace {

struct SResult {
    unsigned int uNamed;
    unsigned int uNumber;
};

constexpr SResult kResults[] = {
    {FTP_OK, 0},
    {FTP_CONNECT_FAILED, 0x3bb00001},
    {FTP_SEND_FAILED, 0x3bb00002},
    {FTP_NO_REPLY, 0x3bb00003},
    {FTP_LOCAL_OPEN_FAILED, 0x3bb00005},
    {FTP_LOCAL_CREATE_FAILED, 0x3bb00006},
    {FTP_LOGIN_REFUSED, 0x3bb00007},
    {FTP_CWD_REFUSED, 0x3bb00009},
    {FTP_MKD_REFUSED, 0x3bb0000a},
    {FTP_RMD_REFUSED, 0x3bb0000b},
    {FTP_DELE_REFUSED, 0x3bb0000c},
    {FTP_PERMISSION_DENIED, 0x3bb0000d},
    {FTP_NO_SUCH_FILE, 0x3bb0000e},
    {FTP_REPLY_421, 0x3bb0000f},
    {FTP_REPLY_425, 0x3bb00010},
    {FTP_REPLY_426, 0x3bb00011},
    {FTP_REPLY_450, 0x3bb00012},
    {FTP_REPLY_451, 0x3bb00013},
    {FTP_REPLY_452, 0x3bb00014},
    {FTP_REPLY_501, 0x3bb00015},
    {FTP_ALREADY_EXISTS, 0x3bb00016},
    {FTP_REPLY_553, 0x3bb00017},
    {FTP_REPLY_552, 0x3bb00018},
    {FTP_REPLY_550, 0x3bb00019},
    {FTP_REPLY_530, 0x3bb0001a},
    {FTP_CLOSE_FAILED, 0x3bb0001b},
    {FTP_SERVER_SHUTDOWN, 0x3bb0001c},
    {FTP_BAD_PASV_REPLY, 0x40070019},
    {FTP_UNKNOWN_REPLY, 0x4007001a},
};

const std::string kNoMeaning = "unknown result code";

TEST(FtpResult, NamesStandForTheirNumbers) {
    for (const SResult& result : kResults)
        EXPECT_EQ(result.uNamed, result.uNumber);
}

TEST(FtpResultText, EveryCodeHasATextOfItsOwn) {
    std::set<std::string> texts{kNoMeaning, ""};
    for (const SResult& result : kResults) {
        ASSERT_NE(FtpResultText(result.uNumber), nullptr);
        EXPECT_TRUE(texts.insert(FtpResultText(result.uNumber)).second)
            << std::hex << result.uNumber << ": " << FtpResultText(result.uNumber);
    }
}

TEST(FtpResultText, AnyOtherNumberIsUnknown) {
    const auto isKnown = [](unsigned int uCode) {
        return std::any_of(std::begin(kResults), std::end(kResults),
                           [uCode](const SResult& result) { return result.uNumber == uCode; });
    };
    for (const unsigned int uFirst :
         {0U, 0x3bafff00U, 0x40060000U, 0x40070000U, 0x80000000U, 0xFFFFFF00U}) {
        for (unsigned int uCode = uFirst; uCode - uFirst < 0x100; ++uCode) {
            if (!isKnown(uCode)) {
                EXPECT_EQ(FtpResultText(uCode), kNoMeaning) << std::hex << uCode;
            }
        }
    }
    // Up to the last code of a session; what follows it belongs to other operations.
    for (unsigned int uCode = 0x3bb00000; uCode <= 0x3bb0001f; ++uCode) {
        if (!isKnown(uCode)) {
            EXPECT_EQ(FtpResultText(uCode), kNoMeaning) << std::hex << uCode;
        }
    }
}

}  // namespace
}  // namespace RVN_FTP_CLIENT
