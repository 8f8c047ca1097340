// The retrieve transfer.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/session/markedencoding.h"
#include "tests/session/transferfixture.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace SessionTest {
namespace {

namespace fs = std::filesystem;

class Retrieve : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(Retrieve);
class RetrieveAlone : public Dialogue {};

SStep Retr(const std::string& strReply = "150 here it comes") {
    return Sequence({Passive(), On("RETR f", strReply)});
}

// Retrieves /a/f in a session that plays the steps and is in step at its end.
unsigned int Retrieved(const std::vector<SStep>& steps, const std::string& strLocal) {
    ScriptedServer server(Transfer(steps));
    CCommand command(server);
    const unsigned int uResult = command.Ftp_GetFile("/a/f", strLocal, false);
    command.EndInStep();
    server.ExpectFinished();
    return uResult;
}

TEST_P(Retrieve, SendsItsCommands) {
    const TempDir local;
    ScriptedServer server(Transfer({Cwd("/a b"), Serve("c d", "tea")}));
    CCommand command(server);
    EXPECT_EQ(command.Ftp_GetFile("/a b/c d", local.File("f"), false), 0U);
    command.EndInStep();
    server.ExpectFinished();
    EXPECT_EQ(server.Commands(),
              (std::vector<std::string>{"CWD /a b\r\n", "PASV\r\n", "RETR c d\r\n", "PWD\r\n"}));
    EXPECT_EQ(ReadFile(local.File("f")), "tea");
    EXPECT_EQ(ErrorLog(), "");
}

struct SSplit {
    const char* pszPath;
    const char* pszDir;
    const char* pszName;
};

TEST_P(Retrieve, SplitsTheRemotePath) {
    const TempDir local;
    for (const SSplit& split :
         {SSplit{"a\\b\\c.txt", "a/b", "c.txt"}, SSplit{"/c.txt", "/", "c.txt"},
          SSplit{"c.txt", "", "c.txt"}, SSplit{"/a/b", "/a", "b"}, SSplit{"\\c", "/", "c"}}) {
        SCOPED_TRACE(split.pszPath);
        ScriptedServer server(Transfer({Cwd(split.pszDir), Serve(split.pszName, "tea")}));
        CCommand command(server);
        EXPECT_EQ(command.Ftp_GetFile(split.pszPath, local.File("f"), false), 0U);
        command.EndInStep();
        server.ExpectFinished();
    }
}

TEST_P(Retrieve, WritesFilesOfAnySizeInBlocksOfAnySize) {
    const TempDir local;
    for (const std::size_t nSize : {0U, 1U, 1023U, 1024U, 1025U, 5000U, 1U << 20}) {
        for (const std::size_t nBlock : {0U, 1000U, 1024U, 1500U}) {
            SCOPED_TRACE(std::to_string(nSize) + " in blocks of " + std::to_string(nBlock));
            const std::string strBytes = Payload(nSize, nSize + nBlock);
            const std::string strLocal = local.File("f");
            EXPECT_EQ(Retrieved({Cwd("/a"), Serve("f", strBytes, nBlock)}, strLocal), 0U);
            EXPECT_TRUE(SamePayload(strBytes, ReadFile(strLocal)));
        }
    }
}

TEST_P(Retrieve, ReplacesALongerFile) {
    const TempDir local;
    WriteFile(local.File("f"), Payload(3000, 9));
    EXPECT_EQ(Retrieved({Cwd("/a"), Serve("f", "tea")}, local.File("f")), 0U);
    EXPECT_EQ(ReadFile(local.File("f")), "tea");
    EXPECT_EQ(Retrieved({Cwd("/a"), Serve("f", "")}, local.File("f")), 0U);
    EXPECT_EQ(ReadFile(local.File("f")), "");
}

TEST_P(Retrieve, ConvertsTheLocalPathAndTheDirectoryOnly) {
    const TempDir local;
    ScriptedServer server(Transfer({Cwd("<local>/a"), Serve("f", "tea")}));
    CCommand command(server);
    const MarkedEncoding marked;
    EXPECT_EQ(command.Ftp_GetFile("/a/f", local.File("g"), false), 0U);
    EXPECT_EQ(ReadFile(local.File("utf8-g")), "tea");
    EXPECT_FALSE(fs::exists(local.File("g")));
    command.EndInStep();
    server.ExpectFinished();
}

// ---- Refusals ----

TEST_P(Retrieve, EndsWhereCwdIsRefused) {
    const TempDir local;
    EXPECT_EQ(Retrieved({On("CWD /a", "550 no")}, local.File("f")), 0x3bb00009U);
    EXPECT_EQ(Retrieved({On("CWD /a", "550 No such file or directory")}, local.File("f")),
              0x3bb0000eU);
    EXPECT_FALSE(fs::exists(local.File("f")));
}

TEST_P(Retrieve, EndsWhereNoDataConnectionIsMade) {
    const TempDir local;
    EXPECT_EQ(Retrieved({Cwd("/a"), On("PASV", "425 no port left")}, local.File("f")), 0x3bb00010U);
    EXPECT_EQ(Retrieved({Cwd("/a"), On("PASV", "227 (10,9,8,7,1,2)")}, local.File("f")),
              0x40070019U);
    EXPECT_EQ(Retrieved({Cwd("/a"), Expect("PASV"), SayPassiveDead()}, local.File("f")),
              0x3bb00001U);
    EXPECT_FALSE(fs::exists(local.File("f")));
}

TEST_F(RetrieveAlone, WaitsFiveSecondsForTheDataConnection) {
    const TempDir local;
    const Stopwatch watch;
    EXPECT_EQ(Retrieved({Cwd("/a"), Expect("PASV"), SayPassiveSilent()}, local.File("f")),
              0x3bb00001U);
    EXPECT_BETWEEN(watch.Elapsed(), 4900, 9000);
}

TEST_P(Retrieve, WhenRefusedReadsOneMoreReply) {
    const TempDir local;
    const struct {
        const char* pszReply;
        unsigned int uResult;
    } refusals[] = {
        {"550 no", 0x3bb00019},
        {"550 f: No such file or directory", 0x3bb0000e},
        {"550 Can't open file", 0x3bb0000e},
        {"450 busy", 0x3bb00012},
        {"425 no data connection", 0x3bb00010},
    };
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(refusal.pszReply);
        EXPECT_EQ(Retrieved({Cwd("/a"), Retr(refusal.pszReply), ExpectDataClosed(),
                             Say("226 nothing sent\r\n")},
                            local.File("f")),
                  refusal.uResult);
    }
    EXPECT_FALSE(fs::exists(local.File("f")));
}

TEST_F(RetrieveAlone, WhenRefusedWaitsForAReplyThatMayNeverCome) {
    const TempDir local;
    ScriptedServer server(Transfer({Cwd("/a"), Retr("550 no"), ExpectDataClosed()}));
    CCommand command(server, 1, 1, 1);
    const Stopwatch watch;
    EXPECT_EQ(command.Ftp_GetFile("/a/f", local.File("f"), false), 0x3bb00019U);
    EXPECT_BETWEEN(watch.Elapsed(), 1900, 6000);
    command.EndInStep();
    server.ExpectFinished();
}

// ---- The local file ----

TEST_P(Retrieve, NeedsTheLocalDirectory) {
    const TempDir local;
    EXPECT_EQ(Retrieved({Cwd("/a"), Retr(), UntilRead("150 "), ExpectDataClosed(),
                         Say("426 you went away\r\n")},
                        local.File("none/f")),
              0x3bb00006U);
    const auto errors = RecordingLog::Errors();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].uCode, 0x3bb00006U);
    EXPECT_EQ(errors[0].strText, "[FTPCLIENT]Can not create file/a/f");
    EXPECT_EQ(errors[0].strFile, "ftpcommand");
    EXPECT_EQ(errors[0].strFunction, "Ftp_GetFile");
    EXPECT_TRUE(errors[0].bFiltered);
}

TEST_P(Retrieve, WritesIntoNoDirectory) {
    const TempDir local;
    EXPECT_EQ(Retrieved({Cwd("/a"), Retr(), UntilRead("150 "), ExpectDataClosed(),
                         Say("426 you went away\r\n")},
                        local.Path().string()),
              0x3bb00006U);
    EXPECT_EQ(ErrorLog(), "3bb00006 [FTPCLIENT]Can not create file/a/f\n");
}

TEST_P(Retrieve, TakesNoNoticeOfAFullDisk) {
    ASSERT_TRUE(fs::is_character_file("/dev/full"));
    EXPECT_EQ(Retrieved({Cwd("/a"), Serve("f", Payload(1U << 20))}, "/dev/full"), 0U);
    EXPECT_EQ(ErrorLog(), "");
}

// ---- Data that breaks off ----

TEST_P(Retrieve, OfAConnectionThatBreaksKeepsWhatCame) {
    const TempDir local;
    for (const bool bReset : {false, true}) {
        SCOPED_TRACE(bReset ? "reset" : "closed");
        const std::string strBytes = Payload(3000);
        EXPECT_EQ(Retrieved({Cwd("/a"), Retr("150 here it comes, " + std::to_string(bReset)),
                             UntilRead("150 here it comes, " + std::to_string(bReset)),
                             SendData(strBytes), bReset ? ResetData() : CloseData(),
                             Say("426 something broke\r\n")},
                            local.File("f")),
                  0U);
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(local.File("f"))));
    }
    EXPECT_EQ(ErrorLog(), "");
}

TEST_F(RetrieveAlone, OfAConnectionThatFallsSilentKeepsWhatCame) {
    const TempDir local;
    const Stopwatch watch;
    EXPECT_EQ(Retrieved({Cwd("/a"), Retr(), SendData(Payload(1500)), ExpectDataClosed(),
                         Say("426 you went away\r\n")},
                        local.File("f")),
              0U);
    EXPECT_BETWEEN(watch.Elapsed(), 4900, 9000);
    EXPECT_TRUE(SamePayload(Payload(1500), ReadFile(local.File("f"))));
}

TEST_F(RetrieveAlone, GoesOnAfterPausesOfLessThanFiveSeconds) {
    const TempDir local;
    EXPECT_EQ(Retrieved({Cwd("/a"), Retr(), SendData(Payload(3000), 1500, Millis(3500)),
                         CloseData(), Say("226 sent\r\n")},
                        local.File("f")),
              0U);
    EXPECT_TRUE(SamePayload(Payload(3000), ReadFile(local.File("f"))));
}

// ---- The closing reply ----

TEST_P(Retrieve, IgnoresAFailureAtTheEnd) {
    const TempDir local;
    EXPECT_EQ(Retrieved({Cwd("/a"), Retr(), UntilRead("150 "), SendData("tea"), CloseData(),
                         Say("451-disk\r\n451 broke\r\n")},
                        local.File("f")),
              0U);
    EXPECT_EQ(ReadFile(local.File("f")), "tea");
    EXPECT_EQ(ErrorLog(), "");
}

TEST_F(RetrieveAlone, TakesTheRetryTimeoutForTheNumberOfTries) {
    const TempDir local;
    // One try, whatever the number of retries is: the first receive and one more.
    ScriptedServer server(Transfer({Cwd("/a"), Retr(), SendData("tea"), CloseData()}));
    CCommand command(server, 2, 3, 1);
    OneByte::ClearCounts();
    EXPECT_EQ(command.Ftp_GetFile("/a/f", local.File("f"), false), 0U);
    const std::vector<int> waits = OneByte::WaitsMs();
    ASSERT_GE(waits.size(), 2U);
    // Of the transfer only: two receives of data (5 s each) and two of the closing reply.
    EXPECT_EQ((std::vector<int>{waits.end() - 2, waits.end()}), (std::vector<int>{2000, 1000}));
    EXPECT_EQ(std::count(waits.begin(), waits.end(), 1000), 1);
    EXPECT_EQ(ErrorLog(), "") << "fewer tries than retries end without the blank-line record";
    command.EndInStep();
    server.ExpectFinished();
}

TEST_F(RetrieveAlone, AClosingReplyThatNeverComesChangesNothing) {
    const TempDir local;
    ScriptedServer server(Transfer({Cwd("/a"), Retr(), SendData("tea"), CloseData()}));
    CCommand command(server, 1, 2, 2);
    const Stopwatch watch;
    EXPECT_EQ(command.Ftp_GetFile("/a/f", local.File("f"), false), 0U);
    EXPECT_BETWEEN(watch.Elapsed(), 4900, 9000);  // 1 s and twice 2 s
    EXPECT_EQ(ErrorLog(), "3bb00003 [FTPCLIENT]GetRetCode error : get response is blank line:\n");
    command.EndInStep();
    server.ExpectFinished();
}

TEST_F(RetrieveAlone, DoesNotWaitForAClosingReplyThatIsThereAlready) {
    const TempDir local;
    for (const char* pszReply :
         {"150 here it comes\r\n226 sent", "150-here\r\n150 it comes\r\n226-sent\r\n226 all"}) {
        SCOPED_TRACE(pszReply);
        ScriptedServer server(
            Transfer({Cwd("/a"), Retr(pszReply), SendData(Payload(5000)), CloseData()}));
        CCommand command(server, 5, 2, 2);
        const Stopwatch watch;
        EXPECT_EQ(command.Ftp_GetFile("/a/f", local.File("f"), false), 0U);
        command.EndInStep();
        EXPECT_BETWEEN(watch.Elapsed(), 0, 5000);
        server.ExpectFinished();
        EXPECT_TRUE(SamePayload(Payload(5000), ReadFile(local.File("f"))));
    }
}

TEST_F(RetrieveAlone, AFailureInTheSamePieceAsThe150IsTheResult) {
    const TempDir local;
    ScriptedServer server(
        Transfer({Cwd("/a"), Retr("150 here it comes\r\n426 broken"), ExpectDataClosed()}));
    CCommand command(server, 5, 2, 2);
    const Stopwatch watch;
    EXPECT_EQ(command.Ftp_GetFile("/a/f", local.File("f"), false), 0x3bb00011U);
    command.EndInStep();
    EXPECT_BETWEEN(watch.Elapsed(), 0, 5000);
    server.ExpectFinished();
    EXPECT_FALSE(fs::exists(local.File("f")));
}

// ---- The first block only ----

std::size_t Abors(const ScriptedServer& server) {
    const std::vector<std::string> commands = server.Commands();
    return static_cast<std::size_t>(std::count(commands.begin(), commands.end(), "ABOR\r\n"));
}

struct SFirstBlock {
    std::size_t nSize;
    std::size_t nBlock;
    std::size_t nLeast;
    std::size_t nMost;
};

TEST_P(Retrieve, AbortsOnceAfterTheFirstBlock) {
    const TempDir local;
    const SFirstBlock cases[] = {
        {5000, 0, 1024, 1024},     // full blocks: the first one is enough
        {1024, 0, 1024, 1024},     // the whole file, and aborted all the same
        {5000, 1000, 1024, 2047},  // the second block passes the limit
        {1 << 20, 0, 1024, 1024},
    };
    for (const SFirstBlock& test : cases) {
        SCOPED_TRACE(test.nSize);
        const std::string strBytes = Payload(test.nSize);
        ScriptedServer server(Transfer(
            {Cwd("/a"), Retr(),
             test.nBlock == 0 ? SendDataAsFarAsTaken(strBytes)
                              : Sequence({SendData(strBytes.substr(0, 1000)), Wait(Millis(150)),
                                          SendDataAsFarAsTaken(strBytes.substr(1000))}),
             On("ABOR", "426 aborted, " + std::to_string(test.nSize + test.nBlock)),
             UntilRead("426 aborted, " + std::to_string(test.nSize + test.nBlock)),
             ExpectDataClosed(), Say("226 done\r\n")}));
        CCommand command(server);
        EXPECT_EQ(command.Ftp_GetFile("/a/f", local.File("f"), true), 0U);
        command.EndInStep();
        server.ExpectFinished();
        EXPECT_EQ(Abors(server), 1U);
        const std::string strStored = ReadFile(local.File("f"));
        EXPECT_GE(strStored.size(), test.nLeast);
        EXPECT_LE(strStored.size(), test.nMost);
        EXPECT_TRUE(SamePayload(strBytes.substr(0, strStored.size()), strStored));
    }
}

// What ends the data connection then is no failure.
TEST_P(Retrieve, KeepsTheFirstBlockOfAVerifiedFileThatItAborts) {
    const TempDir local;
    const std::string strBytes = Payload(5000);
    ScriptedServer server(
        Transfer({Cwd("/a"), Retr(), SendDataAsFarAsTaken(strBytes), On("ABOR", "426 aborted"),
                  UntilRead("426 aborted"), ExpectDataClosed(), Say("226 done\r\n")}));
    CCommand command(server);
    command.m_Options.bVerify = true;
    EXPECT_EQ(command.Ftp_GetFile("/a/f", local.File("f"), true), 0U);
    command.EndInStep();
    server.ExpectFinished();
    EXPECT_TRUE(SamePayload(strBytes.substr(0, 1024), ReadFile(local.File("f"))));
}

TEST_P(Retrieve, AbortsNothingThatIsShorterThanABlock) {
    const TempDir local;
    ScriptedServer server(Transfer({Cwd("/a"), Serve("f", Payload(1023))}));
    CCommand command(server);
    EXPECT_EQ(command.Ftp_GetFile("/a/f", local.File("f"), true), 0U);
    command.EndInStep();
    server.ExpectFinished();
    EXPECT_TRUE(SamePayload(Payload(1023), ReadFile(local.File("f"))));
}

}  // namespace
}  // namespace SessionTest
