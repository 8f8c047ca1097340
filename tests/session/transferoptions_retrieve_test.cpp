// A verified retrieve: what counts as its end, and what becomes of the target.

#include <gtest/gtest.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/session/transferoptions.h"

namespace SessionTest {
namespace {

namespace fs = std::filesystem;
using namespace RVN_FTP_CLIENT;

class VerifiedRetrieve : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(VerifiedRetrieve);
class VerifiedRetrieveAlone : public Dialogue {};

const std::string& Bytes() {
    static const std::string strBytes = Payload(5000);
    return strBytes;
}

SStep Begun() {
    return SayLine("150 here it comes");
}

std::vector<SStep> WholeFileAnd(const SStep& closing) {
    return Retr({Begun(), SendData(Bytes()), CloseData(), closing});
}

// Retrieves into a target that does not exist and into one that does. Both must be as before.
void ExpectFailure(const std::vector<SStep>& script, unsigned int uResult,
                   const SPatience& patience = kPatient) {
    for (const bool bExists : {false, true}) {
        SCOPED_TRACE(bExists ? "over a file" : "as a new file");
        const CTarget target(bExists);
        COptionsSession session(script, Verified(), patience);
        EXPECT_EQ(session->GetOneFile("f", target.Path(), false), uResult);
        target.ExpectUntouched();
    }
}

// ---- Success ----

TEST_P(VerifiedRetrieve, ReplacesTheTarget) {
    for (const std::size_t nSize : {0U, 1U, 1023U, 1024U, 1025U, 5000U, 1U << 20}) {
        for (const bool bExists : {false, true}) {
            SCOPED_TRACE(nSize);
            const std::string strBytes = Payload(nSize, nSize);
            const CTarget target(bExists);
            COptionsSession session(
                Retr({Begun(), SendData(strBytes), CloseData(), SayLine("226 sent")}), Verified());
            EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
            target.ExpectReplaced(strBytes);
        }
    }
    EXPECT_EQ(ErrorLog(), "");
}

// A link of the part's name, which somebody else may have put there, leads nowhere.
TEST_P(VerifiedRetrieve, DoesNotWriteThroughALinkOfThePartsName) {
    const TempDir elsewhere;
    WriteFile(elsewhere.File("victim"), "not yours");
    const CTarget target(true);
    fs::create_symlink(elsewhere.File("victim"), target.Part());
    COptionsSession session(WholeFileAnd(SayLine("226 sent")), Verified());
    EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
    EXPECT_EQ(ReadFile(elsewhere.File("victim")), "not yours");
    EXPECT_FALSE(fs::is_symlink(target.Path()));
    target.ExpectReplaced(Bytes());
}

TEST_P(VerifiedRetrieve, SendsWhatAnUnverifiedOneSends) {
    const CTarget target(false);
    COptionsSession session(WholeFileAnd(SayLine("226 sent")), Verified());
    EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
    EXPECT_EQ(session.Commands(),
              (std::vector<std::string>{"USER bob\r\n", "PASS tea\r\n", "PWD\r\n", "TYPE I\r\n",
                                        "CWD /srv/data\r\n", "PASV\r\n", "RETR f\r\n"}));
}

TEST_P(VerifiedRetrieve, SucceedsWithAnyCompletionReply) {
    for (const char* pszReply :
         {"226 sent", "250 sent", "200 sent", "226-sent\r\n all of it\r\n226 indeed"}) {
        SCOPED_TRACE(pszReply);
        const CTarget target(true);
        COptionsSession session(WholeFileAnd(SayLine(pszReply)), Verified());
        EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
        target.ExpectReplaced(Bytes());
    }
}

TEST_P(VerifiedRetrieve, TakesTheTargetsPlaceOnlyAtTheEnd) {
    const CTarget target(true);
    FtpTransferOptions options = Verified();
    int nCalls = 0;
    options.progress = [&](unsigned long long) {
        ++nCalls;
        EXPECT_EQ(ReadFile(target.Path()), CTarget::kOld);
        EXPECT_EQ(NamesIn(target.Directory()), (std::vector<std::string>{"f", "f.part"}));
        return true;
    };
    COptionsSession session(WholeFileAnd(SayLine("226 sent")), options);
    EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
    EXPECT_GT(nCalls, 0);
    target.ExpectReplaced(Bytes());
}

TEST_F(VerifiedRetrieveAlone, KeepsTheOldFileUntilTheClosingReply) {
    const CTarget target(true);
    COptionsSession session(
        Retr({Begun(), SendData(Bytes()), CloseData(), Wait(Millis(200)),
              Do([&] { EXPECT_EQ(ReadFile(target.Path()), CTarget::kOld); }), SayLine("226 sent")}),
        Verified());
    EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
    target.ExpectReplaced(Bytes());
}

TEST_P(VerifiedRetrieve, WithoutVerifyingWritesTheTargetItself) {
    const CTarget target(true);
    FtpTransferOptions options;
    int nCalls = 0;
    options.progress = [&](unsigned long long) {
        ++nCalls;
        EXPECT_EQ(NamesIn(target.Directory()), std::vector<std::string>{"f"});
        return true;
    };
    COptionsSession session(WholeFileAnd(SayLine("226 sent")), options);
    EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
    EXPECT_GT(nCalls, 0);
    target.ExpectReplaced(Bytes());
}

TEST_P(VerifiedRetrieve, OverwritesThePartOfACrash) {
    const CTarget target(true);
    WriteFile(target.Part(), Payload(9000, 7));
    {
        COptionsSession session(WholeFileAnd(SayLine("226 sent")), Verified());
        EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
        target.ExpectReplaced(Bytes());
    }
    const CTarget failing(true);
    WriteFile(failing.Part(), Payload(9000, 7));
    COptionsSession session(
        Retr({Begun(), UntilRead("150 "), SendData(Bytes()), CloseData(), SayLine("451 broken")}),
        Verified());
    EXPECT_EQ(session->GetOneFile("f", failing.Path(), false), FTP_REPLY_451);
    failing.ExpectUntouched();
}

// ---- The data connection breaks ----

struct SBreak {
    const char* pszName;
    std::vector<SStep> steps;  // behind RETR
};

std::vector<SBreak> Breaks() {
    const SStep settle = Wait(Millis(100));  // a reset may overtake data
    const SStep broken = SayLine("426 broken");
    return {
        {"before the first block", {ResetData(), settle, Begun(), UntilRead("150 "), broken}},
        {"in the middle",
         {Begun(), SendData(Bytes().substr(0, 2500)), settle, ResetData(), broken}},
        {"behind the last block", {Begun(), SendData(Bytes()), settle, ResetData(), broken}},
        {"behind the last block, of a server that noticed nothing",
         {Begun(), SendData(Bytes()), settle, ResetData(), SayLine("226 sent")}},
    };
}

TEST_P(VerifiedRetrieve, TellsOfAResetWhereverItComes) {
    for (const SBreak& test : Breaks()) {
        SCOPED_TRACE(test.pszName);
        ExpectFailure(Retr(test.steps), FTP_DATA_BROKEN);
    }
}

TEST_F(VerifiedRetrieveAlone, TellsOfAResetThoughTheServerSaysNothing) {
    ExpectFailure(
        Retr({Begun(), SendData(Bytes().substr(0, 2500)), Wait(Millis(100)), ResetData()}),
        FTP_DATA_BROKEN, kHasty);
}

TEST_F(VerifiedRetrieveAlone, TellsOfAResetWhenTheServerIsGone) {
    const CTarget target(true);
    ScriptedServer server{LogIn(),
                          Sequence(Retr({Begun(), SendData(Bytes().substr(0, 2500)),
                                         Wait(Millis(100)), ResetData()})),
                          Reset()};
    CClient client(server);
    client.setParam(1, 1, 1);
    client.setTransferOptions(Verified());
    ASSERT_EQ(client.Login(), 0U);
    const Stopwatch watch;
    EXPECT_EQ(client.GetOneFile("f", target.Path(), false), FTP_DATA_BROKEN);
    EXPECT_BETWEEN(watch.Elapsed(), 0, 5000);
    target.ExpectUntouched();
    EXPECT_EQ(client.Close(), FTP_CLOSE_FAILED);
    server.ExpectFinished();
}

TEST_F(VerifiedRetrieveAlone, TellsOfFiveSecondsOfSilence) {
    const CTarget target(true);
    COptionsSession session(Retr({Begun(), SendData(Bytes().substr(0, 2500)), ExpectDataClosed(),
                                  SayLine("426 you went away")}),
                            Verified());
    const Stopwatch watch;
    EXPECT_EQ(session->GetOneFile("f", target.Path(), false), FTP_DATA_BROKEN);
    EXPECT_BETWEEN(watch.Elapsed(), 4900, 9000);
    target.ExpectUntouched();
}

TEST_F(VerifiedRetrieveAlone, TellsOfSilenceFromTheStart) {
    const CTarget target(false);
    COptionsSession session(Retr({Begun(), ExpectDataClosed(), SayLine("226 nothing sent")}),
                            Verified());
    const Stopwatch watch;
    EXPECT_EQ(session->GetOneFile("f", target.Path(), false), FTP_DATA_BROKEN);
    EXPECT_BETWEEN(watch.Elapsed(), 4900, 9000);
    target.ExpectUntouched();
}

TEST_F(VerifiedRetrieveAlone, GoesOnAfterPausesOfLessThanFiveSeconds) {
    const CTarget target(true);
    COptionsSession session(
        Retr({Begun(), SendData(Bytes(), 2500, Millis(3500)), CloseData(), SayLine("226 sent")}),
        Verified());
    EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
    target.ExpectReplaced(Bytes());
}

// ---- The closing reply ----

constexpr SReplyRow kClosingFailures[] = {
    {"425 no connection", FTP_REPLY_425},
    {"426 broken", FTP_REPLY_426},
    {"450 busy", FTP_REPLY_450},
    {"451 disk", FTP_REPLY_451},
    {"451-disk\r\n451 broke", FTP_REPLY_451},
    {"452 full", FTP_REPLY_452},
    {"552 quota", FTP_REPLY_552},
    {"550 no", FTP_REPLY_550},
    {"550 f: Permission denied", FTP_PERMISSION_DENIED},
    {"550 f: No such file or directory", FTP_NO_SUCH_FILE},
    {"421 FTP server shutdown", FTP_SERVER_SHUTDOWN},
    {"421 going down", FTP_REPLY_421},
    {"599 odd", FTP_UNKNOWN_REPLY},
};

TEST_P(VerifiedRetrieve, ReturnsAFailureAtTheEnd) {
    for (const SReplyRow& row : kClosingFailures) {
        SCOPED_TRACE(row.pszReply);
        ExpectFailure(WholeFileAnd(SayLine(row.pszReply)), row.uResult);
    }
}

TEST_F(VerifiedRetrieveAlone, TellsThatTheClosingReplyNeverCame) {
    for (const SPatience& patience : {SPatience{1, 1, 1}, SPatience{1, 2, 1}, SPatience{1, 3, 1},
                                      SPatience{1, 0, 1}, SPatience{1, 1, 2}, SPatience{1, 1, 0}}) {
        SCOPED_TRACE(testing::Message() << patience.usConnTimeout << ", " << patience.usRetryTimes
                                        << ", " << patience.usRetryTimeout);
        const CTarget target(true);
        COptionsSession session(Retr({Begun(), SendData(Bytes()), CloseData()}), Verified(),
                                patience);
        const Stopwatch watch;
        EXPECT_EQ(session->GetOneFile("f", target.Path(), false), FTP_NO_REPLY);
        EXPECT_BETWEEN(watch.Elapsed(), 900, 9000);
        target.ExpectUntouched();
    }
}

TEST_F(VerifiedRetrieveAlone, TellsThatTheServerHungUpInsteadOfClosing) {
    for (const SStep& end : {Close(), Reset()}) {
        SCOPED_TRACE(end.strName);
        const CTarget target(true);
        ScriptedServer server{
            LogIn(), Sequence(Retr({Begun(), SendData(Bytes()), CloseData(), Wait(Millis(200))})),
            end};
        CClient client(server);
        client.setParam(1, 1, 1);
        client.setTransferOptions(Verified());
        ASSERT_EQ(client.Login(), 0U);
        EXPECT_EQ(client.GetOneFile("f", target.Path(), false), FTP_NO_REPLY);
        target.ExpectUntouched();
        EXPECT_EQ(client.Close(), FTP_CLOSE_FAILED);
        server.ExpectFinished();
    }
}

// With more retries than seconds of each the reader gives up in another way.
TEST_F(VerifiedRetrieveAlone, TellsThatOnlyPartOfAReplyOrTextWithoutCodeCame) {
    for (const char* pszPart : {"226-sent\r\n", "garbled nonsense\r\n"}) {
        SCOPED_TRACE(pszPart);
        const CTarget target(true);
        ScriptedServer server{LogIn(), Sequence(Retr({Begun(), UntilRead("150 "), SendData(Bytes()),
                                                      CloseData(), Say(pszPart)}))};
        CClient client(server);
        client.setParam(1, 2, 1);
        client.setTransferOptions(Verified());
        ASSERT_EQ(client.Login(), 0U);
        EXPECT_EQ(client.GetOneFile("f", target.Path(), false), FTP_NO_REPLY);
        target.ExpectUntouched();
        client.Close();
        server.Finish();
    }
}

// Cut off in its only line, it has not come either.
TEST_F(VerifiedRetrieveAlone, TellsThatTheClosingReplyCameInPartOnly) {
    for (const char* pszPart : {"2", "226", "226 se", "226-sent\r\n", "226-sent\r\nall of"}) {
        SCOPED_TRACE(pszPart);
        const CTarget target(true);
        ScriptedServer server{LogIn(), Sequence(Retr({Begun(), UntilRead("150 "), SendData(Bytes()),
                                                      CloseData(), Say(pszPart)}))};
        RecordingLog::Clear();
        CClient client(server);
        client.setParam(1, 1, 1);
        client.setTransferOptions(Verified());
        ASSERT_EQ(client.Login(), 0U);
        EXPECT_EQ(client.GetOneFile("f", target.Path(), false), FTP_NO_REPLY);
        target.ExpectUntouched();
        client.Close();
        server.Finish();
    }
}

// A mark (RFC 959, section 3.5) or another preliminary reply closes nothing.
TEST_P(VerifiedRetrieve, ReadsOnAfterAPreliminaryReply) {
    for (const char* pszMarks : {"110 MARK 1 = 2\r\n", "150-still\r\n150 at it\r\n",
                                 "110 MARK 1 = 2\r\n110 MARK 3 = 4\r\n"}) {
        for (const bool bTogether : {false, true}) {
            for (const SReplyRow& row :
                 {SReplyRow{"226 sent\r\n", 0}, SReplyRow{"451 disk\r\n", FTP_REPLY_451}}) {
                SCOPED_TRACE(testing::Message() << pszMarks << row.pszReply << bTogether);
                const CTarget target(true);
                const std::string strMarks = pszMarks;
                COptionsSession session(
                    Retr({Begun(), UntilRead("150 "), SendData(Bytes()), CloseData(),
                          bTogether
                              ? Say(strMarks + row.pszReply)
                              : Sequence({Say(strMarks), Wait(Millis(60)), Say(row.pszReply)})}),
                    Verified());
                EXPECT_EQ(session->GetOneFile("f", target.Path(), false), row.uResult);
                if (row.uResult == FTP_OK) {
                    target.ExpectReplaced(Bytes());
                } else {
                    target.ExpectUntouched();
                }
            }
        }
    }
}

// A closing reply that comes in the same piece as the preliminary one.

TEST_P(VerifiedRetrieve, DoesNotWaitForAClosingReplyThatIsThereAlready) {
    for (const char* pszReplies : {"150 here\r\n226 sent", "150 here\r\n226-sent\r\n226 all"}) {
        SCOPED_TRACE(pszReplies);
        const CTarget target(true);
        COptionsSession session(Retr({SayLine(pszReplies), SendData(Bytes()), CloseData()}),
                                Verified());
        const Stopwatch watch;
        EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
        EXPECT_BETWEEN(watch.Elapsed(), 0, kNoWait);
        target.ExpectReplaced(Bytes());
    }
}

TEST_P(VerifiedRetrieve, ReturnsAFailureThatIsThereAlready) {
    for (const SReplyRow& row : {SReplyRow{"150 here\r\n426 broken", FTP_REPLY_426},
                                 SReplyRow{"150 here\r\n451 disk", FTP_REPLY_451},
                                 SReplyRow{"150 here\r\n451-disk\r\n451 broke", FTP_REPLY_451},
                                 SReplyRow{"150 here\r\n552 quota", FTP_REPLY_552}}) {
        for (const bool bData : {false, true}) {
            SCOPED_TRACE(testing::Message() << row.pszReply << (bData ? ", and data" : ""));
            const Stopwatch watch;
            ExpectFailure(Retr({SayLine(row.pszReply),
                                bData ? SendDataAsFarAsTaken(Bytes()) : AcceptData(), CloseData()}),
                          row.uResult);
            EXPECT_BETWEEN(watch.Elapsed(), 0, kNoWait);
        }
    }
}

TEST_F(VerifiedRetrieveAlone, ReadsBothRepliesHoweverTheyAreCut) {
    for (const SReplyRow& row :
         {SReplyRow{"150 a\r\n226 b\r\n", 0}, SReplyRow{"150 a\r\n451 b\r\n", FTP_REPLY_451}}) {
        const std::string strReplies = row.pszReply;
        for (std::size_t nCut = 1; nCut < strReplies.size(); ++nCut) {
            SCOPED_TRACE(testing::Message() << row.pszReply << " cut at " << nCut);
            const CTarget target(true);
            COptionsSession session(
                Retr({SayPieces({strReplies.substr(0, nCut), strReplies.substr(nCut)}, Millis(30)),
                      SendDataAsFarAsTaken(Bytes()), CloseData()}),
                Verified());
            const Stopwatch watch;
            EXPECT_EQ(session->GetOneFile("f", target.Path(), false), row.uResult);
            EXPECT_BETWEEN(watch.Elapsed(), 0, kNoWait);
            if (row.uResult == FTP_OK) {
                target.ExpectReplaced(Bytes());
            } else {
                target.ExpectUntouched();
            }
        }
    }
}

// ---- Refusals ----

TEST_P(VerifiedRetrieve, ReturnsAtOnceWhenRefused) {
    for (const SReplyRow& row :
         {SReplyRow{"550 no", FTP_REPLY_550}, SReplyRow{"550-no\r\n550 really", FTP_REPLY_550},
          SReplyRow{"550 f: No such file or directory", FTP_NO_SUCH_FILE},
          SReplyRow{"450 busy", FTP_REPLY_450}, SReplyRow{"425 no connection", FTP_REPLY_425},
          SReplyRow{"530 log in", FTP_REPLY_530}}) {
        SCOPED_TRACE(row.pszReply);
        for (const bool bExists : {false, true}) {
            const CTarget target(bExists);
            COptionsSession session(Retr({SayLine(row.pszReply), ExpectDataClosed()}), Verified());
            const Stopwatch watch;
            EXPECT_EQ(session->GetOneFile("f", target.Path(), false), row.uResult);
            EXPECT_BETWEEN(watch.Elapsed(), 0, 1000);
            target.ExpectUntouched();
        }
    }
}

TEST_P(VerifiedRetrieve, LeavesTheTargetWhenItDoesNotComeAsFarAsTheTransfer) {
    ExpectFailure({On("TYPE I", "504 not that")}, FTP_UNKNOWN_REPLY);
    ExpectFailure({TypeImage(), On("CWD /srv/data", "550 no")}, FTP_CWD_REFUSED);
    ExpectFailure({TypeImage(), Cwd(kRoot), On("PASV", "425 no port")}, FTP_REPLY_425);
    ExpectFailure({TypeImage(), Cwd(kRoot), Expect("PASV"), SayPassiveDead()}, FTP_CONNECT_FAILED);
}

TEST_P(VerifiedRetrieve, ABatchEndsAtTheFirstFailure) {
    const TempDir local;
    std::vector<Ftp_File_Pair> pairs{
        {"x", local.File("1")}, {"y", local.File("2")}, {"z", local.File("3")}};
    COptionsSession session(
        {TypeImage(), Cwd(kRoot), Serve("x", Bytes()), Cwd(kRoot), Passive(),
         On("RETR y", "150 here"), SendData(Bytes()), CloseData(), SayLine("426 broken")},
        Verified());
    EXPECT_EQ(session->GetFile(pairs, false), FTP_REPLY_426);
    EXPECT_EQ(NamesIn(local.Path()), std::vector<std::string>{"1"});
    EXPECT_TRUE(SamePayload(Bytes(), ReadFile(local.File("1"))));
}

// ---- Targets that are no plain files ----

// A server that sends the file, whatever the client does with it.
std::vector<SStep> Served(const std::string& strBytes = Bytes()) {
    return Retr({Begun(), SendDataAsFarAsTaken(strBytes), CloseData(), SayLine("226 sent")});
}

TEST_P(VerifiedRetrieve, TellsThatTheTargetIsADirectory) {
    for (const bool bEmpty : {true, false}) {
        SCOPED_TRACE(bEmpty);
        const TempDir local;
        fs::create_directory(local.File("d"));
        if (!bEmpty) WriteFile(local.File("d") + "/inside", "tea");
        COptionsSession session(Served(), Verified());
        EXPECT_EQ(session->GetOneFile("f", local.File("d"), false), FTP_LOCAL_CREATE_FAILED);
        EXPECT_EQ(NamesIn(local.Path()), std::vector<std::string>{"d"});
        EXPECT_TRUE(fs::is_directory(local.File("d")));
        EXPECT_EQ(NamesIn(local.File("d")).size(), bEmpty ? 0U : 1U);
    }
}

TEST_P(VerifiedRetrieve, NeedsTheLocalDirectory) {
    const TempDir local;
    WriteFile(local.File("file"), "tea");
    for (const char* pszPath : {"missing/f", "file/f"}) {
        SCOPED_TRACE(pszPath);
        COptionsSession session(Served(), Verified());
        EXPECT_EQ(session->GetOneFile("f", local.File(pszPath), false), FTP_LOCAL_CREATE_FAILED);
        EXPECT_EQ(NamesIn(local.Path()), std::vector<std::string>{"file"});
        EXPECT_EQ(ReadFile(local.File("file")), "tea");
    }
}

TEST_P(VerifiedRetrieve, LeavesADirectoryOfThePartsNameAlone) {
    const CTarget target(true);
    fs::create_directory(target.Part());
    COptionsSession session(Served(), Verified());
    EXPECT_EQ(session->GetOneFile("f", target.Path(), false), FTP_LOCAL_CREATE_FAILED);
    EXPECT_TRUE(fs::is_directory(target.Part()));
    EXPECT_EQ(ReadFile(target.Path()), CTarget::kOld);
}

// A device as it stands in /dev. Root, who could replace that of the machine, gets one of the
// test's own.
class CDevice {
public:
    explicit CDevice(const std::string& strName) : m_strPath("/dev/" + strName) {
        struct stat device {};
        EXPECT_EQ(::stat(m_strPath.c_str(), &device), 0) << m_strPath;
        m_nDevice = device.st_rdev;
        if (::geteuid() != 0) return;
        m_strPath = m_directory.File(strName);
        EXPECT_EQ(::mknod(m_strPath.c_str(), S_IFCHR | 0666, m_nDevice), 0)
            << "this machine refuses root a device of its own";
    }
    const std::string& Path() const { return m_strPath; }
    const TempDir& Directory() const { return m_directory; }

    void ExpectUntouched() const {
        struct stat now {};
        ASSERT_EQ(::lstat(m_strPath.c_str(), &now), 0);
        EXPECT_TRUE(S_ISCHR(now.st_mode));
        EXPECT_EQ(now.st_rdev, m_nDevice);
        EXPECT_FALSE(fs::exists(m_strPath + ".part"));
    }

private:
    TempDir m_directory;
    std::string m_strPath;
    dev_t m_nDevice = 0;
};

TEST_P(VerifiedRetrieve, TellsThatADeviceIsFull) {
    for (const std::size_t nSize : {1U, 5000U, 1U << 20}) {
        SCOPED_TRACE(nSize);
        const CDevice full("full");
        ASSERT_FALSE(HasFailure());
        COptionsSession session(Served(Payload(nSize)), Verified());
        EXPECT_EQ(session->GetOneFile("f", full.Path(), false), FTP_LOCAL_IO_FAILED);
        full.ExpectUntouched();
    }
}

TEST_P(VerifiedRetrieve, WritesToADeviceAndLeavesItOne) {
    const CDevice null("null");
    ASSERT_FALSE(HasFailure());
    for (const SReplyRow& row : {SReplyRow{"226 sent", 0}, SReplyRow{"451 disk", FTP_REPLY_451}}) {
        COptionsSession session(WholeFileAnd(SayLine(row.pszReply)), Verified());
        EXPECT_EQ(session->GetOneFile("f", null.Path(), false), row.uResult);
        null.ExpectUntouched();
    }
}

TEST_P(VerifiedRetrieve, WritesToADeviceThroughALink) {
    const CDevice null("null");
    ASSERT_FALSE(HasFailure());
    const std::string strLink = null.Directory().File("link");
    fs::create_symlink(null.Path(), strLink);
    COptionsSession session(Served(), Verified());
    EXPECT_EQ(session->GetOneFile("f", strLink, false), 0U);
    null.ExpectUntouched();
    EXPECT_TRUE(fs::is_symlink(strLink));
    EXPECT_FALSE(fs::exists(strLink + ".part"));
}

TEST_P(VerifiedRetrieve, ALinkGivesTheNewContentAfterwards) {
    const TempDir local;
    fs::create_directory(local.File("d"));
    for (const bool bDangling : {false, true}) {
        SCOPED_TRACE(bDangling ? "dangling" : "to a file");
        if (bDangling) {
            fs::remove(local.File("d/real"));
        } else {
            WriteFile(local.File("d/real"), CTarget::kOld);
        }
        fs::remove(local.File("link"));
        fs::create_symlink(local.File("d/real"), local.File("link"));
        COptionsSession session(Served(), Verified());
        EXPECT_EQ(session->GetOneFile("f", local.File("link"), false), 0U);
        EXPECT_TRUE(SamePayload(Bytes(), ReadFile(local.File("link"))));
        EXPECT_EQ(NamesIn(local.Path()), (std::vector<std::string>{"d", "link"}));
        EXPECT_FALSE(fs::exists(local.File("d/real.part")));
    }
}

TEST_P(VerifiedRetrieve, AFailureLeavesALinkAndItsFileAlone) {
    const TempDir local;
    fs::create_directory(local.File("d"));
    WriteFile(local.File("d/real"), CTarget::kOld);
    fs::create_symlink(local.File("d/real"), local.File("link"));
    COptionsSession session(WholeFileAnd(SayLine("426 broken")), Verified());
    EXPECT_EQ(session->GetOneFile("f", local.File("link"), false), FTP_REPLY_426);
    EXPECT_EQ(ReadFile(local.File("d/real")), CTarget::kOld);
    EXPECT_TRUE(fs::is_symlink(local.File("link")));
    EXPECT_EQ(NamesIn(local.Path()), (std::vector<std::string>{"d", "link"}));
    EXPECT_EQ(NamesIn(local.File("d")), std::vector<std::string>{"real"});
}

}  // namespace
}  // namespace SessionTest
