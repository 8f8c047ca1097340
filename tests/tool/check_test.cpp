// qelftp check, against servers that work, that almost work and that do not.

#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "tests/support/scriptedserver.h"
#include "tests/support/tempdir.h"
#include "tests/tool/ftpserver.h"

using namespace TestSupport;
using namespace ToolTest;

namespace {

constexpr const char* kUnixListing =
    "total 8\r\n-rw-r--r-- 1 u g 5 Mar 3 2019 a.txt\r\ndrwxr-xr-x 2 u g 4096 Mar 3 2019 d\r\n";

SStep Greeting() {
    return Say("220 ready\r\n");
}

SStep LogIn() {
    return Sequence(
        {Expect("USER bob"), Say("331 password\r\n"), Expect("PASS tea time"), Say("230 in\r\n")});
}

SStep Root() {
    return Sequence({Expect("PWD"), Say("257 \"/home/bob\"\r\n")});
}

SStep Enter() {
    return Sequence({Expect("CWD /home/bob/"), Say("250 there\r\n")});
}

SStep Listed(const std::string& strText) {
    return Sequence(
        {Expect("LIST"), Say("150 here\r\n"), SendData(strText), CloseData(), Say("226 done\r\n")});
}

SStep Utf8() {
    return Sequence({Expect("OPTS UTF8 ON"), Say("200 on\r\n")});
}

SStep LogOut() {
    return Sequence({Expect("QUIT"), Say("221 bye\r\n"), ExpectClose()});
}

std::string HostAndPort(const ScriptedServer& server) {
    return "127.0.0.1:" + std::to_string(server.Port());
}

SRun Check(const std::string& strHostAndPort) {
    return RunWithPassword({"check", "ftp://bob@" + strHostAndPort});
}

// Times are the machine's; how many blanks stand before them is a matter of the table's tests.
std::string WithoutTimes(const std::string& strTable) {
    const std::string strNoTimes =
        std::regex_replace(strTable, std::regex(" +[0-9]+\\.[0-9] ms  "), " T ");
    return std::regex_replace(strNoTimes, std::regex(" +(ok|note|FAIL) +"), " $1 ");
}

std::string WorksWith(const std::string& strHostAndPort) {
    return strHostAndPort + " works with the library\n";
}

std::string DoesNotWork(const std::string& strHostAndPort) {
    return "qelftp: check " + strHostAndPort + ": does not work with the library; see FAIL above\n";
}

TEST(Check, AServerThatWorksIsSaidToWork) {
    ScriptedServer server{
        Greeting(),           LogIn(), Root(),  Enter(), Expect("PASV"), SayPassive(),
        Listed(kUnixListing), Utf8(),  LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_EQ(run.strErr, "");
    EXPECT_EQ(WithoutTimes(run.strOut),
              "greeting ok T 220 ready\n"
              "login ok T 230 in\n"
              "root directory ok T /home/bob\n"
              "passive address ok T 127.0.0.1, the one it was reached at\n"
              "data connection ok T passive\n"
              "listing ok T Unix style; 2 of 2 lines are entries\n"
              "UTF-8 ok T 200 on\n"
              "close ok T 221 bye\n" +
                  WorksWith(HostAndPort(server)));
    server.ExpectFinished();
}

TEST(Check, ARealServerWorks) {
    const FtpServer server;
    WriteFile(server.File("a.txt"), "a");
    const SRun run = Check(server.HostAndPort());
    EXPECT_EQ(run.nExit, 0) << run.strErr << run.strOut;
    EXPECT_NE(run.strOut.find("Unix style; 1 of 1 lines are entries\n"), std::string::npos)
        << run.strOut;
    EXPECT_NE(run.strOut.find(WorksWith(server.HostAndPort())), std::string::npos) << run.strOut;
    EXPECT_EQ(run.strOut.find("note"), std::string::npos) << run.strOut;
}

TEST(Check, NothingSecretIsPrinted) {
    ScriptedServer server{Greeting(), Expect("USER bob"), Say("331 password\r\n"),
                          Expect("PASS tea time"), Close()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ((run.strOut + run.strErr).find("tea"), std::string::npos) << run.strOut << run.strErr;
    server.Finish();
}

struct SListingRow {
    const char* pszName;
    const char* pszText;
    const char* pszLine;
    int nExit;
};

void PrintTo(const SListingRow& row, std::ostream* pStream) {
    *pStream << row.pszName;
}

class CheckListing : public testing::TestWithParam<SListingRow> {};

TEST_P(CheckListing, IsTold) {
    const SListingRow& row = GetParam();
    ScriptedServer server{
        Greeting(),          LogIn(), Root(),  Enter(), Expect("PASV"), SayPassive(),
        Listed(row.pszText), Utf8(),  LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, row.nExit) << run.strErr;
    EXPECT_NE(WithoutTimes(run.strOut).find(row.pszLine), std::string::npos) << run.strOut;
    EXPECT_EQ(run.strErr, row.nExit == 0 ? "" : DoesNotWork(HostAndPort(server)));
    server.ExpectFinished();
}

const SListingRow kListings[] = {
    {"Dos", "03-03-19  10:00AM       <DIR>          d\r\n03-03-19  10:00AM  5 a.txt\r\n",
     "\nlisting ok T DOS style; 2 of 2 lines are entries\n", 0},
    {"Empty", "", "\nlisting ok T empty\n", 0},
    {"Unknown", "+i8388621.29609,m824255902,/,\tdev\r\n",
     "\nlisting FAIL T a style that the library does not know; 0 of 1 lines are entries\n", 1},
    {"Unreadable", "-rw-r--r-- 1 u g 5 Mar 3 2019 a.txt\r\n---------- 1 u g 5 Mar 3 2019 b.txt\r\n",
     "\nlisting note T Unix style; 1 of 2 lines are entries\n", 0},
    {"TooFewColumns", "-rw-r--r-- 1 u 5 Mar 3 2019 a.txt\r\n",
     "\nlisting FAIL T Unix style; 0 of 1 lines are entries\n", 1},
};
INSTANTIATE_TEST_SUITE_P(Check, CheckListing, testing::ValuesIn(kListings));

TEST(Check, AnotherAddressIsAFailureAndTheRestIsLookedAtAllTheSame) {
    ScriptedServer server{Greeting(),
                          LogIn(),
                          Root(),
                          Enter(),
                          Expect("PASV"),
                          SayPassive("227 Entering Passive Mode (10,9,8,7,%p).\r\n"),
                          Enter(),
                          Expect("PASV"),
                          SayPassive("227 Entering Passive Mode (10,9,8,7,%p).\r\n"),
                          Listed(kUnixListing),
                          Utf8(),
                          LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(WithoutTimes(run.strOut)
                  .find("\npassive address FAIL T 10.9.8.7 instead of 127.0.0.1: a program has to "
                        "set FtpTransferOptions::bAnyDataAddress\n"
                        "data connection ok T passive\n"
                        "listing ok T Unix style; 2 of 2 lines are entries\n"),
              std::string::npos)
        << run.strOut;
    EXPECT_EQ(run.strErr, DoesNotWork(HostAndPort(server)));
    server.ExpectFinished();
}

TEST(Check, APassiveReplyWithoutAddressIsAFailure) {
    ScriptedServer server{
        Greeting(), LogIn(), Root(), Enter(), Expect("PASV"), Say("227 somewhere\r\n"), LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(
        WithoutTimes(run.strOut).find("\npassive address FAIL T no address in: 227 somewhere\n"),
        std::string::npos)
        << run.strOut;
    server.ExpectFinished();
}

TEST(Check, ARefusedPassiveModeIsAFailure) {
    ScriptedServer server{Greeting(), LogIn(),        Root(),
                          Enter(),    Expect("PASV"), Say("502 no such thing\r\n"),
                          LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 1);
    EXPECT_TRUE(std::regex_search(
        run.strOut, std::regex("\nlisting +FAIL +.*\\(0x[0-9a-f]{8}\\): 502 no such thing\n")))
        << run.strOut;
    server.ExpectFinished();
}

TEST(Check, ADataPortThatRefusesIsAFailure) {
    ScriptedServer server{Greeting(),     LogIn(),          Root(),  Enter(),
                          Expect("PASV"), SayPassiveDead(), LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(WithoutTimes(run.strOut)
                  .find("\ndata connection FAIL T connection could not be made (0x3bb00001): check "
                        "firewalls"),
              std::string::npos)
        << run.strOut;
    server.ExpectFinished();
}

TEST(Check, ARefusedListingIsAFailureWithTheServersReason) {
    ScriptedServer server{Greeting(),     LogIn(),      Root(),         Enter(),
                          Expect("PASV"), SayPassive(), Expect("LIST"), Say("550 forbidden\r\n"),
                          LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 1);
    EXPECT_TRUE(std::regex_search(
        run.strOut, std::regex("\nlisting +FAIL .*\\(0x[0-9a-f]{8}\\): 550 forbidden\n")))
        << run.strOut;
    server.Finish();
}

TEST(Check, ADirectoryThatCannotBeEnteredIsAFailureWithTheServersReason) {
    ScriptedServer server{
        Greeting(), LogIn(), Root(), Expect("CWD /home/bob/"), Say("550 not yours\r\n"), LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 1);
    EXPECT_TRUE(std::regex_search(
        run.strOut, std::regex("\nlisting +FAIL .*\\(0x[0-9a-f]{8}\\): 550 not yours\n")))
        << run.strOut;
    server.ExpectFinished();
}

TEST(Check, AServerWithoutUtf8WorksWithANote) {
    ScriptedServer server{Greeting(),
                          LogIn(),
                          Root(),
                          Enter(),
                          Expect("PASV"),
                          SayPassive(),
                          Listed(kUnixListing),
                          Expect("OPTS UTF8 ON"),
                          Say("501 OPTS: what?\r\n"),
                          LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_NE(WithoutTimes(run.strOut)
                  .find("\nUTF-8 note T not switched on, so names in listings are left as they "
                        "come: 501 OPTS: what?\n"),
              std::string::npos)
        << run.strOut;
    server.ExpectFinished();
}

TEST(Check, AServerWithoutPwdWorksWithANote) {
    ScriptedServer server{Greeting(),
                          LogIn(),
                          Expect("PWD"),
                          Say("502 no\r\n"),
                          Expect("CWD /"),
                          Say("250 there\r\n"),
                          Expect("PASV"),
                          SayPassive(),
                          Listed(kUnixListing),
                          Utf8(),
                          LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_NE(
        WithoutTimes(run.strOut)
            .find("\nroot directory note T not told, so paths go to the server as the program "
                  "gives them: 502 no\n"),
        std::string::npos)
        << run.strOut;
    server.ExpectFinished();
}

TEST(Check, ARefusedLoginIsAFailureAndNothingFollows) {
    ScriptedServer server{Greeting(),
                          Expect("USER bob"),
                          Say("331 password\r\n"),
                          Expect("PASS tea time"),
                          Say("530 not you\r\n"),
                          LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(WithoutTimes(run.strOut),
              "greeting ok T 220 ready\n"
              "login FAIL T login refused (0x3bb00007): 530 not you\n");
    EXPECT_EQ(run.strErr, DoesNotWork(HostAndPort(server)));
    server.ExpectFinished();
}

TEST(Check, ARefusedUserIsAFailure) {
    ScriptedServer server{Greeting(), Expect("USER bob"), Say("530 go away\r\n"), LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 1);
    EXPECT_TRUE(std::regex_search(run.strOut,
                                  std::regex("\nlogin +FAIL .*\\(0x[0-9a-f]{8}\\): 530 go away\n")))
        << run.strOut;
    server.ExpectFinished();
}

TEST(Check, ADeadPortIsAFailure) {
    const DeadPort port;
    const std::string strServer = "127.0.0.1:" + std::to_string(port.Port());
    const SRun run = Check(strServer);
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(WithoutTimes(run.strOut),
              "connection FAIL connection could not be made (0x3bb00001)\n");
    EXPECT_EQ(run.strErr, DoesNotWork(strServer));
}

TEST(Check, AServerThatNeverGreetsIsAFailure) {
    ScriptedServer server{Accept(), Expect("QUIT")};
    const Clock::time_point start = Clock::now();
    const SRun run = Check(HostAndPort(server));
    EXPECT_LT(MsSince(start), 8000);
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(WithoutTimes(run.strOut), "greeting FAIL service not available (0x3bb0000f)\n");
    server.Finish();
}

TEST(Check, AServerThatFallsSilentAtTheLoginIsAFailure) {
    ScriptedServer server{Greeting(), Expect("USER bob"), Expect("QUIT")};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 1);
    EXPECT_TRUE(std::regex_search(run.strOut, std::regex("\nlogin +FAIL .*service not available "
                                                         "\\(0x3bb0000f\\)\n")))
        << run.strOut;
    server.Finish();
}

TEST(Check, SomethingElseThanAnFtpServerIsAFailureAndShowsWhatItIs) {
    ScriptedServer server{Say("SSH-2.0-OpenSSH_9.2\r\n"), LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(WithoutTimes(run.strOut).rfind("greeting FAIL T ", 0), 0U) << run.strOut;
    EXPECT_NE(run.strOut.find(": SSH-2.0-OpenSSH_9.2\n"), std::string::npos) << run.strOut;
    server.Finish();
}

TEST(Check, AGreetingThatAnnouncesADelayIsANote) {
    ScriptedServer server{
        Say("120 soon\r\n"),  LogIn(), Root(),  Enter(), Expect("PASV"), SayPassive(),
        Listed(kUnixListing), Utf8(),  LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_EQ(WithoutTimes(run.strOut).rfind("greeting note T 120 soon\nlogin ok T ", 0), 0U)
        << run.strOut;
    server.ExpectFinished();
}

TEST(Check, AGreetingThatRefusesIsAFailure) {
    ScriptedServer server{Say("421 too many\r\n"), LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(WithoutTimes(run.strOut),
              "greeting FAIL T service not available (0x3bb0000f): 421 too many\n");
    server.Finish();
}

TEST(Check, AsJsonItIsALineForEachStepAndNothingElse) {
    ScriptedServer server{
        Greeting(),           LogIn(), Root(),  Enter(), Expect("PASV"), SayPassive(),
        Listed(kUnixListing), Utf8(),  LogOut()};
    const SRun run = RunWithPassword({"check", "--json", "ftp://bob@" + HostAndPort(server)});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    const std::regex line(
        "\\{\"step\":\"[^\"]+\",\"result\":\"ok\",\"ms\":[0-9.]+,\"text\":\"[^\"]*\"\\}\n");
    EXPECT_EQ(std::regex_replace(run.strOut, line, "L"), "LLLLLLLL") << run.strOut;
    EXPECT_NE(run.strOut.find("\"text\":\"/home/bob\""), std::string::npos) << run.strOut;
    server.ExpectFinished();
}

TEST(Check, VerboseShowsTheDialogueWithoutThePassword) {
    ScriptedServer server{Greeting(),     LogIn(),           Root(),  Enter(),
                          Expect("PASV"), Say("502 no\r\n"), LogOut()};
    const SRun run = RunWithPassword({"check", "--verbose", "ftp://bob@" + HostAndPort(server)});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr,
              "< 220 ready\n> USER bob\n< 331 password\n> PASS ***\n< 230 in\n> PWD\n"
              "< 257 \"/home/bob\"\n> CWD /home/bob/\n< 250 there\n> PASV\n< 502 no\n"
              "> QUIT\n< 221 bye\n" +
                  DoesNotWork(HostAndPort(server)));
    server.ExpectFinished();
}

TEST(Check, WhatTheServerSaysCannotDriveTheTerminal) {
    ScriptedServer server{
        Say("220 \x1b[2J\r\n"), LogIn(), Root(),  Enter(), Expect("PASV"), SayPassive(),
        Listed(kUnixListing),   Utf8(),  LogOut()};
    const SRun run = Check(HostAndPort(server));
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_NE(run.strOut.find("220 \\x1b[2J\n"), std::string::npos) << run.strOut;
    server.ExpectFinished();
}

}  // namespace
