// Servers that do what a real one rarely does.

#include <gtest/gtest.h>

#include <chrono>
#include <string>

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

TEST(ScriptedSession, ExistsDoesNotTakeALostConnectionForNo) {
    ScriptedServer server{LoggedIn(), Expect("CWD /home/bob/"), Close()};
    const SRun run = RunWithPassword({"exists", Url(server, "/x")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr.find("qelftp: exists /x: "), 0U) << run.strErr;
    EXPECT_EQ(run.strErr.find("no such file"), std::string::npos) << run.strErr;
    server.ExpectFinished();
}

// The library takes a transfer that broke off for a success; the session's end tells.
TEST(ScriptedSession, ALostConnectionIsToldAtTheLatestWhenTheSessionEnds) {
    const TempDir local;
    ScriptedServer server{
        LoggedIn(),           Expect("TYPE I"),       Say("200 ok\r\n"), Expect("CWD /home/bob"),
        Say("250 there\r\n"), Expect("PASV"),         SayPassive(),      Expect("RETR x"),
        Say("150 here\r\n"),  SendData(Payload(500)), CloseData(),       Close()};
    const SRun run = RunWithPassword({"get", Url(server, "/x"), local.Path().string()});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr.find("qelftp: close 127.0.0.1:" + std::to_string(server.Port()) + ": "),
              0U)
        << run.strErr;
    EXPECT_NE(run.strErr.find("(0x3bb0001b)"), std::string::npos) << run.strErr;
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

TEST(ScriptedSession, AnAddressOfAnotherHostIsExplained) {
    ScriptedServer server{LoggedIn(),
                          Expect("CWD /home/bob/"),
                          Say("250 there\r\n"),
                          Expect("PASV"),
                          SayPassive("227 Entering Passive Mode (10,9,8,7,%p).\r\n"),
                          LoggedOut()};
    const SRun run = RunWithPassword({"ls", Url(server, "/")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("(0x40070019); for data connections, the server must announce the "
                              "address it was reached at"),
              std::string::npos)
        << run.strErr;
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
