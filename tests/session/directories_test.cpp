// MakeDir and RemoveDir, and the session root.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/session/fixture.h"

namespace SessionTest {
namespace {

class MakeDir : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(MakeDir);
class RemoveDir : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(RemoveDir);
class Root : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(Root);

unsigned int Made(std::vector<SStep> script, const std::string& strDir,
                  const std::string& strRoot = kRoot) {
    script.insert(script.begin(), LogIn(strRoot));
    script.push_back(Quit());
    ScriptedServer server(script);
    CClient client(server);
    EXPECT_EQ(client.Login(), 0U);
    const unsigned int uResult = client.MakeDir(strDir);
    client.CloseInOrder();
    server.ExpectFinished();
    return uResult;
}

unsigned int Removed(std::vector<SStep> script, const std::string& strDir,
                     const std::string& strRoot = kRoot) {
    script.insert(script.begin(), LogIn(strRoot));
    script.push_back(Quit());
    ScriptedServer server(script);
    CClient client(server);
    EXPECT_EQ(client.Login(), 0U);
    const unsigned int uResult = client.RemoveDir(strDir);
    client.CloseInOrder();
    server.ExpectFinished();
    return uResult;
}

SStep NoCwd(const std::string& strDir) {
    return On("CWD " + strDir, "550 no such place");
}

TEST_P(MakeDir, CreatesWhatIsMissing) {
    EXPECT_EQ(Made({Cwd("/"), Cwd("srv/"), Cwd("data/"), NoCwd("a/"), On("MKD a", "257 made"),
                    Cwd("a/"), NoCwd("b/"), On("MKD b", "257 made"), Cwd("b/")},
                   "a/b"),
              0U);
    EXPECT_EQ(ErrorLog(), "");
}

TEST_P(MakeDir, SendsOnlyCwdWhereAllExists) {
    EXPECT_EQ(Made({Cwd("/"), Cwd("srv/"), Cwd("data/"), Cwd("a/"), Cwd("b/")}, "/a/b"), 0U);
}

TEST_P(MakeDir, SkipsEmptyLevels) {
    EXPECT_EQ(Made({Cwd("/"), Cwd("srv/"), Cwd("data/"), Cwd("a/"), NoCwd("b/"),
                    On("MKD b", "257 made"), Cwd("b/")},
                   "a//b/"),
              0U);
    EXPECT_EQ(Made({Cwd("/"), Cwd("a/")}, "///a", "/"), 0U);
}

TEST_P(MakeDir, WorksBelowTheServersOwnRoot) {
    EXPECT_EQ(Made({Cwd("/"), NoCwd("a/"), On("MKD a", "257 made"), Cwd("a/")}, "a", "/"), 0U);
    EXPECT_EQ(Made({Cwd("/")}, "/", "/"), 0U);
}

TEST_P(MakeDir, KeepsBackslashesAndBlanks) {
    EXPECT_EQ(Made({Cwd("/"), Cwd("srv/"), Cwd("data\\x/"), Cwd("a b/")}, "\\x/a b"), 0U);
}

TEST_P(MakeDir, OfAnEmptyPathGoesToTheTop) {
    EXPECT_EQ(Made({Cwd("/")}, ""), 0U);
    ASSERT_EQ(RecordingLog::Errors().size(), 1U);
    EXPECT_EQ(RecordingLog::Errors()[0].nLine, 955);
}

TEST_P(MakeDir, EndsWhenTheTopIsRefused) {
    EXPECT_EQ(Made({On("CWD /", "550 no")}, "a"), 0x3bb00009U);
    EXPECT_EQ(Made({On("CWD /", "550 Permission denied")}, "a"), 0x3bb0000dU);
    EXPECT_EQ(Made({On("CWD /", "421 busy")}, "a"), 0x3bb0000fU);
}

TEST_P(MakeDir, EndsAtTheFirstLevelThatCannotBeMade) {
    const std::vector<SStep> toA{
        Cwd("/"),  Cwd("srv/"), Cwd("data/"), NoCwd("a/"), On("MKD a", "257 made"),
        Cwd("a/"), NoCwd("b/")};
    const struct {
        const char* pszReply;
        unsigned int uResult;
    } refusals[] = {
        {"550 no", 0x3bb0000a},
        {"550 b: Permission denied", 0x3bb0000d},
        {"550 Directory exists", 0x3bb00016},
        {"521 Directory already there", 0x3bb00016},
        {"553 odd name", 0x3bb00017},
        {"452 no room", 0x3bb00014},
        {"502 what?", 0x4007001a},
    };
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(refusal.pszReply);
        std::vector<SStep> script = toA;
        script.push_back(On("MKD b", refusal.pszReply));
        EXPECT_EQ(Made(script, "a/b/c"), refusal.uResult);
    }
}

TEST_P(MakeDir, EndsWhenANewLevelCannotBeEntered) {
    EXPECT_EQ(Made({Cwd("/"), NoCwd("a/"), On("MKD a", "257 made"), NoCwd("a/")}, "a/b", "/"),
              0x3bb00009U);
    EXPECT_EQ(Made({Cwd("/"), NoCwd("a/"), On("MKD a", "257 made"),
                    On("CWD a/", "550 Permission denied")},
                   "a/b", "/"),
              0x3bb0000dU);
}

TEST_P(MakeDir, TriesMkdAfterAnyFailureOfCwd) {
    EXPECT_EQ(
        Made({Cwd("/"), On("CWD a/", "501 what?"), On("MKD a", "200 made"), Cwd("a/")}, "a", "/"),
        0U);
    EXPECT_EQ(ErrorLog(), "0 [FTPCLIENT]Ftp_mkd getRetCode error,the real retCode:200 made\r\n\n");
}

// ---- RemoveDir ----

constexpr const char* kTwoFilesAndADirectory =
    "total 3\r\n"
    "drwxr-xr-x 2 u g 4096 Mar 3 2019 .\r\n"
    "drwxr-xr-x 2 u g 4096 Mar 3 2019 ..\r\n"
    "-rw-r--r-- 1 u g 7 Mar 3 2019 one\r\n"
    "---------- 1 u g 7 Mar 3 2019 nobody's file\r\n"
    "drwxr-xr-x 2 u g 4096 Mar 3 2019 sub\r\n";

TEST_P(RemoveDir, RemovesTheFilesAndThenTheDirectory) {
    EXPECT_EQ(Removed({Cwd("/srv/data/a"),
                       ServeList("lrwxrwxrwx 1 u g 7 Mar 3 2019 link -> /etc/passwd\r\n"
                                 "12-31-19 11:59PM 1234 dos file.txt\r\n"),
                       On("DELE /srv/data/a/link", "250 gone"),
                       On("DELE /srv/data/a/dos file.txt", "250 gone"), Cwd("/"),
                       On("RMD /srv/data/a", "250 gone")},
                      "a"),
              0U);
    EXPECT_EQ(ErrorLog(), "");
}

TEST_P(RemoveDir, LeavesADirectoryWithASubdirectory) {
    EXPECT_EQ(Removed({Cwd("/srv/data/a"), ServeList(kTwoFilesAndADirectory),
                       On("DELE /srv/data/a/one", "250 gone"),
                       On("DELE /srv/data/a/nobody's file", "250 gone"),
                       On("DELE /srv/data/a/sub", "550 not a plain file"), Cwd("/"),
                       On("RMD /srv/data/a", "550 not empty")},
                      "a"),
              0x3bb0000bU);
}

TEST_P(RemoveDir, OfAnEmptyDirectoryListsItAllTheSame) {
    EXPECT_EQ(
        Removed({Cwd("/srv/data/a"), ServeList(""), Cwd("/"), On("RMD /srv/data/a", "250 gone")},
                "/a"),
        0U);
}

TEST_P(RemoveDir, GivesTheResultOfRmd) {
    const struct {
        const char* pszReply;
        unsigned int uResult;
    } replies[] = {
        {"200 gone", 0},
        {"550 a: No such file or directory", 0x3bb0000e},
        {"550 Permission denied", 0x3bb0000d},
        {"450 busy", 0x3bb00012},
    };
    for (const auto& reply : replies) {
        SCOPED_TRACE(reply.pszReply);
        EXPECT_EQ(Removed({Cwd("/srv/data/a"), ServeList(""), Cwd("/"),
                           On("RMD /srv/data/a", reply.pszReply)},
                          "a"),
                  reply.uResult);
    }
}

TEST_P(RemoveDir, TakesNoNoticeOfOtherFailures) {
    EXPECT_EQ(Removed({Cwd("/srv/data/a"), ServeList("12-31-19 11:59PM 1234 f\r\n"),
                       On("DELE /srv/data/a/f", "421 busy"), NoCwd("/"),
                       On("RMD /srv/data/a", "250 gone")},
                      "a"),
              0U);
}

TEST_P(RemoveDir, DeletesNothingWhenTheListingFails) {
    EXPECT_EQ(Removed({NoCwd("/srv/data/a")}, "a"), 0x3bb00009U);
    EXPECT_EQ(Removed({Cwd("/srv/data/a"), On("PASV", "425 no ports left")}, "a"), 0x3bb00010U);
    EXPECT_EQ(
        Removed({Cwd("/srv/data/a"), Passive(), On("LIST", "450 busy"), ExpectDataClosed()}, "a"),
        0x3bb00012U);
}

TEST_P(RemoveDir, DoublesNoSeparatorAtTheServersRoot) {
    EXPECT_EQ(Removed({Cwd("/"), ServeList("12-31-19 11:59PM 1234 f\r\n"),
                       On("DELE /f", "250 gone"), Cwd("/"), On("RMD /", "550 never")},
                      "/", "/"),
              0x3bb0000bU);
    EXPECT_EQ(Removed({Cwd("/a/"), ServeList("12-31-19 11:59PM 1234 f\r\n"),
                       On("DELE /a//f", "250 gone"), Cwd("/"), On("RMD /a/", "250 gone")},
                      "a/", "/"),
              0U);
}

// ---- The root ----

TEST_P(Root, IsJoinedToEveryRemotePath) {
    const struct {
        const char* pszRoot;
        const char* pszPath;
        const char* pszSent;
    } joins[] = {
        {"/home/u", "a/b", "/home/u/a/b"},
        {"/home/u/", "/a", "/home/u/a"},
        {"/", "a", "/a"},
        {"//", "a", "/a"},
        {"C:\\ftp\\", "in", "C:/ftp/in"},
        {"/data", "\\in", "/data\\in"},
        {"/home/u", "/home/u/x", "/home/u/home/u/x"},
    };
    for (const auto& join : joins) {
        SCOPED_TRACE(std::string(join.pszPath) + " below " + join.pszRoot);
        ScriptedServer server{LogIn(join.pszRoot), Cwd(join.pszSent),
                              On(std::string("DELE ") + join.pszSent, "250 gone"), Quit()};
        CClient client(server);
        ASSERT_EQ(client.Login(), 0U);
        EXPECT_EQ(client.ChangeDir(join.pszPath), 0U);
        EXPECT_EQ(client.RemoveFile(join.pszPath), 0U);
        client.CloseInOrder();
        server.ExpectFinished();
        EXPECT_EQ(ErrorLog(), "");
    }
}

TEST_P(Root, AnEmptyOneIsWarnedOfOncePerOperation) {
    ScriptedServer server{LogIn(""), Cwd("x"), On("DELE x", "250 gone"), Quit()};
    CClient client(server);
    ASSERT_EQ(client.Login(), 0U);
    EXPECT_EQ(client.ChangeDir("x"), 0U);
    EXPECT_EQ(client.RemoveFile("x"), 0U);
    client.CloseInOrder();
    server.ExpectFinished();
    const auto errors = RecordingLog::Errors();
    ASSERT_EQ(errors.size(), 2U);
    for (const SLogEntry& error : errors) {
        EXPECT_EQ(error.uCode, 0U);
        EXPECT_EQ(error.nLine, 950);
    }
}

TEST_P(Root, AnEmptyPathIsWarnedOfAndSentEmpty) {
    ScriptedServer server{LogIn(), Cwd(""), Quit()};
    CClient client(server);
    ASSERT_EQ(client.Login(), 0U);
    EXPECT_EQ(client.ChangeDir(""), 0U);
    client.CloseInOrder();
    server.ExpectFinished();
    ASSERT_EQ(RecordingLog::Errors().size(), 1U);
    EXPECT_EQ(RecordingLog::Errors()[0].uCode, 0U);
    EXPECT_EQ(RecordingLog::Errors()[0].nLine, 955);
}

}  // namespace
}  // namespace SessionTest
