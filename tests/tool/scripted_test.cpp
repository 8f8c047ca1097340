// Servers that do what a real one rarely does.

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/payload.h"
#include "tests/support/scriptedserver.h"
#include "tests/support/tempdir.h"
#include "tests/tool/ftpserver.h"

using namespace TestSupport;
using namespace ToolTest;

namespace {

SStep LoggedIn() {
    return Sequence({Say("220 ready\r\n"), Expect("USER bob"), Say("331 password\r\n"),
                     Expect("PASS tea time"), Say("230 in\r\n"), Expect("PWD"),
                     Say("257 \"/home/bob\"\r\n")});
}

SStep LoggedOut() {
    return Sequence({Expect("QUIT"), Say("221 bye\r\n"), ExpectClose()});
}

SStep Listing(const std::string& strText) {
    return Sequence({Expect("PASV"), SayPassive(), Expect("LIST"), Say("150 here\r\n"),
                     SendData(strText), CloseData(), Say("226 done\r\n"), Expect("OPTS UTF8 ON"),
                     Say("200 on\r\n")});
}

std::string Url(const ScriptedServer& server, const std::string& strPath) {
    return "ftp://bob@127.0.0.1:" + std::to_string(server.Port()) + strPath;
}

TEST(ScriptedSession, PathsAreBelowTheLoginDirectory) {
    ScriptedServer server{LoggedIn(), Expect("DELE /home/bob/a b"), Say("250 gone\r\n"),
                          LoggedOut()};
    const SRun run = RunWithPassword({"rm", Url(server, "/../a%20b")});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    server.ExpectFinished();
}

TEST(ScriptedSession, ListingTextsCannotDriveTheTerminal) {
    ScriptedServer server{LoggedIn(), Expect("CWD /home/bob/"), Say("250 there\r\n"),
                          Listing("-rw-r--r-- 1 u g 5\x1b[2J Mar 3 2019 \x1b]0;title\x07.txt\r\n"
                                  "03-03\x1b[1m-19 10:00AM <DIR> a\x9b"
                                  "b\r\n"),
                          LoggedOut()};
    const SRun run = RunWithPassword({"ls", Url(server, "/")});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_EQ(run.strOut,
              "file  5\\x1b[2J  2019-03-03               \\x1b]0;title\\x07.txt\n"
              "dir          0  03-03\\x1b[1m-19 10:00AM  a\\x9bb\n");
    server.ExpectFinished();
}

TEST(ScriptedSession, AListingIsSortedAsATableAndAsJson) {
    for (const bool bJson : {false, true}) {
        SCOPED_TRACE(bJson ? "json" : "table");
        ScriptedServer server{LoggedIn(), Expect("CWD /home/bob/"), Say("250 there\r\n"),
                              Listing("-rw-r--r-- 1 u g 1 Mar 3 2019 second\r\n"
                                      "drwxr-xr-x 1 u g 2 Mar 3 2019 third\r\n"
                                      "-rw-r--r-- 1 u g 3 Mar 3 2019 first\r\n"),
                              LoggedOut()};
        std::vector<std::string> arguments = {"ls", Url(server, "/")};
        if (bJson) arguments.emplace_back("--json");
        const SRun run = RunWithPassword(arguments);
        EXPECT_EQ(run.nExit, 0) << run.strErr;
        std::string strOrder;
        std::istringstream lines(run.strOut);
        for (std::string strLine; std::getline(lines, strLine);) {
            for (const char* pszName : {"first", "second", "third"})
                if (strLine.find(pszName) != std::string::npos)
                    strOrder += std::string(pszName) + ' ';
        }
        EXPECT_EQ(strOrder, "first second third ") << run.strOut;
        server.ExpectFinished();
    }
}

TEST(ScriptedSession, ExistsDoesNotTakeALostConnectionForNo) {
    ScriptedServer server{LoggedIn(), Expect("CWD /home/bob/"), Close()};
    const SRun run = RunWithPassword({"exists", Url(server, "/x")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr.find("qelftp: exists /x: "), 0U) << run.strErr;
    EXPECT_EQ(run.strErr.find("no such file"), std::string::npos) << run.strErr;
    server.ExpectFinished();
}

TEST(ScriptedSession, AFileWhoseEndIsNotConfirmedIsNotThere) {
    const TempDir local;
    ScriptedServer server{
        LoggedIn(),           Expect("TYPE I"),       Say("200 ok\r\n"), Expect("CWD /home/bob"),
        Say("250 there\r\n"), Expect("PASV"),         SayPassive(),      Expect("RETR x"),
        Say("150 here\r\n"),  SendData(Payload(500)), CloseData(),       Close()};
    const SRun run =
        RunWithPassword({"get", "--retries", "0", Url(server, "/x"), local.Path().string()});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr.find("qelftp: get /x: "), 0U) << run.strErr;
    EXPECT_TRUE(std::filesystem::is_empty(local.Path()));
    server.ExpectFinished();
}

SStep Retrieved(const std::string& strLast) {
    return Sequence({Expect("TYPE I"), Say("200 ok\r\n"), Expect("CWD /home/bob"),
                     Say("250 there\r\n"), Expect("PASV"), SayPassive(), Expect("RETR x"),
                     Say("150 here\r\n"), SendData(Payload(500)), CloseData(), Say(strLast)});
}

TEST(ScriptedSession, AFileThatBrokeIsFetchedAgainInANewSession) {
    const TempDir local;
    ScriptedServer server{LoggedIn(), Retrieved("426 broken\r\n"), LoggedOut(), Accept(),
                          LoggedIn(), Retrieved("226 done\r\n"),   LoggedOut()};
    const SRun run = RunWithPassword({"get", Url(server, "/x"), local.Path().string()});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_TRUE(SamePayload(Payload(500), ReadFile(local.File("x"))));
    EXPECT_EQ(server.Connections(), 2);
    server.ExpectFinished();
}

// What a server calls its files must not decide where they go.
TEST(ScriptedSession, UnsafeNamesAreNamedAndStayOutside) {
    const TempDir local;
    std::filesystem::create_directory(local.File("target"));
    ScriptedServer server{LoggedIn(),
                          Expect("CWD /home/bob/"),
                          Say("250 there\r\n"),
                          Listing("-rw-r--r-- 1 u g 500 Mar 3 2019 ../escaped\r\n"
                                  "drwxr-xr-x 1 u g 500 Mar 3 2019 ../escapeddir\r\n"
                                  "-rw-r--r-- 1 u g 500 Mar 3 2019 /tmp/escaped\r\n"
                                  "-rw-r--r-- 1 u g 500 Mar 3 2019 ..\\escaped\r\n"
                                  "-rw-r--r-- 1 u g 500 Mar 3 2019 a\x1b[2Jb\r\n"
                                  "-rw-r--r-- 1 u g 500 Mar 3 2019 x\r\n"),
                          Retrieved("226 done\r\n"),
                          LoggedOut()};
    const SRun run = RunWithPassword({"get", "-r", Url(server, "/"), local.File("target")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_TRUE(SamePayload(Payload(500), ReadFile(local.File("target/x"))));
    int nEntries = 0;
    for ([[maybe_unused]] const auto& entry :
         std::filesystem::recursive_directory_iterator(local.Path()))
        ++nEntries;
    EXPECT_EQ(nEntries, 2);  // the directory, and x in it
    EXPECT_NE(run.strErr.find("the name holds a slash"), std::string::npos) << run.strErr;
    EXPECT_NE(run.strErr.find("the name holds a backslash"), std::string::npos) << run.strErr;
    EXPECT_NE(run.strErr.find("a\\x1b[2Jb: the name holds a control character"), std::string::npos)
        << run.strErr;
    EXPECT_EQ(run.strErr.find('\x1b'), std::string::npos) << run.strErr;
    server.ExpectFinished();
}

// What is cut short without a word is found by its size.
TEST(ScriptedSession, AFileThatIsShorterThanItsListingIsNotKept) {
    const TempDir local;
    const std::string strListing = "-rw-r--r-- 1 u g 501 Mar 3 2019 x\r\n";
    ScriptedServer server{LoggedIn(),           Expect("CWD /home/bob/"),  Say("250 there\r\n"),
                          Listing(strListing),  Retrieved("226 done\r\n"), Expect("CWD /home/bob/"),
                          Say("250 there\r\n"), Listing(strListing),       LoggedOut()};
    const SRun run =
        RunWithPassword({"get", "-r", "--retries", "0", Url(server, "/"), local.Path().string()});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("500 of 501 bytes arrived"), std::string::npos) << run.strErr;
    EXPECT_TRUE(std::filesystem::is_empty(local.Path()));
    server.ExpectFinished();
}

// It has made its file, and breaks off before the first block is through.
TEST(ScriptedSession, WhatAFullServerTookIsRemoved) {
    const TempDir local;
    WriteFile(local.File("x"), Payload(8000000));
    ScriptedServer server{
        LoggedIn(),           Expect("TYPE I"), Say("200 ok\r\n"), Expect("CWD /home/bob"),
        Say("250 there\r\n"), Expect("PASV"),   SayPassive(),      Expect("STOR x"),
        Say("150 here\r\n"),  ReceiveData(10),  ResetData(),       Say("552 full\r\n"),
        LoggedOut(),          Accept(),         LoggedIn(),        Expect("DELE /home/bob/x"),
        Say("250 gone\r\n"),  LoggedOut()};
    const SRun run = RunWithPassword({"put", local.File("x"), Url(server, "/x")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr, "qelftp: put /x: storage allocation exceeded (0x3bb00018)\n");
    server.ExpectFinished();
}

TEST(ScriptedSession, ADataConnectionThatIsRefusedIsToldFromTheControlConnection) {
    ScriptedServer server{LoggedIn(),     Expect("CWD /home/bob/"), Say("250 there\r\n"),
                          Expect("PASV"), SayPassiveDead(),         LoggedOut()};
    const SRun run = RunWithPassword({"ls", Url(server, "/")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("ls /: connection could not be made (0x3bb00001); the data "
                              "connection is meant"),
              std::string::npos)
        << run.strErr;
    server.ExpectFinished();
}

TEST(ScriptedSession, AnAddressOfAnotherHostIsTakenForTheServersOwn) {
    ScriptedServer server{LoggedIn(),
                          Expect("CWD /home/bob/"),
                          Say("250 there\r\n"),
                          Expect("PASV"),
                          SayPassive("227 Entering Passive Mode (10,9,8,7,%p).\r\n"),
                          Expect("LIST"),
                          Say("150 here\r\n"),
                          SendData("-rw-r--r-- 1 u g 5 Mar 3 2019 x\r\n"),
                          CloseData(),
                          Say("226 done\r\n"),
                          Expect("OPTS UTF8 ON"),
                          Say("200 on\r\n"),
                          LoggedOut()};
    const SRun run = RunWithPassword({"ls", Url(server, "/")});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_EQ(run.strOut, "file  5  2019-03-03  x\n");
    server.ExpectFinished();
}

TEST(ScriptedSession, ASilentServerIsGivenUp) {
    ScriptedServer server{Accept(), ExpectBytes("USER bob\r\n")};
    const Clock::time_point start = Clock::now();
    const SRun run = RunWithPassword({"ls", Url(server, "/")});
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(12));
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr.find("qelftp: login 127.0.0.1:"), 0U) << run.strErr;
    server.Finish();
}

TEST(ScriptedSession, SomethingElseThanAnFtpServerIsGivenUp) {
    ScriptedServer server{Say("HTTP/1.1 400 Bad Request\r\nConnection: close\r\n\r\n"), Close()};
    const SRun run = RunWithPassword({"ls", Url(server, "/")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr.find("qelftp: login 127.0.0.1:"), 0U) << run.strErr;
    server.Finish();
}

}  // namespace
