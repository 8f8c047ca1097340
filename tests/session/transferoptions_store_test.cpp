// A verified store.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/session/transferoptions.h"

namespace SessionTest {
namespace {

using namespace RVN_FTP_CLIENT;

class VerifiedStore : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(VerifiedStore);
class VerifiedStoreAlone : public Dialogue {};

const std::string& Bytes() {
    static const std::string strBytes = Payload(5000);
    return strBytes;
}

SStep Begun() {
    return SayLine("150 go ahead");
}

// Stores the bytes as "f" in a session that plays the steps behind STOR.
unsigned int Stored(const std::vector<SStep>& steps, const FtpTransferOptions& options,
                    const SPatience& patience = kPatient, const std::string& strBytes = Bytes()) {
    const CSource source(strBytes);
    COptionsSession session(Stor(steps), options, patience);
    return session->PutOneFileToFile(source.Path(), "f");
}

// ---- Success ----

TEST_P(VerifiedStore, StoresFilesOfAnySize) {
    for (const std::size_t nSize : {0U, 1U, 1023U, 1024U, 1025U, 5000U, 1U << 20}) {
        SCOPED_TRACE(nSize);
        const std::string strBytes = Payload(nSize, nSize);
        const CSource source(strBytes);
        COptionsSession session(Stor({Begun(), ReceiveData(), SayLine("226 stored")}), Verified());
        EXPECT_EQ(session->PutOneFileToFile(source.Path(), "f"), 0U);
        ASSERT_EQ(session.Uploads().size(), 1U);
        EXPECT_TRUE(SamePayload(strBytes, session.Uploads()[0]));
    }
    EXPECT_EQ(ErrorLog(), "");
}

TEST_P(VerifiedStore, SucceedsWithAnyCompletionReply) {
    for (const char* pszReply :
         {"226 stored", "250 stored", "200 stored", "226-a\r\n b\r\n226 c"}) {
        SCOPED_TRACE(pszReply);
        EXPECT_EQ(Stored({Begun(), ReceiveData(), SayLine(pszReply)}, Verified()), 0U);
    }
}

// ---- The local file ----

TEST_P(VerifiedStore, OfAMissingFileSaysNothingToTheServer) {
    const TempDir local;
    COptionsSession session({TypeImage(), TypeImage()}, Verified());
    EXPECT_EQ(session->PutOneFileToFile(local.File("none"), "f"), FTP_LOCAL_OPEN_FAILED);
    EXPECT_EQ(session->PutOneFileToPath(local.File("none"), "d"), FTP_LOCAL_OPEN_FAILED);
}

TEST_P(VerifiedStore, OfABatchEndsAtAMissingFile) {
    const TempDir local;
    WriteFile(local.File("1"), Bytes());
    std::vector<Ftp_File_Pair> pairs{
        {local.File("1"), "f"}, {local.File("none"), "g"}, {local.File("1"), "h"}};
    COptionsSession session(Stor({Begun(), ReceiveData(), SayLine("226 stored")}), Verified());
    EXPECT_EQ(session->PutFile(pairs), FTP_LOCAL_OPEN_FAILED);
    ASSERT_EQ(session.Uploads().size(), 1U);
    EXPECT_TRUE(SamePayload(Bytes(), session.Uploads()[0]));
}

TEST_P(VerifiedStore, TellsThatADirectoryCannotBeRead) {
    const TempDir local;
    COptionsSession session(Stor({Begun(), ReceiveData(), SayLine("226 stored")}), Verified());
    EXPECT_EQ(session->PutOneFileToFile(local.Path().string(), "f"), FTP_LOCAL_IO_FAILED);
    EXPECT_EQ(session.Uploads(), std::vector<std::string>{""});
}

// ---- The data connection breaks ----

// Holds the client between two blocks until the server has broken the connection, so that the very
// next block is the one that cannot be sent.
class CBreak {
public:
    explicit CBreak(unsigned long long ullAt) : m_ullAt(ullAt) {}

    FtpTransferOptions Options() {
        FtpTransferOptions options = Verified();
        options.progress = [this](unsigned long long ullMoved) {
            const Stopwatch watch;
            while (ullMoved >= m_ullAt && !m_bBroken && watch.Elapsed() < Millis(10000))
                std::this_thread::sleep_for(Millis(2));
            return true;
        };
        return options;
    }
    // Takes the bytes until the break, and breaks.
    SStep Step() {
        return Sequence({m_ullAt == 0 ? AcceptData() : ReceiveData(m_ullAt), ResetData(),
                         Wait(Millis(50)), Do([this] { m_bBroken = true; })});
    }

private:
    const unsigned long long m_ullAt;
    std::atomic<bool> m_bBroken{false};
};

// The remote file exists by then, and the caller may have to know.
TEST_P(VerifiedStore, TellsTheProgressEvenWhenTheFirstBlockCannotBeSent) {
    std::vector<unsigned long long> calls;
    FtpTransferOptions options = Verified();
    options.progress = [&calls](unsigned long long ullMoved) {
        calls.push_back(ullMoved);
        return true;
    };
    EXPECT_EQ(
        Stored({ResetData(), Wait(Millis(50)), Begun(), UntilRead("150 "), SayLine("451 disk")},
               options),
        FTP_REPLY_451);
    EXPECT_EQ(calls, std::vector<unsigned long long>{0});
}

constexpr unsigned long long kBreaks[] = {1024, 2048, 4096};  // of 5000 in blocks of 1024

TEST_P(VerifiedStore, TellsOfAResetWhereverItComes) {
    EXPECT_EQ(
        Stored({ResetData(), Wait(Millis(50)), Begun(), UntilRead("150 "), SayLine("426 broken")},
               Verified()),
        FTP_DATA_BROKEN)
        << "before the first block";
    for (const unsigned long long ullAt : kBreaks) {
        CBreak broken(ullAt);
        EXPECT_EQ(Stored({Begun(), broken.Step(), SayLine("426 broken")}, broken.Options()),
                  FTP_DATA_BROKEN)
            << "after " << ullAt;
    }
}

TEST_P(VerifiedStore, PrefersTheServersReasonToTheBrokenConnection) {
    for (const SReplyRow& row :
         {SReplyRow{"452 full", FTP_REPLY_452}, SReplyRow{"552 quota", FTP_REPLY_552},
          SReplyRow{"451 disk", FTP_REPLY_451}, SReplyRow{"552-quota\r\n552 used", FTP_REPLY_552},
          SReplyRow{"426 broken", FTP_DATA_BROKEN},
          SReplyRow{"226 stored", FTP_DATA_BROKEN}}) {  // which cannot be true
        for (const unsigned long long ullAt : kBreaks) {
            CBreak broken(ullAt);
            EXPECT_EQ(Stored({Begun(), broken.Step(), SayLine(row.pszReply)}, broken.Options()),
                      row.uResult)
                << row.pszReply << " after " << ullAt;
        }
    }
}

TEST_F(VerifiedStoreAlone, TellsOfAResetThoughTheServerSaysNothing) {
    CBreak broken(2048);
    EXPECT_EQ(Stored({Begun(), broken.Step()}, broken.Options(), kHasty), FTP_DATA_BROKEN);
}

TEST_F(VerifiedStoreAlone, TellsOfAResetWhenTheServerIsGone) {
    const CSource source(Bytes());
    CBreak broken(2048);
    ScriptedServer server{LogIn(), Sequence(Stor({Begun(), broken.Step()})), Reset()};
    CClient client(server);
    client.setParam(1, 1, 1);
    client.setTransferOptions(broken.Options());
    ASSERT_EQ(client.Login(), 0U);
    EXPECT_EQ(client.PutOneFileToFile(source.Path(), "f"), FTP_DATA_BROKEN);
    EXPECT_EQ(client.Close(), FTP_CLOSE_FAILED);
    server.ExpectFinished();
}

// The rest of a large file is not read and sent into nothing.
TEST_F(VerifiedStoreAlone, EndsWhenTheServerClosesTheDataConnection) {
    unsigned long long ullLast = 0;
    FtpTransferOptions options = Verified();
    options.progress = [&](unsigned long long ullMoved) {
        ullLast = ullMoved;
        return true;
    };
    constexpr std::size_t kSize = 32U << 20;
    for (const SReplyRow& row :
         {SReplyRow{"426 broken", FTP_DATA_BROKEN}, SReplyRow{"452 full", FTP_REPLY_452}}) {
        EXPECT_EQ(Stored({Begun(), ReceiveData(1500), CloseData(), SayLine(row.pszReply)}, options,
                         kPatient, Payload(kSize)),
                  row.uResult);
        EXPECT_LT(ullLast, kSize);
    }
}

// More than the sockets of both sides hold.
constexpr std::size_t kMoreThanSocketsHold = 32U << 20;

TEST_F(VerifiedStoreAlone, TellsThatTheServerTakesNothingForFiveSeconds) {
    const Stopwatch watch;
    EXPECT_EQ(Stored({Begun(), AcceptData(), Wait(Millis(6500)), ExpectDataClosed(),
                      SayLine("426 you went away")},
                     Verified(), kPatient, Payload(kMoreThanSocketsHold)),
              FTP_DATA_BROKEN);
    EXPECT_BETWEEN(watch.Elapsed(), 4900, 12000);
}

TEST_F(VerifiedStoreAlone, WaitsForASlowServerThatTakesSomething) {
    const std::string strBytes = Payload(kMoreThanSocketsHold);
    const CSource source(strBytes);
    COptionsSession session(Stor({Begun(), AcceptData(), Wait(Millis(3500)), ReceiveData(12U << 20),
                                  Wait(Millis(3500)), ReceiveData(), SayLine("226 stored")}),
                            Verified());
    const Stopwatch watch;
    EXPECT_EQ(session->PutOneFileToFile(source.Path(), "f"), 0U);
    EXPECT_GE(watch.Elapsed().count(), 6900);
    ASSERT_EQ(session.Uploads().size(), 1U);
    EXPECT_TRUE(SamePayload(strBytes, session.Uploads()[0]));
}

TEST_F(VerifiedStoreAlone, PrefersTheServersReasonAlsoToItsSilence) {
    EXPECT_EQ(Stored({Begun(), AcceptData(), UntilRead("150 "), SayLine("452 full"),
                      Wait(Millis(6500)), ExpectDataClosed()},
                     Verified(), kPatient, Payload(kMoreThanSocketsHold)),
              FTP_REPLY_452);
}

// ---- The closing reply ----

constexpr SReplyRow kClosingFailures[] = {
    {"425 no connection", FTP_REPLY_425},
    {"426 broken", FTP_REPLY_426},
    {"450 busy", FTP_REPLY_450},
    {"451 disk", FTP_REPLY_451},
    {"452 full", FTP_REPLY_452},
    {"552 quota", FTP_REPLY_552},
    {"552-quota\r\n552 used", FTP_REPLY_552},
    {"553 odd name", FTP_REPLY_553},
    {"550 no", FTP_REPLY_550},
    {"550 f: Permission denied", FTP_PERMISSION_DENIED},
    {"421 going down", FTP_REPLY_421},
    {"599 odd", FTP_UNKNOWN_REPLY},
};

TEST_P(VerifiedStore, ReturnsAFailureAtTheEnd) {
    for (const SReplyRow& row : kClosingFailures) {
        EXPECT_EQ(Stored({Begun(), ReceiveData(), SayLine(row.pszReply)}, Verified()), row.uResult)
            << row.pszReply;
    }
}

TEST_F(VerifiedStoreAlone, TellsThatTheClosingReplyNeverCame) {
    for (const SPatience& patience :
         {SPatience{1, 1, 1}, SPatience{1, 3, 1}, SPatience{1, 0, 1}, SPatience{1, 1, 0}}) {
        SCOPED_TRACE(testing::Message() << patience.usConnTimeout << ", " << patience.usRetryTimes
                                        << ", " << patience.usRetryTimeout);
        const Stopwatch watch;
        EXPECT_EQ(Stored({Begun(), ReceiveData()}, Verified(), patience), FTP_NO_REPLY);
        EXPECT_BETWEEN(watch.Elapsed(), 900, 9000);
    }
}

TEST_F(VerifiedStoreAlone, TellsThatTheServerHungUpInsteadOfClosing) {
    const CSource source(Bytes());
    ScriptedServer server{LogIn(), Sequence(Stor({Begun(), ReceiveData()})), Close()};
    CClient client(server);
    client.setParam(1, 1, 1);
    client.setTransferOptions(Verified());
    ASSERT_EQ(client.Login(), 0U);
    EXPECT_EQ(client.PutOneFileToFile(source.Path(), "f"), FTP_NO_REPLY);
    EXPECT_EQ(client.Close(), FTP_CLOSE_FAILED);
    server.ExpectFinished();
}

TEST_P(VerifiedStore, DoesNotWaitForAClosingReplyThatIsThereAlready) {
    const Stopwatch watch;
    EXPECT_EQ(Stored({SayLine("150 go\r\n226 stored, I trust"), ReceiveData()}, Verified()), 0U);
    EXPECT_BETWEEN(watch.Elapsed(), 0, kNoWait);
}

TEST_P(VerifiedStore, ReturnsAFailureThatIsThereAlready) {
    for (const SReplyRow& row : {SReplyRow{"150 go\r\n426 broken", FTP_REPLY_426},
                                 SReplyRow{"150 go\r\n451 disk", FTP_REPLY_451},
                                 SReplyRow{"150 go\r\n552-quota\r\n552 used", FTP_REPLY_552}}) {
        SCOPED_TRACE(row.pszReply);
        const Stopwatch watch;
        EXPECT_EQ(Stored({SayLine(row.pszReply), ExpectDataClosed()}, Verified()), row.uResult);
        EXPECT_BETWEEN(watch.Elapsed(), 0, kNoWait);
    }
}

TEST_F(VerifiedStoreAlone, ReadsBothRepliesHoweverTheyAreCut) {
    for (const SReplyRow& row :
         {SReplyRow{"150 a\r\n226 b\r\n", 0}, SReplyRow{"150 a\r\n552 b\r\n", FTP_REPLY_552}}) {
        const std::string strReplies = row.pszReply;
        for (std::size_t nCut = 1; nCut < strReplies.size(); ++nCut) {
            SCOPED_TRACE(testing::Message() << row.pszReply << " cut at " << nCut);
            const Stopwatch watch;
            EXPECT_EQ(Stored({SayPieces({strReplies.substr(0, nCut), strReplies.substr(nCut)},
                                        Millis(30)),
                              ExpectDataClosed()},
                             Verified()),
                      row.uResult);
            EXPECT_BETWEEN(watch.Elapsed(), 0, kNoWait);
        }
    }
}

TEST_P(VerifiedStore, ReadsOnAfterAPreliminaryReply) {
    for (const SReplyRow& row :
         {SReplyRow{"226 stored", 0}, SReplyRow{"552 quota", FTP_REPLY_552}}) {
        EXPECT_EQ(Stored({Begun(), ReceiveData(), SayLine("110 MARK 1 = 2"), Wait(Millis(60)),
                          SayLine(row.pszReply)},
                         Verified()),
                  row.uResult);
    }
}

// ---- Refusals ----

TEST_P(VerifiedStore, ReturnsAtOnceWhenRefused) {
    for (const SReplyRow& row :
         {SReplyRow{"553 odd name", FTP_REPLY_553}, SReplyRow{"552 quota", FTP_REPLY_552},
          SReplyRow{"550 f: Permission denied", FTP_PERMISSION_DENIED},
          SReplyRow{"452 full", FTP_REPLY_452}, SReplyRow{"425 no", FTP_REPLY_425}}) {
        SCOPED_TRACE(row.pszReply);
        const CSource source(Bytes());
        COptionsSession session(Stor({SayLine(row.pszReply), ExpectDataClosed()}), Verified());
        const Stopwatch watch;
        EXPECT_EQ(session->PutOneFileToFile(source.Path(), "f"), row.uResult);
        EXPECT_BETWEEN(watch.Elapsed(), 0, 1000);
    }
}

}  // namespace
}  // namespace SessionTest
