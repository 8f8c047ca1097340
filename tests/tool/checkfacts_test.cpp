#include "tools/checkfacts.h"

#include <gtest/gtest.h>

#include <string>

#include "tools/checkreport.h"
#include "tools/dialoguerecord.h"

using namespace qelftp;

namespace {

std::string Announced(const std::string& strReply) {
    const std::optional<SAnnounced> announced = AnnouncedAddress(strReply);
    return announced ? announced->strAddress + ":" + std::to_string(announced->uPort) : "none";
}

TEST(CheckFacts, TheAddressOfAPassiveReply) {
    EXPECT_EQ(Announced("227 Entering Passive Mode (127,0,0,1,200,7)."), "127.0.0.1:51207");
    EXPECT_EQ(Announced("227 =10,9,8,7,0,21"), "10.9.8.7:21");
    EXPECT_EQ(Announced("227 (255,255,255,255,255,255)"), "255.255.255.255:65535");
    EXPECT_EQ(Announced("227 (256,0,0,1,200,7)"), "none");
    EXPECT_EQ(Announced("227 (127,0,0,1,200,256)"), "none");
    EXPECT_EQ(Announced("227 (127,0,0,1,200)"), "none");
    EXPECT_EQ(Announced("229 Entering Extended Passive Mode (|||51207|)"), "none");
    EXPECT_EQ(Announced(""), "none");
}

TEST(CheckFacts, TheDirectoryOfAReply) {
    EXPECT_EQ(QuotedDirectory("257 \"/home/bob\" is it"), "/home/bob");
    EXPECT_EQ(QuotedDirectory("257 \"\""), "");
    EXPECT_FALSE(QuotedDirectory("257 \"/home"));
    EXPECT_FALSE(QuotedDirectory("257 /home"));
}

void ExpectSurvey(const std::string& strText, EListingStyle eStyle, std::size_t nLines) {
    const SListingSurvey survey = SurveyListing(strText);
    EXPECT_EQ(static_cast<int>(survey.eStyle), static_cast<int>(eStyle)) << strText;
    EXPECT_EQ(survey.nLines, nLines) << strText;
}

TEST(CheckFacts, TheStyleOfAListing) {
    ExpectSurvey("", EListingStyle::Empty, 0);
    ExpectSurvey("total 0\r\n", EListingStyle::Empty, 0);
    ExpectSurvey("total 8\ndrwx 1 u g 5 Mar 3 2019 .\ndrwx 1 u g 5 Mar 3 2019 ..\n-rw a\nlrwx b\n",
                 EListingStyle::Unix, 2);
    ExpectSurvey("03-03-19  10:00AM  <DIR> a\r\n03-03-19  10:00AM  5 b\r\n", EListingStyle::Dos, 2);
    ExpectSurvey("03-03-19  10:00AM  <DIR> a\r\n-rw a\r\n", EListingStyle::Mixed, 2);
    ExpectSurvey("+i8388621.29609,m824255902,/,\ttdev\r\n", EListingStyle::Unknown, 1);
    ExpectSurvey("X\n", EListingStyle::Unknown, 1);
}

TEST(CheckFacts, ARecordPairsCommandsWithTheirReplies) {
    CDialogueRecord record;
    EXPECT_EQ(record.Greeting().LastLine(), "");
    EXPECT_EQ(record.Greeting().Code(), "");
    record.Add(EDirection::Received, "220-a");
    record.Add(EDirection::Received, "220 b");
    record.Add(EDirection::Sent, "CWD /x");
    record.Add(EDirection::Received, "550 no");
    record.Add(EDirection::Sent, "CWD /");
    record.Add(EDirection::Sent, "QUIT");
    record.Add(EDirection::Received, "22");
    EXPECT_EQ(record.Greeting().replies.size(), 2U);
    EXPECT_EQ(record.Greeting().Code(), "220");
    ASSERT_NE(record.Find("CWD"), nullptr);
    EXPECT_EQ(record.Find("CWD")->strCommand, "CWD /");
    EXPECT_EQ(record.Find("CWD")->Millis(), 0);
    EXPECT_EQ(record.Find("QUIT")->Code(), "");
    EXPECT_EQ(record.Find("CW"), nullptr);
    EXPECT_EQ(record.Find("CWD /"), nullptr);
}

TEST(CheckFacts, TheTableIsAlignedAndCannotDriveTheTerminal) {
    const CheckSteps steps{{"greeting", EFinding::Good, 12.34, "220 \x1b[2J"},
                           {"login", EFinding::Bad, {}, "no"},
                           {"UTF-8", EFinding::Note, 1.0, "off"}};
    EXPECT_EQ(CheckTable(steps),
              "greeting  ok    12.3 ms  220 \\x1b[2J\n"
              "login     FAIL           no\n"
              "UTF-8     note   1.0 ms  off\n");
    EXPECT_EQ(CheckJson(steps),
              "{\"step\":\"greeting\",\"result\":\"ok\",\"ms\":12.3,\"text\":\"220 "
              "\\u001b[2J\"}\n"
              "{\"step\":\"login\",\"result\":\"FAIL\",\"ms\":null,\"text\":\"no\"}\n"
              "{\"step\":\"UTF-8\",\"result\":\"note\",\"ms\":1.0,\"text\":\"off\"}\n");
    EXPECT_FALSE(AllGood(steps));
    EXPECT_TRUE(AllGood({steps[0], steps[2]}));
}

}  // namespace
