// The listing transfer, from CWD to the OPTS that follows it.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/session/markedencoding.h"
#include "tests/session/transferfixture.h"
#include "tests/support/payload.h"

namespace SessionTest {
namespace {

class Listing : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(Listing);
class ListingAlone : public Dialogue {};

const std::string kTwoLines = "12-31-19 11:59PM 1 a\r\n12-31-19 11:59PM 2 b\r\n";

// A listing of as many bytes without zeros.
std::string LongListing(std::size_t nSize) {
    std::string strText;
    for (int i = 0; strText.size() < nSize; ++i)
        strText += "-rw-r--r-- 1 u g 7 Mar 3 2019 file " + std::to_string(i) + "\r\n";
    return strText.substr(0, nSize);
}

const char* const kNoUtf8 = "[FTPCLIENT]The server don't  support OPST UTF8 ON;";

TEST_P(Listing, SendsItsCommandsAndReplacesTheText) {
    ScriptedServer server(Transfer({Cwd("/a b"), ServeList(kTwoLines)}));
    CCommand command(server);
    std::string strListing = "old";
    EXPECT_EQ(command.Ftp_ListFile("/a b", strListing), 0U);
    EXPECT_EQ(strListing, kTwoLines);
    command.EndInStep();
    server.ExpectFinished();
    EXPECT_EQ(server.Commands(), (std::vector<std::string>{"CWD /a b\r\n", "PASV\r\n", "LIST\r\n",
                                                           "OPTS UTF8 ON\r\n", "PWD\r\n"}));
    EXPECT_EQ(ErrorLog(), "");
}

TEST_P(Listing, OfAnEmptyDirectoryIsEmpty) {
    ScriptedServer server(Transfer({Cwd("/a"), ServeList("")}));
    CCommand command(server);
    std::string strListing = "old";
    EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
    EXPECT_EQ(strListing, "");
    command.EndInStep();
    server.ExpectFinished();
}

TEST_P(Listing, IsTheSameInBlocksOfAnySize) {
    for (const std::size_t nBlock : {1U, 7U, 1000U, 1023U, 1024U, 1025U, 4000U}) {
        SCOPED_TRACE(nBlock);
        const std::string strText = LongListing(nBlock == 1 ? 600 : 5000);
        ScriptedServer server(Transfer({Cwd("/a"), ServeList(strText, nBlock)}));
        CCommand command(server);
        std::string strListing;
        EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
        EXPECT_TRUE(SamePayload(strText, strListing));
        command.EndInStep();
        server.ExpectFinished();
    }
}

TEST_P(Listing, OfOneMebibyteArrivesWhole) {
    const std::string strText = LongListing(1U << 20);
    ScriptedServer server(Transfer({Cwd("/a"), ServeList(strText)}));
    CCommand command(server);
    std::string strListing;
    EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
    EXPECT_TRUE(SamePayload(strText, strListing));
    command.EndInStep();
    server.ExpectFinished();
}

TEST_P(Listing, BeginsWithA125AsWell) {
    ScriptedServer server(
        Transfer({Cwd("/a"), Passive(), On("LIST", "125 already open"), SendData(kTwoLines),
                  CloseData(), Say("250 listed\r\n"), On("OPTS UTF8 ON", "202 always")}));
    CCommand command(server);
    std::string strListing;
    EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
    EXPECT_EQ(strListing, kTwoLines);
    command.EndInStep();
    server.ExpectFinished();
    EXPECT_EQ(ErrorLog(), "");
}

// ---- Failures before the listing ----

unsigned int Failed(const std::vector<SStep>& steps) {
    ScriptedServer server(Transfer(steps));
    CCommand command(server);
    std::string strListing = "old";
    const unsigned int uResult = command.Ftp_ListFile("/a", strListing);
    EXPECT_EQ(strListing, "old");
    command.EndInStep();
    server.ExpectFinished();
    return uResult;
}

TEST_P(Listing, EndsWhereCwdIsRefused) {
    EXPECT_EQ(Failed({On("CWD /a", "550 no")}), 0x3bb00009U);
    EXPECT_EQ(Failed({On("CWD /a", "550 No such file or directory")}), 0x3bb0000eU);
}

TEST_P(Listing, EndsWhereNoDataConnectionIsMade) {
    EXPECT_EQ(Failed({Cwd("/a"), On("PASV", "425 no port left")}), 0x3bb00010U);
    EXPECT_EQ(Failed({Cwd("/a"), On("PASV", "227 (10,9,8,7,1,2)")}), 0x40070019U);
    RecordingLog::Clear();
    EXPECT_EQ(Failed({Cwd("/a"), Expect("PASV"), SayPassiveDead()}), 0x3bb00001U);
    ASSERT_EQ(RecordingLog::Errors().size(), 1U);
    EXPECT_EQ(RecordingLog::Errors()[0].strText.find("[FTPCLIENT]CreateDataLink errorIP:0Port:"),
              0U);
}

TEST_P(Listing, ClosesTheDataSocketWhereListIsRefused) {
    // Neither another reply is read then, nor OPTS sent.
    EXPECT_EQ(Failed({Cwd("/a"), Passive(), On("LIST", "450 busy"), ExpectDataClosed()}),
              0x3bb00012U);
    EXPECT_EQ(
        Failed({Cwd("/a"), Passive(), On("LIST", "550 Permission denied"), ExpectDataClosed()}),
        0x3bb0000dU);
    EXPECT_EQ(Failed({Cwd("/a"), Passive(), On("LIST", "425 no connection"), ExpectDataClosed()}),
              0x3bb00010U);
}

// ---- The closing reply ----

TEST_F(ListingAlone, ReadsNoFurtherReplyAfterOneThatHeldThe226) {
    ScriptedServer server(
        Transfer({Cwd("/a"), Passive(), On("LIST", "150 here it comes\r\n226 listed"),
                  SendData(kTwoLines), CloseData(), On("OPTS UTF8 ON", "200 always")}));
    CCommand command(server, 5, 2, 2);
    std::string strListing;
    const Stopwatch watch;
    EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
    EXPECT_BETWEEN(watch.Elapsed(), 0, 5000);
    EXPECT_EQ(strListing, kTwoLines);
    command.EndInStep();
    server.ExpectFinished();
}

TEST_P(Listing, ReadsOneMoreReplyOtherwise) {
    ScriptedServer server(
        Transfer({Cwd("/a"), Passive(), On("LIST", "150 here it comes"), UntilRead("150 "),
                  SendData(kTwoLines), CloseData(), Say("226-listed\r\n226 all\r\n"),
                  On("OPTS UTF8 ON", "200 always")}));
    CCommand command(server);
    std::string strListing;
    EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
    command.EndInStep();
    server.ExpectFinished();
}

TEST_P(Listing, IgnoresAFailureAtTheEnd) {
    ScriptedServer server(
        Transfer({Cwd("/a"), Passive(), On("LIST", "150 here it comes"), UntilRead("150 "),
                  SendData(kTwoLines), CloseData(), Say("426 something broke\r\n"),
                  On("OPTS UTF8 ON", "200 always")}));
    CCommand command(server);
    std::string strListing;
    EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
    EXPECT_EQ(strListing, kTwoLines);
    command.EndInStep();
    server.ExpectFinished();
}

TEST_F(ListingAlone, WaitsOnceOnlyForAClosingReplyThatNeverComes) {
    ScriptedServer server(
        Transfer({Cwd("/a"), Passive(), On("LIST", "150 here it comes"), SendData(kTwoLines),
                  CloseData(), On("OPTS UTF8 ON", "200 always")}));
    CCommand command(server, 2, 3, 1);
    std::string strListing;
    const Stopwatch watch;
    EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
    EXPECT_BETWEEN(watch.Elapsed(), 1900, 4500);  // the first receive's 2 s and no retries
    EXPECT_EQ(strListing, kTwoLines);
    EXPECT_EQ(ErrorLog(), "");
    command.EndInStep();
    server.ExpectFinished();
}

// ---- Data that breaks off ----

TEST_P(Listing, ThatBreaksOffKeepsWhatCame) {
    for (const bool bReset : {false, true}) {
        SCOPED_TRACE(bReset ? "reset" : "closed");
        ScriptedServer server(
            Transfer({Cwd("/a"), Passive(), On("LIST", "150 here it comes"),
                      SendData(LongListing(3000)), bReset ? ResetData() : CloseData(),
                      Say("226 listed\r\n"), On("OPTS UTF8 ON", "200 always")}));
        CCommand command(server);
        std::string strListing;
        EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
        EXPECT_TRUE(SamePayload(LongListing(3000), strListing));
        command.EndInStep();
        server.ExpectFinished();
    }
}

TEST_F(ListingAlone, ThatStallsFiveSecondsKeepsWhatCame) {
    ScriptedServer server(Transfer({Cwd("/a"), Passive(), On("LIST", "150 here it comes"),
                                    SendData(LongListing(1500)), ExpectDataClosed(),
                                    Say("226 listed\r\n"), On("OPTS UTF8 ON", "200 always")}));
    CCommand command(server);
    std::string strListing;
    const Stopwatch watch;
    EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
    EXPECT_BETWEEN(watch.Elapsed(), 4900, 9000);
    EXPECT_TRUE(SamePayload(LongListing(1500), strListing));
    command.EndInStep();
    server.ExpectFinished();
    EXPECT_EQ(ErrorLog(), "");
}

TEST_F(ListingAlone, ThatPausesLessThanFiveSecondsGoesOn) {
    ScriptedServer server(Transfer({Cwd("/a"), Passive(), On("LIST", "150 here it comes"),
                                    SendData(LongListing(2000), 1000, Millis(3500)), CloseData(),
                                    Say("226 listed\r\n"), On("OPTS UTF8 ON", "200 always")}));
    CCommand command(server);
    std::string strListing;
    EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
    EXPECT_TRUE(SamePayload(LongListing(2000), strListing));
    command.EndInStep();
    server.ExpectFinished();
}

TEST_P(Listing, AZeroByteCutsItsBlockShort) {
    // In one piece, so that the client's receives are full blocks of 1024 bytes.
    std::string strText = LongListing(2048 + 100);
    strText[10] = '\0';
    strText[20] = '\0';
    strText[2048] = '\0';
    ScriptedServer server(Transfer({Cwd("/a"), ServeList(strText)}));
    CCommand command(server);
    std::string strListing;
    EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
    EXPECT_TRUE(SamePayload(strText.substr(0, 10) + strText.substr(1024, 1024), strListing));
    command.EndInStep();
    server.ExpectFinished();
}

// ---- OPTS UTF8 ON ----

TEST_P(Listing, IsConvertedWhenTheServerSpeaksUtf8) {
    ScriptedServer server(Transfer({Cwd("<local>/a"), ServeList(kTwoLines)}));
    CCommand command(server);
    const MarkedEncoding marked;
    std::string strListing;
    EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
    EXPECT_EQ(strListing, "<local>" + kTwoLines);
    command.EndInStep();
    server.ExpectFinished();
}

TEST_P(Listing, StaysAsItIsWhenTheServerDoesNot) {
    const struct {
        const char* pszReply;
        unsigned int uCode;
    } refusals[] = {
        {"500 what?", 0x4007001a}, {"501 not that", 0x3bb00015}, {"550 no", 0x3bb00019}};
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(refusal.pszReply);
        ScriptedServer server(Transfer(
            {Cwd("<local>/a"), Passive(), On("LIST", "150 here it comes"), SendData(kTwoLines),
             CloseData(), Say("226 listed\r\n"), On("OPTS UTF8 ON", refusal.pszReply)}));
        CCommand command(server);
        RecordingLog::Clear();
        const MarkedEncoding marked;
        std::string strListing;
        EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
        EXPECT_EQ(strListing, kTwoLines);
        const auto errors = RecordingLog::Errors();
        ASSERT_EQ(errors.size(), 1U);
        EXPECT_EQ(errors[0].strText, kNoUtf8);
        EXPECT_EQ(errors[0].uCode, refusal.uCode);
        EXPECT_EQ(errors[0].strFile, "ftpcommand");
        EXPECT_EQ(errors[0].strFunction, "Ftp_ListFile");
        EXPECT_TRUE(errors[0].bFiltered);
        command.EndInStep();
        server.ExpectFinished();
    }
}

TEST_P(Listing, AsksForUtf8EachTimeAnew) {
    ScriptedServer server(
        Transfer({Cwd("/a"), ServeList(kTwoLines), Cwd("/a"), Passive(),
                  On("LIST", "150 here it comes"), SendData(kTwoLines), CloseData(),
                  Say("226 listed\r\n"), On("OPTS UTF8 ON", "500 not any more")}));
    CCommand command(server);
    std::string strListing;
    EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
    EXPECT_EQ(ErrorLog(), "");
    EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
    EXPECT_EQ(ErrorLog(), std::string("4007001a ") + kNoUtf8 + '\n');
    command.EndInStep();
    server.ExpectFinished();
}

TEST_F(ListingAlone, IsKeptWhenTheConnectionIsLostAtItsEnd) {
    ScriptedServer server{
        Greet(), Cwd("/a"),  Passive(), On("LIST", "150 here it comes"), SendData(kTwoLines),
        Reset(), CloseData()};
    CCommand command(server);
    std::string strListing;
    const Stopwatch watch;
    EXPECT_EQ(command.Ftp_ListFile("/a", strListing), 0U);
    EXPECT_BETWEEN(watch.Elapsed(), 0, 5000);
    EXPECT_EQ(strListing, kTwoLines);
    ASSERT_EQ(RecordingLog::Errors().size(), 1U);
    EXPECT_EQ(RecordingLog::Errors()[0].strText, kNoUtf8);
    EXPECT_EQ(RecordingLog::Errors()[0].uCode, 0x3bb00002U);
    EXPECT_EQ(command.CloseAll(), 0U);
    server.ExpectFinished();
}

}  // namespace
}  // namespace SessionTest
