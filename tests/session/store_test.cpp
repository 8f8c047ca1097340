// The store transfer.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/session/markedencoding.h"
#include "tests/session/transferfixture.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace SessionTest {
namespace {

class Store : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(Store);
class StoreAlone : public Dialogue {};

SStep Stor(const std::string& strReply = "150 go ahead") {
    return Sequence({Passive(), On("STOR f", strReply)});
}

// Stores as /a/f in a session that plays the steps and is in step at its end. The uploads, and the
// result in front of them.
struct SStored {
    unsigned int uResult = 0;
    std::vector<std::string> uploads;
};

SStored Stored(const std::vector<SStep>& steps, const std::string& strLocal) {
    ScriptedServer server(Transfer(steps));
    CCommand command(server);
    SStored stored;
    stored.uResult = command.Ftp_PutFile(strLocal, "/a/f");
    command.EndInStep();
    server.ExpectFinished();
    stored.uploads = server.Uploads();
    return stored;
}

class CLocalFile {
public:
    explicit CLocalFile(const std::string& strBytes = "tea") { WriteFile(Path(), strBytes); }
    std::string Path() const { return m_directory.File("f"); }

private:
    TempDir m_directory;
};

TEST_P(Store, SendsItsCommands) {
    const CLocalFile local;
    ScriptedServer server(Transfer({Cwd("/a b"), Take("c d")}));
    CCommand command(server);
    EXPECT_EQ(command.Ftp_PutFile(local.Path(), "/a b/c d"), 0U);
    command.EndInStep();
    server.ExpectFinished();
    EXPECT_EQ(server.Commands(),
              (std::vector<std::string>{"CWD /a b\r\n", "PASV\r\n", "STOR c d\r\n", "PWD\r\n"}));
    EXPECT_EQ(server.Uploads(), (std::vector<std::string>{"tea"}));
    EXPECT_EQ(ErrorLog(), "");
}

struct SSplit {
    const char* pszPath;
    const char* pszDir;
    const char* pszName;
};

TEST_P(Store, SplitsTheRemotePath) {
    const CLocalFile local;
    for (const SSplit& split :
         {SSplit{"a\\b\\c.txt", "a/b", "c.txt"}, SSplit{"/c.txt", "/", "c.txt"},
          SSplit{"c.txt", "", "c.txt"}, SSplit{"/a/b", "/a", "b"}, SSplit{"\\c", "/", "c"}}) {
        SCOPED_TRACE(split.pszPath);
        ScriptedServer server(Transfer({Cwd(split.pszDir), Take(split.pszName)}));
        CCommand command(server);
        EXPECT_EQ(command.Ftp_PutFile(local.Path(), split.pszPath), 0U);
        command.EndInStep();
        server.ExpectFinished();
    }
}

TEST_P(Store, SendsFilesOfAnySize) {
    for (const std::size_t nSize : {0U, 1U, 1023U, 1024U, 1025U, 5000U, 1U << 20}) {
        SCOPED_TRACE(nSize);
        const std::string strBytes = Payload(nSize, nSize);
        const CLocalFile local(strBytes);
        const SStored stored = Stored({Cwd("/a"), Take("f")}, local.Path());
        EXPECT_EQ(stored.uResult, 0U);
        ASSERT_EQ(stored.uploads.size(), 1U);
        EXPECT_TRUE(SamePayload(strBytes, stored.uploads[0]));
    }
}

TEST_P(Store, ConvertsTheLocalPathAndTheDirectoryOnly) {
    const TempDir local;
    WriteFile(local.File("utf8-g"), "tea");
    ScriptedServer server(Transfer({Cwd("<local>/a"), Take("f")}));
    CCommand command(server);
    const MarkedEncoding marked;
    EXPECT_EQ(command.Ftp_PutFile(local.File("g"), "/a/f"), 0U);
    command.EndInStep();
    server.ExpectFinished();
    EXPECT_EQ(server.Uploads(), (std::vector<std::string>{"tea"}));
}

// ---- Refusals ----

TEST_P(Store, EndsWhereCwdIsRefused) {
    const CLocalFile local;
    EXPECT_EQ(Stored({On("CWD /a", "550 no")}, local.Path()).uResult, 0x3bb00009U);
    EXPECT_EQ(Stored({On("CWD /a", "550 Unknown directory")}, local.Path()).uResult, 0x3bb0000eU);
}

TEST_P(Store, EndsWhereNoDataConnectionIsMade) {
    const CLocalFile local;
    EXPECT_EQ(Stored({Cwd("/a"), On("PASV", "425 no port left")}, local.Path()).uResult,
              0x3bb00010U);
    EXPECT_EQ(Stored({Cwd("/a"), On("PASV", "227 (10,9,8,7,1,2)")}, local.Path()).uResult,
              0x40070019U);
    EXPECT_EQ(Stored({Cwd("/a"), Expect("PASV"), SayPassiveDead()}, local.Path()).uResult,
              0x3bb00001U);
}

TEST_P(Store, WhenRefusedReadsOneMoreReply) {
    const CLocalFile local;
    const struct {
        const char* pszReply;
        unsigned int uResult;
    } refusals[] = {
        {"553 odd name", 0x3bb00017},
        {"552 no room", 0x3bb00018},
        {"550 f: Permission denied", 0x3bb0000d},
        {"452 no room", 0x3bb00014},
    };
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(refusal.pszReply);
        EXPECT_EQ(Stored({Cwd("/a"), Stor(refusal.pszReply), ExpectDataClosed(),
                          Say("226 nothing stored\r\n")},
                         local.Path())
                      .uResult,
                  refusal.uResult);
    }
}

TEST_F(StoreAlone, WhenRefusedWaitsForAReplyThatMayNeverCome) {
    const CLocalFile local;
    ScriptedServer server(Transfer({Cwd("/a"), Stor("553 no"), ExpectDataClosed()}));
    CCommand command(server, 1, 1, 1);
    const Stopwatch watch;
    EXPECT_EQ(command.Ftp_PutFile(local.Path(), "/a/f"), 0x3bb00017U);
    EXPECT_BETWEEN(watch.Elapsed(), 1900, 6000);
    command.EndInStep();
    server.ExpectFinished();
}

TEST_P(Store, GoesOnAfterA125) {
    const CLocalFile local;
    const SStored stored = Stored(
        {Cwd("/a"), Stor("125 already open"), ReceiveData(), Say("226 stored\r\n")}, local.Path());
    EXPECT_EQ(stored.uResult, 0U);
    EXPECT_EQ(stored.uploads, (std::vector<std::string>{"tea"}));
    EXPECT_EQ(ErrorLog(),
              "0 [FTPCLIENT]Ftp_stor getRetCode error,the real retCode:125 already open\r\n\n");
}

// ---- The local file ----

TEST_P(Store, LeavesAnEmptyRemoteFileForAMissingLocalOne) {
    const TempDir local;
    const SStored stored = Stored({Cwd("/a"), Take("f")}, local.File("none"));
    EXPECT_EQ(stored.uResult, 0x3bb00005U);
    EXPECT_EQ(stored.uploads, (std::vector<std::string>{""}));
    const auto errors = RecordingLog::Errors();
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].uCode, 0x3bb00005U);
    EXPECT_EQ(errors[0].strText, "[FTPCLIENT]Can not open file" + local.File("none"));
    EXPECT_EQ(errors[0].strFile, "ftpcommand");
    EXPECT_EQ(errors[0].strFunction, "Ftp_PutFile");
    EXPECT_TRUE(errors[0].bFiltered);
}

TEST_P(Store, NamesTheLocalFileAsGivenWhenItIsMissing) {
    const MarkedEncoding marked;
    const SStored stored = Stored({Cwd("<local>/a"), Take("f")}, "/nowhere/f");
    EXPECT_EQ(stored.uResult, 0x3bb00005U);
    EXPECT_EQ(ErrorLog(), "3bb00005 [FTPCLIENT]Can not open file/nowhere/f\n");
}

TEST_P(Store, OfADirectorySendsNothing) {
    // It can be opened, but reading it gives no byte.
    const TempDir local;
    const SStored stored = Stored({Cwd("/a"), Take("f")}, local.Path().string());
    EXPECT_EQ(stored.uResult, 0U);
    EXPECT_EQ(stored.uploads, (std::vector<std::string>{""}));
}

// ---- A data connection that breaks ----

TEST_P(Store, TakesNoNoticeOfABrokenDataConnection) {
    const CLocalFile local(Payload(8U << 20));
    for (const bool bReset : {false, true}) {
        SCOPED_TRACE(bReset ? "reset" : "closed");
        EXPECT_EQ(
            Stored({Cwd("/a"), Stor("150 go ahead, " + std::to_string(bReset)), ReceiveData(1500),
                    bReset ? ResetData() : CloseData(), Say("426 something broke\r\n")},
                   local.Path())
                .uResult,
            0U);
    }
    EXPECT_EQ(ErrorLog(), "");
}

TEST_F(StoreAlone, WaitsForASlowServerAsLongAsItTakes) {
    const std::string strBytes = Payload(16U << 20);  // more than the sockets hold
    const CLocalFile local(strBytes);
    const Stopwatch watch;
    const SStored stored =
        Stored({Cwd("/a"), Stor(), Wait(Millis(6000)), ReceiveData(), Say("226 stored\r\n")},
               local.Path());
    EXPECT_GE(watch.Elapsed().count(), 5900);
    EXPECT_EQ(stored.uResult, 0U);
    ASSERT_EQ(stored.uploads.size(), 1U);
    EXPECT_TRUE(SamePayload(strBytes, stored.uploads[0]));
}

// ---- The closing reply ----

TEST_P(Store, IgnoresAFailureAtTheEnd) {
    const CLocalFile local;
    const SStored stored = Stored(
        {Cwd("/a"), Stor(), UntilRead("150 "), ReceiveData(), Say("552-no room\r\n552 left\r\n")},
        local.Path());
    EXPECT_EQ(stored.uResult, 0U);
    EXPECT_EQ(ErrorLog(), "");
}

TEST_F(StoreAlone, TakesTheRetryTimeoutForTheNumberOfTries) {
    const CLocalFile local;
    ScriptedServer server(Transfer({Cwd("/a"), Stor(), ReceiveData()}));
    CCommand command(server, 2, 3, 1);
    OneByte::ClearCounts();
    EXPECT_EQ(command.Ftp_PutFile(local.Path(), "/a/f"), 0U);
    const std::vector<int> waits = OneByte::WaitsMs();
    ASSERT_GE(waits.size(), 2U);
    EXPECT_EQ((std::vector<int>{waits.end() - 2, waits.end()}), (std::vector<int>{2000, 1000}));
    EXPECT_EQ(std::count(waits.begin(), waits.end(), 1000), 1);
    EXPECT_EQ(ErrorLog(), "");
    command.EndInStep();
    server.ExpectFinished();
}

TEST_F(StoreAlone, DoesNotWaitForAClosingReplyThatIsThereAlready) {
    const CLocalFile local;
    ScriptedServer server(
        Transfer({Cwd("/a"), Stor("150 go ahead\r\n226 stored, I trust"), ReceiveData()}));
    CCommand command(server, 5, 2, 2);
    const Stopwatch watch;
    EXPECT_EQ(command.Ftp_PutFile(local.Path(), "/a/f"), 0U);
    command.EndInStep();
    EXPECT_BETWEEN(watch.Elapsed(), 0, 5000);
    server.ExpectFinished();
    EXPECT_EQ(server.Uploads(), (std::vector<std::string>{"tea"}));
}

TEST_F(StoreAlone, AFailureInTheSamePieceAsThe150IsTheResult) {
    const CLocalFile local;
    ScriptedServer server(
        Transfer({Cwd("/a"), Stor("150 go ahead\r\n426 broken"), ExpectDataClosed()}));
    CCommand command(server, 5, 2, 2);
    const Stopwatch watch;
    EXPECT_EQ(command.Ftp_PutFile(local.Path(), "/a/f"), 0x3bb00011U);
    command.EndInStep();
    EXPECT_BETWEEN(watch.Elapsed(), 0, 5000);
    server.ExpectFinished();
}

}  // namespace
}  // namespace SessionTest
