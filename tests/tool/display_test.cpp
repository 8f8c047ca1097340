// What a run of the program shows while it lasts, on a terminal and elsewhere.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/payload.h"
#include "tests/support/scriptedserver.h"
#include "tests/support/tempdir.h"
#include "tests/tool/ftpserver.h"
#include "tests/tool/inlocale.h"
#include "tests/tool/screen.h"
#include "tests/tool/terminal.h"

using namespace TestSupport;
using namespace ToolTest;

namespace {

constexpr std::size_t kHalf = 1536 * 1024;

class RunDisplay : public testing::Test {
protected:
    // A server that stops in the middle of a file until it is released, or goes on slowly.
    explicit RunDisplay(bool bSlow = false)
        : m_strPayload(Payload(2 * kHalf)),
          m_server{Limit(Millis(30000)),
                   Say("220 ready\r\n"),
                   Expect("USER bob"),
                   Say("331 password\r\n"),
                   Expect("PASS tea time"),
                   Say("230 in\r\n"),
                   Expect("PWD"),
                   Say("257 \"/\"\r\n"),
                   Expect("TYPE I"),
                   Say("200 ok\r\n"),
                   Expect("CWD /"),
                   Say("250 there\r\n"),
                   Expect("PASV"),
                   SayPassive(),
                   Expect("RETR x\x1b"
                          "7"),
                   Say("150 here\r\n"),
                   SendData(m_strPayload.substr(0, kHalf)),
                   bSlow ? SendData(m_strPayload.substr(kHalf), kHalf / 40, Millis(200))
                         : Sequence({Hold(), SendData(m_strPayload.substr(kHalf))}),
                   CloseData(),
                   Say("226 done\r\n"),
                   Expect("QUIT"),
                   Say("221 bye\r\n"),
                   ExpectClose()} {
        Resize(80);
    }

    // With the terminal in place of standard error, followed by a line of the shell.
    Arguments Get(const Arguments& options) const {
        Arguments command{"/bin/bash", "-c", "exec 2>/dev/tty; \"$@\"; echo \"ended $?\" >&2",
                          "bash"};
        for (const std::string& strPart : ToolCommand({"--connect-timeout", "20", "get"}))
            command.push_back(strPart);
        command.insert(command.end(), options.begin(), options.end());
        command.push_back("ftp://bob@127.0.0.1:" + std::to_string(m_server.Port()) + "/x%1b7");
        command.push_back(m_local.File("x"));
        return command;
    }
    SSurroundings AtTerminal(const std::string& strTerm, const std::string& strNoColour) const {
        return {{{"QELFTP_PASSWORD", kPassword}, {"TERM", strTerm}, {"NO_COLOR", strNoColour}},
                "",
                m_terminal.Name(),
                ""};
    }
    void Resize(unsigned short usColumns) {
        const int nTerminal = ::open(m_terminal.Name().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        winsize size{};
        size.ws_col = usColumns;
        size.ws_row = 24;
        EXPECT_EQ(::ioctl(nTerminal, TIOCSWINSZ, &size), 0);
        ::close(nTerminal);
        m_screen.Resize(usColumns);
    }
    void ReadUntil(const std::string& strText) {
        const std::string strShown = m_terminal.ReadUntil(strText);
        m_strShown += strShown;
        m_screen.Feed(strShown);
    }
    void ExpectEnd(ChildProcess& process) {
        m_server.Release();
        EXPECT_EQ(process.Wait().nExit, 0);
        ReadUntil("ended 0\r\n");
        EXPECT_EQ(m_screen.Lines(), std::vector<std::string>{"ended 0"});
        EXPECT_EQ(m_screen.Foreign(), "");
        EXPECT_TRUE(SamePayload(m_strPayload, ReadFile(m_local.File("x"))));
        m_server.ExpectFinished();
    }

    InLocale m_utf8{"C.UTF-8"};
    std::string m_strPayload;
    ScriptedServer m_server;
    TempDir m_local;
    Terminal m_terminal;
    Screen m_screen{80};
    std::string m_strShown;
};

TEST_F(RunDisplay, IsDrawnOnATerminalFollowsItsSizeAndIsGoneAtTheEnd) {
    ChildProcess process(Get({}), AtTerminal("xterm", ""));
    ReadUntil("1.5M");
    ReadUntil("\x1b[J");
    ASSERT_EQ(m_screen.Lines().size(), 1u);
    EXPECT_EQ(m_screen.Lines()[0].rfind("/x\\x1b7  ", 0), 0u) << m_screen.Lines()[0];
    EXPECT_EQ(m_screen.Lines()[0].size(), 79u);
    EXPECT_TRUE(m_screen.HadColour());

    ReadUntil("\x1b[J");
    Resize(40);
    ReadUntil("\x1b[J");  // this one may have been on its way
    ReadUntil("\x1b[J");
    EXPECT_EQ(m_screen.Lines().back().size(), 39u) << m_screen.Lines().back();
    Resize(80);
    ReadUntil("\x1b[J");
    ReadUntil("\x1b[J");
    m_server.Release();
    EXPECT_EQ(process.Wait().nExit, 0);
    ReadUntil("ended 0\r\n");
    EXPECT_EQ(m_screen.Lines().back(), "ended 0");
    m_server.ExpectFinished();
}

TEST_F(RunDisplay, HasNoColourWhereItIsNotWanted) {
    ChildProcess process(Get({}), AtTerminal("xterm", "1"));
    ReadUntil("1.5M");
    EXPECT_FALSE(m_screen.HadColour());
    ExpectEnd(process);
}

class SlowRunDisplay : public RunDisplay {
protected:
    SlowRunDisplay() : RunDisplay(true) {}
};

TEST_F(SlowRunDisplay, OfASimpleTerminalIsLines) {
    ChildProcess process(Get({}), AtTerminal("dumb", ""));
    ReadUntil("left\r\n");
    EXPECT_EQ(m_strShown.rfind("/x\\x1b7: ", 0), 0u) << m_strShown;
    EXPECT_EQ(process.Wait().nExit, 0);
    ReadUntil("ended 0\r\n");
    EXPECT_EQ(m_strShown.find('\x1b'), std::string::npos) << m_strShown;
    m_server.ExpectFinished();
}

TEST_F(RunDisplay, IsEmptyWhenQuiet) {
    ChildProcess process(Get({"--quiet"}), AtTerminal("xterm", ""));
    m_server.WaitUntilHeld();
    ::usleep(2000000);  // longer than the display waits before it shows anything
    ExpectEnd(process);
    EXPECT_EQ(m_strShown, "ended 0\r\n");
}

TEST_F(RunDisplay, GoesBesideTheObjectsOfJson) {
    ChildProcess process(Get({"--json"}), AtTerminal("xterm", "1"));
    ReadUntil("1.5M");
    m_server.Release();
    const SRun run = process.Wait();
    EXPECT_EQ(run.nExit, 0);
    EXPECT_EQ(run.strOut.find('\x1b'), std::string::npos);
    const auto object = nlohmann::json::parse(run.strOut);
    EXPECT_EQ(object["remote"],
              "/x\x1b"
              "7");
    EXPECT_EQ(object["local"], m_local.File("x"));
    EXPECT_EQ(object["bytes"], 2 * kHalf);
    EXPECT_EQ(object["ok"], true);
    ReadUntil("ended 0\r\n");
    EXPECT_EQ(m_screen.Lines(), std::vector<std::string>{"ended 0"});
    m_server.ExpectFinished();
}

}  // namespace
