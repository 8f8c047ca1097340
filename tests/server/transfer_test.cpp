// Files to the server and back.

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/server/servertest.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace ServerTest {
namespace {

namespace fs = std::filesystem;
using namespace RVN_FTP_CLIENT;
using TestSupport::Clock;
using TestSupport::ReadFile;
using TestSupport::SamePayload;
using namespace std::chrono_literals;

class Transfer : public CServerTest {
protected:
    // For sessions that run into refusals: the wait after one is then two seconds, not nine.
    static void BeImpatient(CSession& session) { session->setParam(1, 1, 1); }

    // That replies and commands are still in step: a late reply would be taken for another
    // command's.
    void ExpectInStep(CSession& session, FtpResult eDelete = FTP_DELE_REFUSED) const {
        const std::string strBytes = Serve("instep/file", 1500);
        EXPECT_EQ(Code(session->RemoveFile("missing")), eDelete);
        EXPECT_EQ(Code(session->GetOneFile("instep/file", Local("instep"), false)), FTP_OK);
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("instep"))));
        EXPECT_EQ(Code(session->ChangeDir("missing")), FTP_CWD_REFUSED);
        CListing listing;
        EXPECT_EQ(Code(session->ListFile("instep", listing.m_entries)), FTP_OK);
        EXPECT_EQ(listing.Lines(), std::vector<std::string>{"- 1500 file"});
    }
};

double SecondsOf(const Clock::time_point& begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

TEST_F(Transfer, GetsOneFileWhateverTheFlag) {
    const std::string strBytes = Serve("dir/file", 5000);
    CSession session(Server());
    EXPECT_EQ(Code(session->GetOneFile("dir/file", Local("without"), false)), FTP_OK);
    EXPECT_EQ(Code(session->GetOneFile("/dir/file", Local("with"), true)), FTP_OK);
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("without"))));
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("with"))));
}

TEST_F(Transfer, GetReplacesALongerFile) {
    const std::string strBytes = Serve("file", 1000);
    Keep("file", 4000);
    CSession session(Server());
    EXPECT_EQ(Code(session->GetOneFile("file", Local("file"), false)), FTP_OK);
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("file"))));
}

TEST_F(Transfer, PutsOneFileUnderANameAndReplacesALongerOne) {
    Serve("dir/target", 4000);
    const std::string strBytes = Keep("file", 1000);
    CSession session(Server());
    EXPECT_EQ(Code(session->PutOneFileToFile(Local("file"), "dir/target")), FTP_OK);
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Served("dir/target"))));
}

TEST_F(Transfer, PutsOneFileIntoADirectoryUnderItsOwnName) {
    ServeDirectory("dir/inner");
    const std::string strBytes = Keep("some/where/file", 1000);
    CSession session(Server());
    for (const char* pszDir : {"dir/inner", "/dir/inner/"}) {
        EXPECT_EQ(Code(session->PutOneFileToPath(Local("some/where/file"), pszDir)), FTP_OK);
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(Served("dir/inner/file")))) << pszDir;
        fs::remove(Served("dir/inner/file"));
    }
}

// Around the library's block and its file buffer.
TEST_F(Transfer, KeepsEverySize) {
    ServeDirectory("sizes");
    std::vector<Ftp_File_Pair> there;
    std::vector<Ftp_File_Pair> back;
    std::vector<std::string> contents;
    for (const std::size_t nSize :
         {0U, 1U, 1023U, 1024U, 1025U, 2048U, 4095U, 4097U, 262143U, 262144U, 262145U, 1000003U}) {
        const std::string strName = "bytes" + std::to_string(nSize);
        contents.push_back(Keep(strName, nSize));
        there.push_back({Local(strName), "sizes/" + strName});
        back.push_back({"sizes/" + strName, Local(strName + ".back")});
    }
    CSession session(Server());
    ASSERT_EQ(Code(session->PutFile(there)), FTP_OK);
    ASSERT_EQ(Code(session->GetFile(back, false)), FTP_OK);
    for (std::size_t n = 0; n < contents.size(); ++n) {
        EXPECT_TRUE(SamePayload(contents[n], ReadFile(Served(there[n].strDstFile))));
        EXPECT_TRUE(SamePayload(contents[n], ReadFile(back[n].strDstFile)));
    }
}

// Also where the server would convert line ends if it were asked for text.
TEST_F(Transfer, MovesBytesNotText) {
    SServerOptions ascii;
    ascii.lines = {"ascii_upload_enable=YES", "ascii_download_enable=YES"};
    Restart(ascii);
    const std::string strText("line\nline\r\nnul\0end\r\xff\xf4\r\n", 24);
    TestSupport::WriteFile(Local("text"), strText);
    CSession session(Server());
    EXPECT_EQ(Code(session->PutOneFileToFile(Local("text"), "text")), FTP_OK);
    EXPECT_EQ(Code(session->GetOneFile("text", Local("back"), false)), FTP_OK);
    EXPECT_EQ(ReadFile(Served("text")), strText);
    EXPECT_EQ(ReadFile(Local("back")), strText);
}

TEST_F(Transfer, EmptyBatchesSucceed) {
    std::vector<Ftp_File_Pair> none;
    CSession session(Server());
    EXPECT_EQ(Code(session->GetFile(none, false)), FTP_OK);
    EXPECT_EQ(Code(session->PutFile(none)), FTP_OK);
}

TEST_F(Transfer, ABatchOfGetsEndsAtTheFirstFailure) {
    const std::string strFirst = Serve("first", 1500);
    Serve("last", 1500);
    std::vector<Ftp_File_Pair> files = {
        {"first", Local("first")}, {"missing", Local("missing")}, {"last", Local("last")}};
    CSession session(Server());
    BeImpatient(session);
    EXPECT_EQ(Code(session->GetFile(files, false)), FTP_REPLY_550);
    EXPECT_TRUE(SamePayload(strFirst, ReadFile(Local("first"))));
    EXPECT_FALSE(fs::exists(Local("missing")));
    EXPECT_FALSE(fs::exists(Local("last")));
}

TEST_F(Transfer, ABatchOfPutsEndsAtTheFirstFailure) {
    const std::string strFirst = Keep("first", 1500);
    Keep("last", 1500);
    std::vector<Ftp_File_Pair> files = {
        {Local("first"), "first"}, {Local("first"), "missing/first"}, {Local("last"), "last"}};
    CSession session(Server());
    EXPECT_EQ(Code(session->PutFile(files)), FTP_CWD_REFUSED);
    EXPECT_TRUE(SamePayload(strFirst, ReadFile(Served("first"))));
    EXPECT_FALSE(fs::exists(Served("last")));
}

// A path of 260 bytes is the longest, measured with the root in front.
TEST_F(Transfer, PathsHaveALimit) {
    const std::size_t nRoot = Server().Root().string().size();
    ASSERT_LT(nRoot, 120U);
    std::string strDir = "/" + std::string(100, 'd') + "/";
    const std::string strLongest = strDir + std::string(260 - nRoot - strDir.size(), 'f');
    const std::string strTooLong = strLongest + "f";
    const std::string strBytes = Serve(strLongest.substr(1), 1100);
    Serve(strTooLong.substr(1), 1100);

    CSession session(Server());
    EXPECT_EQ(Code(session->GetOneFile(strLongest, Local("file"), false)), FTP_OK);
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("file"))));
    EXPECT_EQ(Code(session->PutOneFileToFile(Local("file"), strLongest)), FTP_OK);
    EXPECT_EQ(Code(session->GetOneFile(strTooLong, Local("not"), false)), FTP_NO_SUCH_FILE);
    EXPECT_EQ(Code(session->PutOneFileToFile(Local("file"), strTooLong)), FTP_NO_SUCH_FILE);
    std::vector<Ftp_File_Pair> batch = {{strLongest, Local("one")}, {strTooLong, Local("not")}};
    EXPECT_EQ(Code(session->GetFile(batch, false)), FTP_NO_SUCH_FILE);
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("one"))));
    EXPECT_FALSE(fs::exists(Local("not")));
    EXPECT_EQ(Code(session->RemoveFile(strTooLong)), FTP_NO_SUCH_FILE);
    EXPECT_TRUE(fs::exists(Served(strTooLong.substr(1))));
    EXPECT_EQ(Code(session->RemoveFile(strLongest)), FTP_OK);
    EXPECT_FALSE(fs::exists(Served(strLongest.substr(1))));
}

// The refusal of RETR is also the end of the transfer, but a closing reply is waited for: the
// connect time-out once and the retry time-out as often as there are retries.
TEST_F(Transfer, ARefusedGetWaitsAndTheSessionGoesOn) {
    CSession session(Server());
    BeImpatient(session);
    const Clock::time_point begin = Clock::now();
    EXPECT_EQ(Code(session->GetOneFile("missing", Local("missing"), false)), FTP_REPLY_550);
    EXPECT_GE(SecondsOf(begin), 2.0);
    EXPECT_LT(SecondsOf(begin), 4.0);
    EXPECT_FALSE(fs::exists(Local("missing")));
    ExpectInStep(session);
}

TEST_F(Transfer, ARefusedGetWaitsNineSecondsUnlessToldOtherwise) {
    CSession session(Server());
    const Clock::time_point begin = Clock::now();
    EXPECT_EQ(Code(session->GetOneFile("missing", Local("missing"), false)), FTP_REPLY_550);
    EXPECT_GE(SecondsOf(begin), 9.0);
    EXPECT_LT(SecondsOf(begin), 10.0);
    ExpectInStep(session);
}

TEST_F(Transfer, AGetFromAMissingDirectoryDoesNotWait) {
    CSession session(Server());
    const Clock::time_point begin = Clock::now();
    EXPECT_EQ(Code(session->GetOneFile("missing/file", Local("file"), false)), FTP_CWD_REFUSED);
    EXPECT_LT(SecondsOf(begin), 1.0);
    ExpectInStep(session);
}

TEST_F(Transfer, AFileWithoutPermissionsIsNotRead) {
    Serve("locked", 100);
    fs::permissions(Served("locked"), fs::perms::none);
    CSession session(Server());
    BeImpatient(session);
    EXPECT_EQ(Code(session->GetOneFile("locked", Local("locked"), false)), FTP_REPLY_550);
    EXPECT_FALSE(fs::exists(Local("locked")));
    ExpectInStep(session);
}

TEST_F(Transfer, ARefusedPutWaitsAndTheSessionGoesOn) {
    ServeDirectory("readonly");
    fs::permissions(Served("readonly"), fs::perms::owner_read | fs::perms::owner_exec);
    Keep("file", 100);
    CSession session(Server());
    BeImpatient(session);
    const Clock::time_point begin = Clock::now();
    EXPECT_EQ(Code(session->PutOneFileToPath(Local("file"), "readonly")), FTP_REPLY_553);
    EXPECT_GE(SecondsOf(begin), 2.0);
    EXPECT_LT(SecondsOf(begin), 4.0);
    EXPECT_FALSE(fs::exists(Served("readonly/file")));
    ExpectInStep(session);
}

// "550 Permission denied.": the text, not the code, names the result.
TEST_F(Transfer, AServerForReadingDeniesPermission) {
    SServerOptions reading;
    reading.lines = {"write_enable=NO"};
    Restart(reading);
    Serve("dir/file", 100);
    Keep("file", 100);
    CSession session(Server());
    BeImpatient(session);
    EXPECT_EQ(Code(session->PutOneFileToPath(Local("file"), "dir")), FTP_PERMISSION_DENIED);
    EXPECT_EQ(Code(session->RemoveFile("dir/file")), FTP_PERMISSION_DENIED);
    EXPECT_EQ(Code(session->MakeDir("new")), FTP_PERMISSION_DENIED);
    EXPECT_EQ(Code(session->RemoveDir("dir")), FTP_PERMISSION_DENIED);
    EXPECT_TRUE(fs::exists(Served("dir/file")));
    ExpectInStep(session, FTP_PERMISSION_DENIED);
}

TEST_F(Transfer, AGetIntoAMissingDirectoryTellsAndTheSessionGoesOn) {
    Serve("small", 100);
    Serve("large", 8000000);
    CSession session(Server());
    for (const char* pszName : {"small", "large"}) {
        EXPECT_EQ(Code(session->GetOneFile(pszName, Local("missing/file"), false)),
                  FTP_LOCAL_CREATE_FAILED)
            << pszName;
        ExpectInStep(session);
    }
}

TEST_F(Transfer, AGetOntoADirectoryTells) {
    Serve("file", 100);
    fs::create_directory(Local("dir"));
    CSession session(Server());
    EXPECT_EQ(Code(session->GetOneFile("file", Local("dir"), false)), FTP_LOCAL_CREATE_FAILED);
    EXPECT_TRUE(fs::is_directory(Local("dir")));
    ExpectInStep(session);
}

TEST_F(Transfer, APutOfAMissingFileTellsAndLeavesAnEmptyOne) {
    Serve("target", 500);
    CSession session(Server());
    EXPECT_EQ(Code(session->PutOneFileToFile(Local("missing"), "target")), FTP_LOCAL_OPEN_FAILED);
    EXPECT_EQ(ReadFile(Served("target")), "");
    ExpectInStep(session);
}

TEST_F(Transfer, APutOfADirectoryStoresNothing) {
    fs::create_directory(Local("dir"));
    CSession session(Server());
    EXPECT_EQ(Code(session->PutOneFileToFile(Local("dir"), "target")), FTP_OK);
    EXPECT_EQ(ReadFile(Served("target")), "");
    ExpectInStep(session);
}

TEST_F(Transfer, FollowsALinkToAFile) {
    const std::string strBytes = Serve("dir/file", 1700);
    fs::create_symlink("dir/file", Served("link"));
    CSession session(Server());
    EXPECT_EQ(Code(session->GetOneFile("link", Local("file"), false)), FTP_OK);
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("file"))));
    const std::string strNew = Keep("new", 90);
    EXPECT_EQ(Code(session->PutOneFileToFile(Local("new"), "link")), FTP_OK);
    EXPECT_TRUE(SamePayload(strNew, ReadFile(Served("dir/file"))));
    EXPECT_TRUE(fs::is_symlink(Served("link")));
}

TEST_F(Transfer, ADanglingLinkIsRefused) {
    fs::create_symlink("nowhere/file", Served("link"));
    CSession session(Server());
    BeImpatient(session);
    EXPECT_EQ(Code(session->GetOneFile("link", Local("file"), false)), FTP_REPLY_550);
    ExpectInStep(session);
}

// A broken transfer is not reported; the next command is.
TEST_F(Transfer, AGetThatTheServerBreaksOffLeavesWhatCame) {
    SServerOptions slow;
    slow.lines = {"anon_max_rate=2000000"};
    Restart(slow);
    const std::string strBytes = Serve("file", 6000000);
    CSession session(Server());
    std::thread crash([this] {
        std::this_thread::sleep_for(1s);
        StopServer();
    });
    EXPECT_EQ(Code(session->GetOneFile("file", Local("file"), false)), FTP_OK);
    crash.join();
    const std::string strCame = ReadFile(Local("file"));
    EXPECT_GT(strCame.size(), 0U);
    EXPECT_LT(strCame.size(), strBytes.size());
    EXPECT_TRUE(SamePayload(strBytes.substr(0, strCame.size()), strCame));
    EXPECT_NE(Code(session->ChangeDir("/")), FTP_OK);
    session.ExpectLost();
}

TEST_F(Transfer, APutThatTheServerBreaksOffEnds) {
    SServerOptions slow;
    slow.lines = {"anon_max_rate=2000000"};
    Restart(slow);
    const std::string strBytes = Keep("file", 30000000);
    CSession session(Server());
    std::thread crash([this] {
        std::this_thread::sleep_for(1s);
        StopServer();
    });
    const Clock::time_point begin = Clock::now();
    EXPECT_EQ(Code(session->PutOneFileToFile(Local("file"), "file")), FTP_OK);
    EXPECT_LT(SecondsOf(begin), 10.0);
    crash.join();
    const std::string strCame = ReadFile(Served("file"));
    EXPECT_LT(strCame.size(), strBytes.size());
    EXPECT_TRUE(SamePayload(strBytes.substr(0, strCame.size()), strCame));
    EXPECT_NE(Code(session->ChangeDir("/")), FTP_OK);
    session.ExpectLost();
}

}  // namespace
}  // namespace ServerTest
