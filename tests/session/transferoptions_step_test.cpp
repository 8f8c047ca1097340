// Verified sessions that are out of step with their server.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/session/transferoptions.h"

namespace SessionTest {
namespace {

using namespace RVN_FTP_CLIENT;

class OutOfStep : public Dialogue {};

struct SOperation {
    const char* pszName;
    std::function<unsigned int(CClient&)> run;
    unsigned int uResult = FTP_OUT_OF_STEP;
};

std::vector<SOperation> Operations(const TempDir& local) {
    return {
        {"ChangeDir", [](CClient& client) { return client.ChangeDir("a"); }},
        {"ListFile",
         [](CClient& client) {
             CEntries entries;
             const unsigned int uResult = client.ListFile("a", entries.m_entries);
             entries.ExpectUntouched();
             return uResult;
         }},
        // Gives no other code, whatever the reason.
        {"checkOneFileExist", [](CClient& client) { return client.checkOneFileExist("a/b"); },
         FTP_NO_SUCH_FILE},
        {"GetOneFile",
         [&](CClient& client) { return client.GetOneFile("a", local.File("got"), false); }},
        {"PutOneFileToFile",
         [&](CClient& client) { return client.PutOneFileToFile(local.File("f"), "a"); }},
        {"PutOneFileToPath",
         [&](CClient& client) { return client.PutOneFileToPath(local.File("f"), "a"); }},
        {"GetFile",
         [&](CClient& client) {
             std::vector<Ftp_File_Pair> files{{"a", local.File("got")}};
             return client.GetFile(files, false);
         }},
        {"PutFile",
         [&](CClient& client) {
             std::vector<Ftp_File_Pair> files{{local.File("f"), "a"}};
             return client.PutFile(files);
         }},
        {"RemoveFile", [](CClient& client) { return client.RemoveFile("a"); }},
        {"MakeDir", [](CClient& client) { return client.MakeDir("a"); }},
        {"RemoveDir", [](CClient& client) { return client.RemoveDir("a"); }},
    };
}

// A whole reply, half of one, one byte that is none.
constexpr const char* kWaiting[] = {"226 late\r\n", "226 la", "\n"};

TEST_F(OutOfStep, NothingIsSent) {
    const TempDir local;
    WriteFile(local.File("f"), "tea");
    for (const char* pszWaiting : kWaiting) {
        for (const SOperation& operation : Operations(local)) {
            SCOPED_TRACE(testing::Message() << operation.pszName << ", " << pszWaiting);
            ScriptedServer server{LogIn(), Late(pszWaiting), ExpectClose()};
            CClient client(server);
            client.setTransferOptions(Verified());
            ASSERT_EQ(client.Login(), 0U);
            LetItBeLate(server);
            const Stopwatch watch;
            EXPECT_EQ(operation.run(client), operation.uResult);
            EXPECT_EQ(operation.run(client), operation.uResult) << "and it stays so";
            EXPECT_BETWEEN(watch.Elapsed(), 0, 2000);
            // QUIT is a command, too; the sockets are closed all the same.
            EXPECT_EQ(client.Close(), FTP_CLOSE_FAILED);
            server.ExpectFinished();
        }
    }
    EXPECT_EQ(NamesIn(local.Path()), std::vector<std::string>{"f"});
}

TEST_F(OutOfStep, CloseAloneSendsNothingEither) {
    ScriptedServer server{LogIn(), Late("226 late\r\n"), ExpectClose()};
    CClient client(server);
    client.setTransferOptions(Verified());
    ASSERT_EQ(client.Login(), 0U);
    LetItBeLate(server);
    EXPECT_EQ(client.Close(), FTP_CLOSE_FAILED);
    server.ExpectFinished();
}

TEST_F(OutOfStep, AClosingReplyThatComesTooLateIsNotTakenForAnothers) {
    const CTarget target(true);
    std::vector<SStep> script{LogIn()};
    for (const SStep& step : Retr({SayLine("150 here"), SendData("tea"), CloseData(), Hold(),
                                   SayLine("226 late"), Hold(), ExpectClose()}))
        script.push_back(step);
    ScriptedServer server(script);
    CClient client(server);
    client.setParam(1, 1, 1);
    client.setTransferOptions(Verified());
    ASSERT_EQ(client.Login(), 0U);
    EXPECT_EQ(client.GetOneFile("f", target.Path(), false), FTP_NO_REPLY);
    LetItBeLate(server);
    EXPECT_EQ(client.GetOneFile("f", target.Path(), false), FTP_OUT_OF_STEP);
    target.ExpectUntouched();
    EXPECT_EQ(client.Close(), FTP_CLOSE_FAILED);
    server.ExpectFinished();
}

TEST_F(OutOfStep, IsOnlyNoticedWhereAskedFor) {
    FtpTransferOptions options;
    options.bAnyDataAddress = true;
    options.uBlockSize = 65536;
    options.ullMaxListing = 100000;
    options.progress = [](unsigned long long) { return true; };
    ScriptedServer server{LogIn(),
                          Late("450 late\r\n"),
                          Expect("CWD /srv/data/a"),
                          UntilRead("450 late"),
                          SayLine("250 there"),
                          Quit()};
    CClient client(server);
    client.setTransferOptions(options);
    ASSERT_EQ(client.Login(), 0U);
    LetItBeLate(server);
    EXPECT_EQ(client.ChangeDir("a"), FTP_REPLY_450);
    EXPECT_EQ(client.Close(), 0U);
    server.ExpectFinished();
}

TEST_F(OutOfStep, CanBeToldAtAnyTime) {
    ScriptedServer server{LogIn(), Cwd("/srv/data/a"), Late("226 late\r\n"), ExpectClose()};
    CClient client(server);
    ASSERT_EQ(client.Login(), 0U);
    EXPECT_EQ(client.ChangeDir("a"), 0U);
    LetItBeLate(server);
    client.setTransferOptions(Verified());
    EXPECT_EQ(client.ChangeDir("a"), FTP_OUT_OF_STEP);
    EXPECT_EQ(client.Close(), FTP_CLOSE_FAILED);
    server.ExpectFinished();
}

// A connection that the server has ended has nothing that waits: the result is the usual one.
TEST_F(OutOfStep, IsNotWhatAServerThatHungUpIs) {
    for (const SStep& end : {Close(), Reset()}) {
        unsigned int uResults[2] = {};
        for (const bool bVerify : {false, true}) {
            ScriptedServer server{LogIn(), Wait(Millis(100)), end, Hold()};
            CClient client(server);
            client.setParam(1, 1, 1);
            FtpTransferOptions options;
            options.bVerify = bVerify;
            client.setTransferOptions(options);
            ASSERT_EQ(client.Login(), 0U);
            server.WaitUntilHeld();
            server.Release();
            uResults[bVerify ? 1 : 0] = client.ChangeDir("a");
            EXPECT_EQ(client.Close(), FTP_CLOSE_FAILED);
            server.ExpectFinished();
        }
        EXPECT_EQ(uResults[1], uResults[0]) << end.strName;
        EXPECT_NE(uResults[0], 0U);
    }
}

// Replies of any form that are the command's own.
TEST_F(OutOfStep, IsNotWhatRepliesOfSeveralLinesAre) {
    COptionsSession session(
        {On("CWD /srv/data/a", "250-there\r\n you\r\n 226 are\r\n250 now"),
         Expect("CWD /srv/data/b"), SayPieces({"25", "0-the", "re\r\n250 now\r", "\n"}),
         On("CWD /srv/data/c", "550 no")},
        Verified());
    EXPECT_EQ(session->ChangeDir("a"), 0U);
    EXPECT_EQ(session->ChangeDir("b"), 0U);
    EXPECT_EQ(session->ChangeDir("c"), FTP_CWD_REFUSED);
}

}  // namespace
}  // namespace SessionTest
