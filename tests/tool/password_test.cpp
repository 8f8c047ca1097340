// Where the password comes from, and where it never shows.

#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "tests/support/scriptedserver.h"
#include "tests/tool/ftpserver.h"
#include "tests/tool/terminal.h"

using namespace TestSupport;
using namespace ToolTest;

namespace {

const std::string kPrompt = "Password of bob at 127.0.0.1: ";

class Prompt : public testing::Test {
protected:
    Arguments Ls() const { return ToolCommand({"ls", m_server.Url("/")}); }
    // With job control, as a stop key needs it: a process group that nobody could continue is not
    // stopped. "$@" is Ls().
    Arguments InShell(const std::string& strScript) const {
        Arguments shell{"/bin/bash", "-c", "exec 2>/dev/tty; set -m; " + strScript, "bash"};
        const Arguments ls = Ls();
        shell.insert(shell.end(), ls.begin(), ls.end());
        return shell;
    }
    SSurroundings AtTerminal() const { return {{}, "", m_terminal.Name(), ""}; }

    FtpServer m_server;
    Terminal m_terminal;
};

TEST_F(Prompt, AsksOnTheTerminalAndShowsNothingOfTheAnswer) {
    WriteFile(m_server.File("x"), "");
    EXPECT_TRUE(m_terminal.Echoes());
    ChildProcess tool(Ls(), AtTerminal());
    EXPECT_EQ(m_terminal.ReadUntil(kPrompt), kPrompt);
    EXPECT_FALSE(m_terminal.Echoes());
    m_terminal.Type(std::string(kPassword) + "\n");
    const SRun run = tool.Wait();
    EXPECT_EQ(run.nExit, 0);
    EXPECT_NE(run.strOut.find("  x\n"), std::string::npos) << run.strOut;
    EXPECT_EQ(run.strErr, "");
    EXPECT_EQ(m_terminal.ReadUntil("\n"), "\r\n");  // for the line end that was not shown
    EXPECT_TRUE(m_terminal.Echoes());
}

TEST_F(Prompt, IsNotMadeWhenTheEnvironmentHasThePassword) {
    SSurroundings surroundings = AtTerminal();
    surroundings.environment["QELFTP_PASSWORD"] = kPassword;
    const SRun run = ChildProcess(Ls(), surroundings).Wait();
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    m_terminal.Type("x");
    EXPECT_EQ(m_terminal.ReadUntil("x"), "x");  // nothing was shown before
}

TEST_F(Prompt, ComesAfterTheChecksOfTheCommandLineAndOfLocalFiles) {
    const SRun usage = ChildProcess(ToolCommand({"ls", "ftp://bob@h/%zz"}), AtTerminal()).Wait();
    EXPECT_EQ(usage.nExit, 2);
    const SRun local =
        ChildProcess(ToolCommand({"put", "/none", m_server.Url("/")}), AtTerminal()).Wait();
    EXPECT_EQ(local.nExit, 1);
    m_terminal.Type("x");
    EXPECT_EQ(m_terminal.ReadUntil("x"), "x");
}

TEST_F(Prompt, WrongAnswerIsALoginFailure) {
    ChildProcess tool(Ls(), AtTerminal());
    m_terminal.ReadUntil(kPrompt);
    m_terminal.Type("s3cret\n");
    const SRun run = tool.Wait();
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("login refused (0x3bb00007)"), std::string::npos) << run.strErr;
    EXPECT_EQ(run.strErr.find("s3cret"), std::string::npos) << run.strErr;
}

TEST_F(Prompt, EndOfInputIsNoAnswer) {
    ChildProcess tool(Ls(), AtTerminal());
    m_terminal.ReadUntil(kPrompt);
    m_terminal.Type("\x04");
    const SRun run = tool.Wait();
    EXPECT_EQ(run.nExit, 2);
    EXPECT_NE(run.strErr.find("no password was typed"), std::string::npos) << run.strErr;
    EXPECT_TRUE(m_terminal.Echoes());
    EXPECT_EQ(m_server.Log(), "");
}

TEST_F(Prompt, InterruptKeyEndsTheProgramAndRestoresTheTerminal) {
    ChildProcess tool(Ls(), AtTerminal());
    m_terminal.ReadUntil(kPrompt);
    ASSERT_FALSE(m_terminal.Echoes());
    m_terminal.Type("hal\x03");
    EXPECT_EQ(tool.Wait().nExit, 128 + SIGINT);
    EXPECT_TRUE(m_terminal.Echoes());
}

TEST_F(Prompt, SignalsEndTheProgramAndRestoreTheTerminal) {
    for (const int nSignal : {SIGTERM, SIGHUP, SIGQUIT, SIGINT}) {
        ChildProcess tool(Ls(), AtTerminal());
        m_terminal.ReadUntil(kPrompt);
        ASSERT_FALSE(m_terminal.Echoes());
        ::kill(tool.Pid(), nSignal);
        EXPECT_EQ(tool.Wait().nExit, 128 + nSignal);
        EXPECT_TRUE(m_terminal.Echoes()) << "signal " << nSignal;
        m_terminal.ReadUntil("\n");
    }
}

TEST_F(Prompt, AStopRestoresTheTerminalAndTheQuestionIsAskedAgain) {
    WriteFile(m_server.File("x"), "");
    ChildProcess process(
        InShell("\"$@\"; echo stopped with $?; stty -F /dev/tty -a; fg >/dev/null"), AtTerminal());
    m_terminal.ReadUntil(kPrompt);
    m_terminal.Type("half\x1a");
    EXPECT_EQ(process.ReadLine(), "stopped with " + std::to_string(128 + SIGTSTP));
    m_terminal.ReadUntil(kPrompt);
    EXPECT_FALSE(m_terminal.Echoes());
    m_terminal.Type(std::string(kPassword) + "\n");
    const SRun run = process.Wait();
    EXPECT_EQ(run.nExit, 0);
    EXPECT_NE(run.strOut.find(" echo "), std::string::npos) << run.strOut;  // while it was stopped
    EXPECT_NE(run.strOut.find("  x\n"), std::string::npos) << run.strOut;
    EXPECT_TRUE(m_terminal.Echoes());
}

TEST_F(Prompt, InTheBackgroundWaitsForTheForegroundAndCanBeEnded) {
    ChildProcess process(InShell("\"$@\" & while ! jobs | grep -q Stopped; do sleep 0.1; done; "
                                 "kill %1; kill -CONT %1; wait %1; echo ended with $?"),
                         AtTerminal());
    const SRun run = process.Wait();
    EXPECT_EQ(run.strOut, "ended with " + std::to_string(128 + SIGTERM) + "\n");
    EXPECT_TRUE(m_terminal.Echoes());
}

TEST(Password, WithoutTerminalAndEnvironmentIsAUsageError) {
    const SRun run = RunTool({"ls", "ftp://bob@127.0.0.1:1/"});
    EXPECT_EQ(run.nExit, 2);
    EXPECT_EQ(run.strOut, "");
    EXPECT_EQ(run.strErr,
              "qelftp: a password is needed, and there is no terminal to ask on: set "
              "QELFTP_PASSWORD\nTry 'qelftp ls --help'.\n");
}

TEST(Password, EmptyInTheEnvironmentIsAPassword) {
    ScriptedServer server{Say("220 ready\r\n"), Expect("USER bob"), Say("331 password\r\n"),
                          Expect("PASS "),      Say("530 no\r\n"),  Expect("QUIT"),
                          Say("221 bye\r\n"),   ExpectClose()};
    const SRun run = RunTool({"ls", "ftp://bob@127.0.0.1:" + std::to_string(server.Port()) + "/"},
                             {{{"QELFTP_PASSWORD", ""}}, "", "", ""});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("login refused"), std::string::npos) << run.strErr;
    server.ExpectFinished();
}

TEST(Password, IsNeitherInTheProcessListNorInTheEnvironmentOfARunningSession) {
    ScriptedServer server{Say("220 ready\r\n"),
                          Expect("USER bob"),
                          Say("331 password\r\n"),
                          Expect("PASS s3cret"),
                          Hold(),
                          Say("530 no\r\n"),
                          Expect("QUIT"),
                          Say("221 bye\r\n"),
                          ExpectClose()};
    ChildProcess tool(
        ToolCommand({"ls", "ftp://bob@127.0.0.1:" + std::to_string(server.Port()) + "/"}),
        {{{"QELFTP_PASSWORD", "s3cret"}}, "", "", ""});
    server.WaitUntilHeld();
    const std::string strProcess = "/proc/" + std::to_string(tool.Pid()) + "/";
    const std::string strCommandLine = ReadFile(strProcess + "cmdline");
    const std::string strEnvironment = ReadFile(strProcess + "environ");
    server.Release();
    EXPECT_EQ(tool.Wait().nExit, 1);
    server.ExpectFinished();

    EXPECT_NE(strCommandLine.find("ftp://bob@"), std::string::npos);  // it is the right process
    EXPECT_EQ(strCommandLine.find("s3cret"), std::string::npos);
    EXPECT_NE(strEnvironment.find("LC_ALL="), std::string::npos);
    EXPECT_EQ(strEnvironment.find("s3cret"), std::string::npos);
}

}  // namespace
