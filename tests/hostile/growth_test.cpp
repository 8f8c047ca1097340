// What servers that do not stop cost the library in memory and time: each operation in a process of
// its own, whose peak is measured.

#include <gtest/gtest.h>

#include <cstdio>
#include <ostream>
#include <string>

#include "include/ftpresult.h"
#include "tests/hostile/hostileserver.h"
#include "tests/hostile/measured.h"

using namespace HostileTest;
using namespace RVN_FTP_CLIENT;

namespace {

// A reply has 1 MiB at most. What the command did not expect is logged: the text, the one that the
// filter makes of it, and the line.
constexpr long kReplyGrowth = 16 * kMiB * kMemoryFactor;

Behaviour EndlessReply(const std::string& strLine) {
    return [strLine](CConversation& talk, const std::string&) { talk.SayEndlessly(strLine); };
}

// ---- Replies ----

struct SFlood {
    const char* pszName;
    std::string strWord;  // the command that it answers
    const char* pszOperation;
    std::string strText;
    bool bVerify;
    unsigned int uResult;
};

void PrintTo(const SFlood& flood, std::ostream* pStream) {
    *pStream << flood.pszName;
}

class EndlessReplies : public testing::TestWithParam<SFlood> {};

TEST_P(EndlessReplies, AreGivenUpWithinTheirBounds) {
    const SFlood& flood = GetParam();
    SHostility hostility;
    hostility.instead[flood.strWord] = EndlessReply(flood.strText);
    const CHostileServer server(hostility);
    const SMeasured measured = RunMeasured(server.Port(), flood.pszOperation, 0, flood.bVerify);
    std::printf("growth %ld KiB, %lld ms\n", measured.nGrowthKiB, measured.nMs);
    EXPECT_EQ(measured.uResult, flood.uResult);
    EXPECT_LT(measured.nGrowthKiB, kReplyGrowth);
    EXPECT_LT(measured.nMs, 20000);
}

const std::string kNoEnd(1000, 'x');
const std::string kMoreLines = "220-and another line of welcome, for we are glad that you came\r\n";
const std::string kShortLines = "a\n";
const std::string kBlankLines = "\n";
const std::string kZeros(100, '\0');

const SFlood kFloods[] = {
    {"GreetingWithoutLineEnd", "", "login", kNoEnd, true, FTP_OUT_OF_STEP},
    {"GreetingOfMoreLines", "", "login", kMoreLines, true, FTP_OUT_OF_STEP},
    {"GreetingOfMoreLinesClassic", "", "login", kMoreLines, false, FTP_NO_REPLY},
    {"GreetingOfShortLines", "", "login", kShortLines, false, FTP_NO_REPLY},
    {"GreetingOfBlankLines", "", "login", kBlankLines, false, FTP_NO_REPLY},
    {"GreetingOfZeros", "", "login", kZeros, false, FTP_NO_REPLY},
    {"ReplyToUser", "USER", "login", kMoreLines, true, FTP_NO_REPLY},
    {"ReplyToPass", "PASS", "login", kMoreLines, true, FTP_NO_REPLY},
    {"ReplyToPwd", "PWD", "login", kMoreLines, true, FTP_OK},
    {"ReplyToType", "TYPE", "get", kMoreLines, true, FTP_NO_REPLY},
    {"ReplyToCwd", "CWD", "list", kMoreLines, true, FTP_NO_REPLY},
    {"ReplyToPasv", "PASV", "list", kMoreLines, true, FTP_NO_REPLY},
    {"ReplyToList", "LIST", "list", kMoreLines, true, FTP_NO_REPLY},
    {"ReplyToRetr", "RETR", "get", kMoreLines, true, FTP_NO_REPLY},
    {"ReplyToStor", "STOR", "put", kMoreLines, true, FTP_NO_REPLY},
    {"ReplyToQuit", "QUIT", "login", kMoreLines, true, FTP_OK},
};
INSTANTIATE_TEST_SUITE_P(To, EndlessReplies, testing::ValuesIn(kFloods),
                         [](const auto& tested) { return std::string(tested.param.pszName); });

TEST(EndlessPreliminaryReplies, AreGivenUpAfterSome) {
    SHostility hostility;
    hostility.instead["RETR"] = [](CConversation& talk, const std::string&) {
        talk.Say("150 here\r\n");
        talk.SendData("content");
        talk.CloseData();
        while (true)
            talk.Drip("110 yet a mark\r\n", TestSupport::Millis(1));
    };
    const CHostileServer server(hostility);
    const SMeasured measured = RunMeasured(server.Port(), "get");
    EXPECT_EQ(measured.uResult, FTP_NO_REPLY);
    EXPECT_LT(measured.nMs, 10000);
}

// ---- Listings ----

SHostility EndlessListing(const std::string& strLine) {
    SHostility hostility;
    hostility.instead["LIST"] = [strLine](CConversation& talk, const std::string&) {
        talk.Say("150 here\r\n");
        talk.SendDataEndlessly(strLine);
    };
    return hostility;
}

const std::string kLongLine(1000, 'x');
const std::string kUsualLine = "-rw-r--r-- 1 ftp ftp 1024 Jan 01 12:00 another-file.txt\r\n";

class EndlessListings : public testing::TestWithParam<const std::string*> {};

TEST_P(EndlessListings, EndAtTheOptionsLimit) {
    const CHostileServer server(EndlessListing(*GetParam()));
    for (const bool bVerify : {false, true}) {
        const SMeasured measured = RunMeasured(server.Port(), "list", 8 << 20, bVerify);
        EXPECT_EQ(measured.uResult, FTP_LISTING_TOO_LONG);
        EXPECT_EQ(measured.nEntries, 0U);
        EXPECT_LT(measured.nGrowthKiB, 24 * kMiB * kMemoryFactor);
        EXPECT_LT(measured.nMs, 15000);
    }
}

INSTANTIATE_TEST_SUITE_P(Of, EndlessListings, testing::Values(&kLongLine, &kUsualLine),
                         [](const auto& tested) {
                             return tested.param == &kLongLine ? "OneLine" : "Lines";
                         });

// What a classic session is exposed to: only the server decides.
TEST(ListingWithoutALimit, IsHeldInMemoryWhole) {
    constexpr long kSent = 64 * kMiB;
    SHostility hostility;
    hostility.listing = [](const std::string&) { return std::string(std::size_t{64} << 20, 'x'); };
    const CHostileServer server(hostility);
    const SMeasured measured = RunMeasured(server.Port(), "list", 0, false);
    std::printf("growth %ld KiB\n", measured.nGrowthKiB);
    EXPECT_EQ(measured.uResult, FTP_OK);
    EXPECT_GE(measured.nGrowthKiB, kSent);
    EXPECT_LT(measured.nGrowthKiB, 5 * kSent * kMemoryFactor);
}

std::string Repeated(const std::string& strLine, std::size_t nTimes) {
    std::string strAll;
    strAll.reserve(strLine.size() * nTimes);
    for (std::size_t i = 0; i < nTimes; ++i)
        strAll += strLine;
    return strAll;
}

// Seven bytes for an entry with an empty name: nothing makes more of a byte.
TEST(ListingOfTheShortestLines, GrowsByAFactorThatIsKnown) {
    constexpr std::size_t kLines = 1'000'000;
    SHostility hostility;
    hostility.listing = [](const std::string&) { return Repeated("1 1 1 \n", kLines); };
    const CHostileServer server(hostility);
    const SMeasured measured = RunMeasured(server.Port(), "list");
    EXPECT_EQ(measured.uResult, FTP_OK);
    EXPECT_EQ(measured.nEntries, kLines);
    const long nTextKiB = static_cast<long>(7 * kLines / 1024);
    std::printf("growth %ld KiB, %ld times the text\n", measured.nGrowthKiB,
                measured.nGrowthKiB / nTextKiB);
    EXPECT_LT(measured.nGrowthKiB, 25 * nTextKiB * kMemoryFactor);
}

}  // namespace
