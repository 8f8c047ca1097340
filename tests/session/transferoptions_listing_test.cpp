// Verified listings, and listings with a limit.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/session/transferoptions.h"

namespace SessionTest {
namespace {

using namespace RVN_FTP_CLIENT;

class VerifiedListing : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(VerifiedListing);
class VerifiedListingAlone : public Dialogue {};
class LimitedListing : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(LimitedListing);
class LimitedListingAlone : public Dialogue {};

constexpr const char* kListing =
    "-rw-r--r-- 1 u g 7 Mar 3 2019 one\r\n"
    "-rw-r--r-- 1 u g 7 Mar 3 2019 two\r\n";
const std::vector<std::string> kNames{"one", "two"};

SStep Begun() {
    return SayLine("150 here it comes");
}

SStep ProbeUtf8() {
    return On("OPTS UTF8 ON", "200 always");
}

// A listing of the root that must fail, in a session that stays in step.
void ExpectFailure(const std::vector<SStep>& steps, unsigned int uResult,
                   const FtpTransferOptions& options, const SPatience& patience = kPatient) {
    COptionsSession session(List(steps), options, patience);
    CEntries entries;
    EXPECT_EQ(session->ListFile("/", entries.m_entries), uResult);
    entries.ExpectUntouched();
}

void ExpectSuccess(const std::vector<SStep>& steps, const std::vector<std::string>& names,
                   const FtpTransferOptions& options, const SPatience& patience = kPatient) {
    COptionsSession session(List(steps), options, patience);
    CEntries entries;
    EXPECT_EQ(session->ListFile("/", entries.m_entries), 0U);
    EXPECT_EQ(entries.Added(), names);
}

// ---- Verified ----

TEST_P(VerifiedListing, GivesTheEntries) {
    ExpectSuccess(
        {Begun(), SendData(kListing, 10), CloseData(), SayLine("226 listed"), ProbeUtf8()}, kNames,
        Verified());
    ExpectSuccess({Begun(), CloseData(), SayLine("226 listed"), ProbeUtf8()}, {}, Verified());
}

TEST_P(VerifiedListing, GivesTheEntriesOfAServerThatKnowsNoOpts) {
    ExpectSuccess({Begun(), SendData(kListing), CloseData(), SayLine("226 listed"),
                   On("OPTS UTF8 ON", "500 never")},
                  kNames, Verified());
}

// Numbers in the text of a reply are no codes.
TEST_P(VerifiedListing, TakesNoTextForTheClosingReply) {
    for (const char* pszBegun :
         {"150 here come 226 files", "150-226 files\r\n150 come", "125 226 files to come"}) {
        SCOPED_TRACE(pszBegun);
        ExpectSuccess({SayLine(pszBegun), SendData(kListing), CloseData(), Wait(Millis(60)),
                       SayLine("226 listed"), ProbeUtf8()},
                      kNames, Verified());
        ExpectFailure({SayLine(pszBegun), SendData(kListing), CloseData(), Wait(Millis(60)),
                       SayLine("451 disk")},
                      FTP_REPLY_451, Verified());
    }
}

TEST_P(VerifiedListing, ReadsOnAfterAPreliminaryReply) {
    ExpectSuccess({Begun(), SendData(kListing), CloseData(), Wait(Millis(60)),
                   SayLine("110 MARK 1 = 2"), Wait(Millis(60)), SayLine("226 listed"), ProbeUtf8()},
                  kNames, Verified());
}

TEST_P(VerifiedListing, ReturnsAFailureAtTheEnd) {
    for (const SReplyRow& row :
         {SReplyRow{"426 broken", FTP_REPLY_426}, SReplyRow{"451 disk", FTP_REPLY_451},
          SReplyRow{"451-disk\r\n451 broke", FTP_REPLY_451}, SReplyRow{"450 busy", FTP_REPLY_450},
          SReplyRow{"550 no", FTP_REPLY_550},
          SReplyRow{"550 Permission denied", FTP_PERMISSION_DENIED},
          SReplyRow{"599 odd", FTP_UNKNOWN_REPLY}}) {
        SCOPED_TRACE(row.pszReply);
        ExpectFailure({Begun(), SendData(kListing), CloseData(), SayLine(row.pszReply)},
                      row.uResult, Verified());
        ExpectFailure({Begun(), CloseData(), SayLine(row.pszReply)}, row.uResult, Verified());
    }
}

TEST_P(VerifiedListing, ReturnsAFailureThatIsThereAlready) {
    for (const SReplyRow& row : {SReplyRow{"150 here\r\n426 broken", FTP_REPLY_426},
                                 SReplyRow{"150 here\r\n451 disk", FTP_REPLY_451}}) {
        SCOPED_TRACE(row.pszReply);
        const Stopwatch watch;
        ExpectFailure({SayLine(row.pszReply), SendDataAsFarAsTaken(kListing), CloseData()},
                      row.uResult, Verified());
        EXPECT_BETWEEN(watch.Elapsed(), 0, kNoWait);
    }
}

TEST_P(VerifiedListing, DoesNotWaitForAClosingReplyThatIsThereAlready) {
    const Stopwatch watch;
    ExpectSuccess({SayLine("150 here\r\n226 listed"), SendData(kListing), CloseData(), ProbeUtf8()},
                  kNames, Verified());
    EXPECT_BETWEEN(watch.Elapsed(), 0, kNoWait);
}

TEST_F(VerifiedListingAlone, ReadsBothRepliesHoweverTheyAreCut) {
    const std::string strReplies = "150 a\r\n226 b\r\n";
    for (std::size_t nCut = 1; nCut < strReplies.size(); ++nCut) {
        SCOPED_TRACE(nCut);
        ExpectSuccess({SayPieces({strReplies.substr(0, nCut), strReplies.substr(nCut)}, Millis(30)),
                       SendData(kListing), CloseData(), ProbeUtf8()},
                      kNames, Verified());
    }
}

// Longer than the one receive that is enough without verifying.
TEST_F(VerifiedListingAlone, WaitsForItsClosingReplyAsATransferDoes) {
    ExpectSuccess({Begun(), SendData(kListing), CloseData(), Wait(Millis(1600)),
                   SayLine("226 listed"), ProbeUtf8()},
                  kNames, Verified(), SPatience{1, 2, 2});
    ExpectFailure(
        {Begun(), SendData(kListing), CloseData(), Wait(Millis(1600)), SayLine("451 disk")},
        FTP_REPLY_451, Verified(), SPatience{1, 2, 2});
}

TEST_F(VerifiedListingAlone, TellsThatTheClosingReplyNeverCame) {
    for (const SPatience& patience :
         {SPatience{1, 1, 1}, SPatience{1, 3, 1}, SPatience{1, 0, 1}, SPatience{1, 1, 0}}) {
        SCOPED_TRACE(testing::Message() << patience.usConnTimeout << ", " << patience.usRetryTimes
                                        << ", " << patience.usRetryTimeout);
        const Stopwatch watch;
        ExpectFailure({Begun(), SendData(kListing), CloseData()}, FTP_NO_REPLY, Verified(),
                      patience);
        EXPECT_BETWEEN(watch.Elapsed(), 900, 9000);
    }
}

TEST_P(VerifiedListing, TellsOfAResetWhereverItComes) {
    const SStep settle = Wait(Millis(100));
    ExpectFailure({ResetData(), settle, Begun(), UntilRead("150 "), SayLine("426 broken")},
                  FTP_DATA_BROKEN, Verified());
    for (const std::size_t nSent : {20U, 45U, 74U}) {
        SCOPED_TRACE(nSent);
        ExpectFailure({Begun(), SendData(std::string(kListing).substr(0, nSent)), settle,
                       ResetData(), SayLine("426 broken")},
                      FTP_DATA_BROKEN, Verified());
    }
}

TEST_F(VerifiedListingAlone, TellsOfFiveSecondsOfSilence) {
    const Stopwatch watch;
    ExpectFailure({Begun(), SendData(kListing), ExpectDataClosed(), SayLine("426 you went away")},
                  FTP_DATA_BROKEN, Verified());
    EXPECT_BETWEEN(watch.Elapsed(), 4900, 9000);
}

TEST_P(VerifiedListing, ReturnsAtOnceWhenRefused) {
    const Stopwatch watch;
    ExpectFailure({SayLine("550 no"), ExpectDataClosed()}, FTP_REPLY_550, Verified());
    EXPECT_BETWEEN(watch.Elapsed(), 0, 1000);
}

TEST_P(VerifiedListing, RemoveDirDeletesNothingAfterABrokenOne) {
    const SStep list = Sequence({Cwd("/srv/data/d"), Passive(), Expect("LIST"), Begun(),
                                 SendData(kListing), CloseData(), SayLine("426 broken")});
    COptionsSession session({list}, Verified());
    EXPECT_EQ(session->RemoveDir("d"), FTP_REPLY_426);
}

TEST_P(VerifiedListing, CheckOneFileExistFindsNothingInABrokenOne) {
    const SStep list = Sequence(
        {Cwd("/srv/data/d"), Passive(), Expect("LIST"), Begun(), SendData(kListing), CloseData()});
    COptionsSession session({list, SayLine("426 broken"), list, SayLine("226 listed"), ProbeUtf8()},
                            Verified());
    EXPECT_EQ(session->checkOneFileExist("d", "one"), FTP_NO_SUCH_FILE);
    EXPECT_EQ(session->checkOneFileExist("d/one"), 0U);
}

// ---- The limit ----

FtpTransferOptions Limited(unsigned long long ullMax, bool bVerify) {
    FtpTransferOptions options;
    options.ullMaxListing = ullMax;
    options.bVerify = bVerify;
    return options;
}

// As many lines as it takes, of entries "0", "1", ...
std::string LinesOf(std::size_t nSize) {
    std::string strListing;
    for (int n = 0; strListing.size() < nSize; ++n)
        strListing += "-rw-r--r-- 1 u g 7 Mar 3 2019 " + std::to_string(n) + "\r\n";
    return strListing;
}

TEST_P(LimitedListing, PassesUpToTheLimit) {
    for (const bool bVerify : {false, true}) {
        for (const std::size_t nSize : {30U, 1024U, 5000U}) {
            const std::string strListing = LinesOf(nSize);
            const std::size_t nExact = strListing.size();
            for (const std::size_t nLimit : {std::size_t{0}, nExact, nExact + 1, 10 * nExact}) {
                SCOPED_TRACE(testing::Message() << nExact << " of " << nLimit);
                COptionsSession session(List({Begun(), SendData(strListing), CloseData(),
                                              SayLine("226 listed"), ProbeUtf8()}),
                                        Limited(nLimit, bVerify));
                CEntries entries;
                EXPECT_EQ(session->ListFile("/", entries.m_entries), 0U);
                ASSERT_FALSE(entries.Added().empty());
                EXPECT_EQ(entries.Added().back() + "\r\n",
                          strListing.substr(strListing.rfind(' ') + 1));
            }
        }
    }
}

TEST_P(LimitedListing, FailsAboveTheLimit) {
    for (const bool bVerify : {false, true}) {
        for (const std::size_t nSize : {30U, 1024U, 5000U}) {
            const std::string strListing = LinesOf(nSize);
            for (const std::size_t nLimit :
                 {std::size_t{1}, strListing.size() / 2, strListing.size() - 1}) {
                SCOPED_TRACE(testing::Message() << strListing.size() << " of " << nLimit);
                const Stopwatch watch;
                ExpectFailure({Begun(), UntilRead("150 "), SendDataAsFarAsTaken(strListing),
                               CloseData(), SayLine("226 listed")},
                              FTP_LISTING_TOO_LONG, Limited(nLimit, bVerify));
                EXPECT_BETWEEN(watch.Elapsed(), 0, kNoWait);
            }
        }
    }
}

TEST_P(LimitedListing, FailsAboveTheLimitWhateverTheServerSaysAtTheEnd) {
    for (const bool bVerify : {false, true}) {
        for (const char* pszReply : {"226 listed", "426 you went away", "451-disk\r\n451 broke"}) {
            SCOPED_TRACE(pszReply);
            ExpectFailure({Begun(), UntilRead("150 "), SendDataAsFarAsTaken(LinesOf(5000)),
                           ExpectDataClosed(), Wait(Millis(300)), SayLine(pszReply)},
                          FTP_LISTING_TOO_LONG, Limited(1000, bVerify));
        }
    }
}

TEST_P(LimitedListing, FailsAboveTheLimitWithTheClosingReplyThereAlready) {
    for (const bool bVerify : {false, true}) {
        const Stopwatch watch;
        ExpectFailure({SayLine("150 here\r\n226 listed"), SendDataAsFarAsTaken(LinesOf(5000)),
                       ExpectDataClosed()},
                      FTP_LISTING_TOO_LONG, Limited(1000, bVerify));
        EXPECT_BETWEEN(watch.Elapsed(), 0, kNoWait);
    }
}

TEST_F(LimitedListingAlone, EndsAnEndlessListing) {
    const std::string strEndless = LinesOf(32U << 20);
    for (const bool bVerify : {false, true}) {
        bool bCutOff = false;
        const Stopwatch watch;
        ExpectFailure({Begun(), UntilRead("150 "), SendDataAsFarAsTaken(strEndless),
                       Do([&] { bCutOff = watch.Elapsed() < Millis(kNoWait); }), ExpectDataClosed(),
                       SayLine("426 you went away")},
                      FTP_LISTING_TOO_LONG, Limited(100000, bVerify));
        EXPECT_TRUE(bCutOff);
        EXPECT_BETWEEN(watch.Elapsed(), 0, kNoWait);
    }
}

// Slow, but never silent for so long that the listing would end by itself.
TEST_F(LimitedListingAlone, EndsASlowEndlessListing) {
    for (const bool bVerify : {false, true}) {
        std::vector<SStep> steps{Begun(), UntilRead("150 ")};
        for (int i = 0; i < 30; ++i) {
            steps.push_back(SendDataAsFarAsTaken(LinesOf(100)));
            steps.push_back(Wait(Millis(50)));
        }
        steps.push_back(ExpectDataClosed());
        steps.push_back(SayLine("426 you went away"));
        ExpectFailure(steps, FTP_LISTING_TOO_LONG, Limited(500, bVerify));
    }
}

TEST_P(LimitedListing, RemoveDirDeletesNothingThen) {
    COptionsSession session({Cwd("/srv/data/d"), Passive(), Expect("LIST"), Begun(),
                             SendDataAsFarAsTaken(LinesOf(5000)), CloseData(), SayLine("226 ok")},
                            Limited(1000, true));
    EXPECT_EQ(session->RemoveDir("d"), FTP_LISTING_TOO_LONG);
}

TEST_P(LimitedListing, DoesNotLimitFiles) {
    const CTarget target(false);
    const CSource source(Payload(5000));
    std::vector<SStep> script =
        Retr({Begun(), SendData(Payload(5000)), CloseData(), SayLine("226 sent")});
    const auto put = Stor({Begun(), ReceiveData(), SayLine("226 stored")});
    script.insert(script.end(), put.begin(), put.end());
    COptionsSession session(script, Limited(10, true));
    EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
    EXPECT_EQ(session->PutOneFileToFile(source.Path(), "f"), 0U);
    target.ExpectReplaced(Payload(5000));
    EXPECT_TRUE(SamePayload(Payload(5000), session.Uploads().at(0)));
}

}  // namespace
}  // namespace SessionTest
