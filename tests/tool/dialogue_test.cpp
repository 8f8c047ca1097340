// What the program's send(), recv() and read() let see of a control connection, and that they
// change nothing.

#include "tools/dialogue.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "include/ftpclient.h"
#include "tests/support/payload.h"
#include "tests/support/scriptedserver.h"
#include "tests/support/sockets.h"

using namespace qelftp;
using namespace TestSupport;

namespace {

using Lines = std::vector<std::string>;

// What a watch showed, "> " and "< " in front.
class CShown {
public:
    FDialogueLine Function() {
        return [this](EDirection eDirection, const std::string& strLine) {
            m_lines.push_back((eDirection == EDirection::Sent ? "> " : "< ") + strLine);
        };
    }
    const Lines& Get() const { return m_lines; }

private:
    Lines m_lines;
};

// A client's connection and the server's end of it.
struct SConnected {
    CHandle listener = BindLoopback();
    unsigned short usPort = 0;
    CHandle client;
    CHandle server;

    SConnected() {
        StartListening(listener.Get());
        usPort = PortOf(listener.Get());
        client = ConnectLoopback(usPort);
        server = CHandle(::accept(listener.Get(), nullptr, nullptr));
    }

    void Send(const std::string& strBytes) const {
        EXPECT_EQ(::send(client.Get(), strBytes.data(), strBytes.size(), 0),
                  static_cast<ssize_t>(strBytes.size()));
    }

    // What the server says, and the client receives as one piece.
    std::string Say(const std::string& strBytes, int nFlags = 0) const {
        EXPECT_EQ(::write(server.Get(), strBytes.data(), strBytes.size()),
                  static_cast<ssize_t>(strBytes.size()));
        return Receive(strBytes.size(), nFlags);
    }

    std::string Receive(std::size_t nSize, int nFlags = 0) const {
        std::string strGot(nSize, '\0');
        const ssize_t nGot = ::recv(client.Get(), strGot.data(), nSize, nFlags | MSG_WAITALL);
        strGot.resize(nGot < 0 ? 0 : static_cast<std::size_t>(nGot));
        return strGot;
    }
};

TEST(Dialogue, LinesAreShownInTheirOrderWithoutTheirEnds) {
    const SConnected link;
    CShown shown;
    const CDialogueWatch watch(link.usPort, shown.Function());
    link.Say("220 ready\r\n");
    link.Send("USER bob\r\n");
    link.Say("331-a\r\n331 b\n");
    link.Send("CWD a\tb\x1b\xff\r\n");
    EXPECT_EQ(shown.Get(),
              (Lines{"< 220 ready", "> USER bob", "< 331-a", "< 331 b", "> CWD a\tb\x1b\xff"}));
}

TEST(Dialogue, ALineThatComesInPiecesIsShownOnceItIsComplete) {
    const SConnected link;
    CShown shown;
    const CDialogueWatch watch(link.usPort, shown.Function());
    for (const char c : std::string("220 ready\r\n2"))
        link.Say(std::string(1, c));
    for (const char c : std::string("QUIT\r\nX"))
        link.Send(std::string(1, c));
    EXPECT_EQ(shown.Get(), (Lines{"< 220 ready", "> QUIT"}));
}

TEST(Dialogue, APasswordIsNeverShownHoweverItIsCut) {
    const std::string strLine = "PASS s3cret\r\n";
    for (std::size_t nFirst = 1; nFirst < strLine.size(); ++nFirst) {
        for (std::size_t nSecond = nFirst; nSecond < strLine.size(); ++nSecond) {
            const SConnected link;
            CShown shown;
            {
                const CDialogueWatch watch(link.usPort, shown.Function());
                link.Send(strLine.substr(0, nFirst));
                if (nSecond != nFirst) link.Send(strLine.substr(nFirst, nSecond - nFirst));
                link.Send(strLine.substr(nSecond) + "PWD\r\n");
            }
            ASSERT_EQ(shown.Get(), (Lines{"> PASS ***", "> PWD"})) << nFirst << " " << nSecond;
        }
    }
}

TEST(Dialogue, WhatIsMaskedIsThePasswordOfAPassCommandOnly) {
    const SConnected link;
    CShown shown;
    const CDialogueWatch watch(link.usPort, shown.Function());
    link.Send("pass s3cret\r\nPASS \r\nPASS\r\nPASV\r\nDELE PASS x\r\n");
    link.Say("530 PASS s\r\nPASS x\r\n");
    EXPECT_EQ(shown.Get(), (Lines{"> pass ***", "> PASS ***", "> PASS", "> PASV", "> DELE PASS x",
                                  "< 530 PASS s", "< PASS x"}));
}

TEST(Dialogue, APasswordWithoutALineEndIsNotShownAtTheEndEither) {
    const SConnected link;
    CShown shown;
    {
        const CDialogueWatch watch(link.usPort, shown.Function());
        link.Send("PASS s3c");
        link.Send(std::string(2 * CDialogueWatch::kMaxLine, 'x'));
    }
    EXPECT_EQ(shown.Get(), (Lines{"> PASS ***"}));
}

TEST(Dialogue, WhatHasNoLineEndIsShownWhenTheServerCloses) {
    SConnected link;
    CShown shown;
    const CDialogueWatch watch(link.usPort, shown.Function());
    link.Say("421 going");
    EXPECT_EQ(shown.Get(), Lines{});
    link.server.Close();
    EXPECT_EQ(link.Receive(1), "");
    EXPECT_EQ(shown.Get(), (Lines{"< 421 going"}));
}

TEST(Dialogue, WhatHasNoLineEndIsShownWhenTheWatchGoes) {
    const SConnected link;
    CShown shown;
    {
        const CDialogueWatch watch(link.usPort, shown.Function());
        link.Say("22");
        link.Send("NO");
    }
    EXPECT_EQ(shown.Get(), (Lines{"> NO", "< 22"}));
}

TEST(Dialogue, ALineWithoutEndIsShownInParts) {
    const SConnected link;
    CShown shown;
    const CDialogueWatch watch(link.usPort, shown.Function());
    link.Say(std::string(CDialogueWatch::kMaxLine, 'a') + "b\r\n");
    EXPECT_EQ(shown.Get(), (Lines{"< " + std::string(CDialogueWatch::kMaxLine, 'a'), "< b"}));
}

TEST(Dialogue, OtherPortsAreNotShownButGivenAsData) {
    const SConnected control;
    const SConnected data;
    CShown shown;
    std::string strSent;
    std::string strReceived;
    const CDialogueWatch watch(
        control.usPort, shown.Function(),
        [&](EDirection eDirection, const char* pBytes, std::size_t nSize) {
            (eDirection == EDirection::Sent ? strSent : strReceived).append(pBytes, nSize);
        });
    const std::string strBytes = Payload(5000);
    data.Send(strBytes);
    EXPECT_TRUE(SamePayload(strBytes, data.Say(strBytes)));
    data.Say("220 not a reply\r\n");
    EXPECT_EQ(shown.Get(), Lines{});
    EXPECT_TRUE(SamePayload(strBytes, strSent));
    EXPECT_TRUE(SamePayload(strBytes + "220 not a reply\r\n", strReceived));
}

TEST(Dialogue, WhatIsReadLikeAFileIsShown) {
    const SConnected link;
    CShown shown;
    const CDialogueWatch watch(link.usPort, shown.Function());
    ASSERT_EQ(::write(link.server.Get(), "220 ready\r\n", 11), 11);
    std::string strGot(11, '\0');
    EXPECT_EQ(::read(link.client.Get(), strGot.data(), strGot.size()), 11);
    EXPECT_EQ(strGot, "220 ready\r\n");
    EXPECT_EQ(shown.Get(), (Lines{"< 220 ready"}));
}

TEST(Dialogue, AFileIsNoData) {
    const CHandle file(::open("/proc/self/stat", O_RDONLY | O_CLOEXEC));
    int nShown = 0;
    const CDialogueWatch watch(
        1, [&](EDirection, const std::string&) { ++nShown; },
        [&](EDirection, const char*, std::size_t) { ++nShown; });
    char c = 0;
    EXPECT_EQ(::read(file.Get(), &c, 1), 1);
    EXPECT_EQ(nShown, 0);
}

TEST(Dialogue, OtherPortsNeedNoFunction) {
    const SConnected control;
    const SConnected data;
    CShown shown;
    const CDialogueWatch watch(control.usPort, shown.Function());
    EXPECT_EQ(data.Say("x\r\n"), "x\r\n");
    EXPECT_EQ(shown.Get(), Lines{});
}

TEST(Dialogue, OtherThreadsAreNotShown) {
    const SConnected link;
    CShown shown;
    const CDialogueWatch watch(link.usPort, shown.Function());
    std::thread([&link] {
        link.Send("NOOP\r\n");
        link.Say("200 ok\r\n");
    }).join();
    EXPECT_EQ(shown.Get(), Lines{});
}

TEST(Dialogue, NothingIsShownBeforeAndAfterTheWatch) {
    const SConnected link;
    CShown shown;
    link.Say("1\r\n");
    {
        const CDialogueWatch watch(link.usPort, shown.Function());
        link.Say("2\r\n");
    }
    link.Say("3\r\n");
    link.Send("4\r\n");
    EXPECT_EQ(shown.Get(), (Lines{"< 2"}));
}

TEST(Dialogue, ALookAtWhatWaitsIsNotShown) {
    const SConnected link;
    CShown shown;
    const CDialogueWatch watch(link.usPort, shown.Function());
    EXPECT_EQ(link.Say("220 ready\r\n", MSG_PEEK), "220 ready\r\n");
    EXPECT_EQ(shown.Get(), Lines{});
    link.Receive(11);
    EXPECT_EQ(shown.Get(), (Lines{"< 220 ready"}));
}

TEST(Dialogue, FailuresReachTheCaller) {
    const SConnected link;
    CShown shown;
    const CDialogueWatch watch(link.usPort, shown.Function());
    char c = 0;
    errno = 0;
    EXPECT_EQ(::recv(link.client.Get(), &c, 1, MSG_DONTWAIT), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(::send(-1, &c, 1, 0), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(shown.Get(), Lines{});
}

TEST(Dialogue, TheCallersErrnoStays) {
    const SConnected link;
    const CDialogueWatch watch(link.usPort, [](EDirection, const std::string&) { errno = ENOMEM; });
    errno = ENOENT;
    link.Send("NOOP\r\n");
    EXPECT_EQ(errno, ENOENT);
}

TEST(Dialogue, ASessionOfTheLibraryIsSeenWhole) {
    ScriptedServer server{Say("220-a\r\n220 b\r\n"),
                          Expect("USER bob"),
                          Say("331 password\r\n"),
                          Expect("PASS s3cret"),
                          Say("230 in\r\n"),
                          Expect("PWD"),
                          Say("257 \"/\"\r\n"),
                          Expect("CWD /"),
                          Say("250 there\r\n"),
                          Expect("PASV"),
                          SayPassive("227 (%a,%p)\r\n"),
                          Expect("LIST"),
                          Say("150 here\r\n"),
                          SendData("-rw-r--r-- 1 u g 5 Mar 3 2019 a\r\n"),
                          CloseData(),
                          Say("226 done\r\n"),
                          Expect("OPTS UTF8 ON"),
                          Say("500 what\r\n"),
                          Expect("QUIT"),
                          Say("221 bye\r\n"),
                          ExpectClose()};
    CShown shown;
    {
        const CDialogueWatch watch(server.Port(), shown.Function());
        RVN_FTP_CLIENT::CFtpClient session("127.0.0.1", server.Port(), "bob",
                                           TQ_UTIL::CcipheString("s3cret"));
        EXPECT_EQ(session.Login(), 0U);
        std::vector<RVN_FTP_CLIENT::TkFileInfo*> entries;
        EXPECT_EQ(session.ListFile("/", entries), 0U);
        for (const auto* pEntry : entries)
            delete pEntry;
        EXPECT_EQ(session.Close(), 0U);
    }
    server.ExpectFinished();
    Lines lines = shown.Get();
    for (std::string& strLine : lines) {
        if (strLine.rfind("< 227 (127,0,0,1,", 0) == 0) strLine = "< 227";
    }
    EXPECT_EQ(lines, (Lines{"< 220-a", "< 220 b", "> USER bob", "< 331 password", "> PASS ***",
                            "< 230 in", "> PWD", "< 257 \"/\"", "> CWD /", "< 250 there", "> PASV",
                            "< 227", "> LIST", "< 150 here", "< 226 done", "> OPTS UTF8 ON",
                            "< 500 what", "> QUIT", "< 221 bye"}));
}

TEST(Dialogue, AShownLineHasItsDirectionAndCannotDriveTheTerminal) {
    testing::internal::CaptureStderr();
    ShowDialogueLine(EDirection::Sent, "CWD a\\b");
    ShowDialogueLine(EDirection::Received, "220 \x1b[2J");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "> CWD a\\\\b\n< 220 \\x1b[2J\n");
}

}  // namespace
