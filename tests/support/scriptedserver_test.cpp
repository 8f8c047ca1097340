// That the scripted server notices what it is there to notice.

#include "tests/support/scriptedserver.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/payload.h"

namespace {

using namespace TestSupport;

using Texts = std::vector<std::string>;

// A client as simple as can be.
class CRawClient {
public:
    explicit CRawClient(unsigned short usPort) : m_socket(ConnectLoopback(usPort)) {}

    bool IsOpen() const { return m_socket.IsOpen(); }
    void Close() { m_socket.Close(); }
    void Reset() { m_socket.Reset(); }

    void Send(const std::string& strBytes) {
        std::size_t nDone = 0;
        while (nDone < strBytes.size() && WaitWritable(m_socket.Get(), Millis(5000))) {
            const ssize_t nSent = ::send(m_socket.Get(), strBytes.data() + nDone,
                                         strBytes.size() - nDone, MSG_NOSIGNAL);
            if (nSent < 1) return;
            nDone += static_cast<std::size_t>(nSent);
        }
    }

    // One receive; "(end)", "(reset)" or "(silence)" when there is nothing to receive.
    std::string Receive(Millis limit = Millis(5000)) {
        if (!WaitReadable(m_socket.Get(), limit)) return "(silence)";
        char bytes[4096];
        const ssize_t nGot = ::recv(m_socket.Get(), bytes, sizeof bytes, 0);
        if (nGot == 0) return "(end)";
        return nGot > 0 ? std::string(bytes, static_cast<std::size_t>(nGot)) : "(reset)";
    }

    std::string ReceiveAll() {
        std::string strAll;
        for (std::string strGot = Receive(); strGot != "(end)"; strGot = Receive()) {
            if (strGot == "(reset)" || strGot == "(silence)") return strAll + strGot;
            strAll += strGot;
        }
        return strAll;
    }

private:
    CHandle m_socket;
};

bool Holds(const std::string& strText, const std::string& strPart) {
    return strText.find(strPart) != std::string::npos;
}

#define EXPECT_HOLDS(text, part) EXPECT_TRUE(Holds(text, part)) << "the text is: " << (text)

unsigned short AnnouncedPort(const std::string& strReply) {
    unsigned int uHigh = 0;
    unsigned int uLow = 0;
    const std::size_t nAt = strReply.find("127,0,0,1,");
    EXPECT_NE(nAt, std::string::npos) << strReply;
    if (nAt == std::string::npos) return 0;
    EXPECT_EQ(std::sscanf(strReply.c_str() + nAt, "127,0,0,1,%u,%u)", &uHigh, &uLow), 2)
        << strReply;
    return static_cast<unsigned short>(uHigh * 256 + uLow);
}

TEST(ScriptedServer, PlaysADialogueToItsEnd) {
    ScriptedServer server{Say("220 ready\r\n"), Expect("USER bob"), Say("331 password\r\n")};
    CRawClient client(server.Port());
    EXPECT_EQ(client.Receive(), "220 ready\r\n");
    client.Send("USER bob\r\n");
    EXPECT_EQ(client.Receive(), "331 password\r\n");
    EXPECT_EQ(server.Finish(), "");
    EXPECT_EQ(server.Commands(), Texts{"USER bob\r\n"});
    EXPECT_EQ(server.Connections(), 1);
}

TEST(ScriptedServer, TellsOfADifferentCommand) {
    ScriptedServer server{Expect("USER bob"), Say("331 password\r\n")};
    CRawClient client(server.Port());
    client.Send("USER eve\r\n");
    EXPECT_EQ(client.Receive(), "(end)");
    const std::string strOutcome = server.Finish();
    EXPECT_HOLDS(strOutcome, "\"USER eve\\r\\n\" instead of \"USER bob\\r\\n\"");
    EXPECT_EQ(server.Commands(), Texts{"USER eve\r\n"});
}

TEST(ScriptedServer, TellsOfAWrongLineEnd) {
    ScriptedServer server{Expect("NOOP")};
    CRawClient client(server.Port());
    client.Send("NOOP\n");
    EXPECT_HOLDS(server.Finish(), "\"NOOP\\n\" instead of \"NOOP\\r\\n\"");
}

TEST(ScriptedServer, TellsOfACommandAfterTheLastStep) {
    ScriptedServer server{Expect("NOOP"), Say("200 ok\r\n")};
    CRawClient client(server.Port());
    client.Send("NOOP\r\n");
    EXPECT_EQ(client.Receive(), "200 ok\r\n");
    client.Send("QUIT\r\n");
    EXPECT_HOLDS(server.Finish(), "after the last step the client sent: QUIT\\r\\n");
    EXPECT_EQ(server.Commands(), (Texts{"NOOP\r\n", "QUIT\r\n"}));
}

TEST(ScriptedServer, TellsOfTwoCommandsSentAsOne) {
    ScriptedServer server{Expect("NOOP")};
    CRawClient client(server.Port());
    client.Send("NOOP\r\nQUIT\r\n");
    EXPECT_HOLDS(server.Finish(), "after the last step the client sent: QUIT\\r\\n");
}

TEST(ScriptedServer, TellsOfACommandThatNeverCame) {
    ScriptedServer server{Say("220 ready\r\n"), Expect("USER bob")};
    CRawClient client(server.Port());
    EXPECT_EQ(client.Receive(), "220 ready\r\n");
    const std::string strOutcome = server.Finish();
    EXPECT_HOLDS(strOutcome, "at Expect(USER bob): expected a command in time, nothing came");
    EXPECT_HOLDS(strOutcome, "server: 220 ready\\r\\n");
}

TEST(ScriptedServer, TellsOfAClientThatLeft) {
    ScriptedServer server{Say("220 ready\r\n"), Expect("USER bob")};
    CRawClient client(server.Port());
    EXPECT_EQ(client.Receive(), "220 ready\r\n");
    client.Send("USER");
    client.Close();
    EXPECT_HOLDS(server.Finish(), "the client ended the connection, input so far: \"USER\"");
}

TEST(ScriptedServer, TellsOfAClientThatNeverConnected) {
    ScriptedServer server{Say("220 ready\r\n")};
    EXPECT_HOLDS(server.Finish(), "the client made no control connection in time");
}

TEST(ScriptedServer, TellsOfAConnectionTooMany) {
    ScriptedServer server{Say("220 ready\r\n")};
    CRawClient client(server.Port());
    EXPECT_EQ(client.Receive(), "220 ready\r\n");
    CRawClient second(server.Port());
    EXPECT_HOLDS(server.Finish(), "a connection more than the script has");
}

TEST(ScriptedServer, GivesUpWaitingAtItsLimit) {
    const Clock::time_point start = Clock::now();
    ScriptedServer server{Limit(Millis(100)), Expect("NOOP")};
    CRawClient client(server.Port());
    EXPECT_EQ(client.Receive(), "(end)");  // the script's failure ends the connection
    EXPECT_GE(MsSince(start), 100);
    EXPECT_HOLDS(server.Finish(), "expected a command in time");
}

TEST(ScriptedServer, ReportsAFailureThroughExpectFinished) {
    EXPECT_NONFATAL_FAILURE(
        {
            ScriptedServer server({Limit(Millis(10)), Expect("NOOP")});
            server.ExpectFinished();
        },
        "the client made no control connection");
}

TEST(ScriptedServer, ReportsATestThatNeverAsksForTheOutcome) {
    EXPECT_NONFATAL_FAILURE({ ScriptedServer server(std::vector<SStep>{}); }, "nobody asked");
}

TEST(ScriptedServer, SendsPiecesWithPauses) {
    const Clock::time_point start = Clock::now();
    ScriptedServer server{SayPieces({"22", "0 re", "ady\r\n"}, Millis(500))};
    CRawClient client(server.Port());
    EXPECT_EQ(client.Receive(), "22");
    EXPECT_EQ(client.Receive(), "0 re");
    EXPECT_EQ(client.Receive(), "ady\r\n");
    EXPECT_GE(MsSince(start), 1000);
    EXPECT_EQ(server.Finish(), "");
}

TEST(ScriptedServer, DropsWhatTheClientDoesNotTake) {
    ScriptedServer server{SayAsFarAsTaken(std::string(20000000, 'x')), ExpectSilence()};
    CRawClient client(server.Port());
    EXPECT_EQ(client.Receive().substr(0, 1), "x");
    EXPECT_EQ(server.Finish(), "");
}

TEST(ScriptedServer, ReadsACommandWithoutLineEnd) {
    ScriptedServer server{ExpectBytes("RETR abc"), ExpectClose()};
    CRawClient client(server.Port());
    client.Send("RETR abc");
    client.Close();
    EXPECT_EQ(server.Finish(), "");
}

TEST(ScriptedServer, TellsOfSilenceThatIsBroken) {
    ScriptedServer server{ExpectSilence(Millis(5000))};
    CRawClient client(server.Port());
    client.Send("X");
    EXPECT_HOLDS(server.Finish(), "expected silence, the client sent: X");
}

TEST(ScriptedServer, TellsOfACloseThatDoesNotCome) {
    ScriptedServer server{ExpectClose()};
    CRawClient client(server.Port());
    client.Send("X");
    EXPECT_HOLDS(server.Finish(), "expected the client to close, it sent: X");
}

TEST(ScriptedServer, ClosesAndResetsAndTakesTheNextConnection) {
    ScriptedServer server{Say("1"), Close(), Say("2"), Expect("GO"), Reset(), Say("3")};
    CRawClient first(server.Port());
    EXPECT_EQ(first.Receive(), "1");
    EXPECT_EQ(first.Receive(), "(end)");
    CRawClient second(server.Port());
    EXPECT_EQ(second.Receive(), "2");
    second.Send("GO\r\n");
    EXPECT_EQ(second.Receive(), "(reset)");
    CRawClient third(server.Port());
    EXPECT_EQ(third.Receive(), "3");
    EXPECT_EQ(server.Finish(), "");
    EXPECT_EQ(server.Connections(), 3);
}

TEST(ScriptedServer, RefusesForATimeAndThenListens) {
    ScriptedServer server{RefuseFor(Millis(1000)), Say("220 late\r\n")};
    CRawClient early(server.Port());
    EXPECT_FALSE(early.IsOpen());
    std::string strGreeting;
    for (int i = 0; i < 100 && strGreeting.empty(); ++i) {
        CRawClient later(server.Port());
        if (later.IsOpen()) strGreeting = later.Receive();
        if (strGreeting.empty()) WaitReadable(-1, Millis(50));
    }
    EXPECT_EQ(strGreeting, "220 late\r\n");
    EXPECT_EQ(server.Finish(), "");
}

TEST(ScriptedServer, HoldsUntilReleased) {
    ScriptedServer server{Hold(), Say("1"), Hold(), Say("2")};
    CRawClient client(server.Port());
    server.WaitUntilHeld();
    EXPECT_EQ(client.Receive(Millis(100)), "(silence)");
    server.Release();
    EXPECT_EQ(client.Receive(), "1");
    server.WaitUntilHeld();
    server.Release();
    EXPECT_EQ(client.Receive(), "2");
    EXPECT_EQ(server.Finish(), "");
}

TEST(ScriptedServer, RunsCodeBetweenSteps) {
    Texts seen;
    ScriptedServer server{Sequence({Expect("A"), Do([&] { seen.emplace_back("after A"); })}),
                          Say("1")};
    CRawClient client(server.Port());
    client.Send("A\r\n");
    EXPECT_EQ(client.Receive(), "1");
    EXPECT_EQ(server.Finish(), "");
    EXPECT_EQ(seen, Texts{"after A"});
}

TEST(ScriptedServer, ServesPassiveData) {
    const std::string strBytes = Payload(300000);
    ScriptedServer server{SayPassive(), SendData(strBytes, 7000), CloseData()};
    CRawClient client(server.Port());
    const std::string strReply = client.Receive();
    EXPECT_EQ(strReply.rfind("227 Entering Passive Mode (127,0,0,1,", 0), 0U) << strReply;
    CRawClient data(AnnouncedPort(strReply));
    EXPECT_TRUE(SamePayload(strBytes, data.ReceiveAll()));
    EXPECT_EQ(server.Finish(), "");
}

TEST(ScriptedServer, ServesOneDataConnectionAfterAnother) {
    ScriptedServer server{SayPassive("(%a,%p)\n"), SendData("one"),         CloseData(),
                          Expect("NEXT"),          SayPassive("(%a,%p)\n"), ReceiveData()};
    CRawClient client(server.Port());
    CRawClient first(AnnouncedPort(client.Receive()));
    EXPECT_EQ(first.ReceiveAll(), "one");
    client.Send("NEXT\r\n");
    CRawClient second(AnnouncedPort(client.Receive()));
    second.Send("two");
    second.Close();
    EXPECT_EQ(server.Finish(), "");
    EXPECT_EQ(server.Uploads(), Texts{"two"});
}

TEST(ScriptedServer, ReceivesUploads) {
    const std::string strBytes = Payload(200000, 7);
    ScriptedServer server{SayPassive("(%a,%p)\n"), ReceiveData(1000), ReceiveData()};
    CRawClient client(server.Port());
    CRawClient data(AnnouncedPort(client.Receive()));
    data.Send(strBytes);
    data.Close();
    EXPECT_EQ(server.Finish(), "");
    ASSERT_EQ(server.Uploads().size(), 1U);
    EXPECT_TRUE(SamePayload(strBytes, server.Uploads()[0]));
}

TEST(ScriptedServer, TellsOfAnUploadThatBreaksOff) {
    ScriptedServer server{SayPassive("(%a,%p)\n"), ReceiveData(10)};
    CRawClient client(server.Port());
    CRawClient data(AnnouncedPort(client.Receive()));
    data.Send("123");
    data.Close();
    EXPECT_HOLDS(server.Finish(), "the client broke the data connection off");
}

TEST(ScriptedServer, EndsDataConnectionsInOrderOrWithReset) {
    ScriptedServer server{SayPassive("(%a,%p)\n"), CloseData(),  SayPassive("(%a,%p)\n"),
                          SendData("x"),           Expect("GO"), ResetData()};
    CRawClient client(server.Port());
    CRawClient first(AnnouncedPort(client.Receive()));
    EXPECT_EQ(first.Receive(), "(end)");
    CRawClient second(AnnouncedPort(client.Receive()));
    EXPECT_EQ(second.Receive(), "x");
    client.Send("GO\r\n");
    EXPECT_EQ(second.Receive(), "(reset)");
    EXPECT_EQ(server.Finish(), "");
}

TEST(ScriptedServer, AnnouncesWhatItIsTold) {
    ScriptedServer server{SayPassive("227 (10,9,8,7,%p)\r\n"), CloseDataPort()};
    CRawClient client(server.Port());
    EXPECT_EQ(client.Receive().rfind("227 (10,9,8,7,", 0), 0U);
    EXPECT_EQ(server.Finish(), "");
}

TEST(ScriptedServer, AnnouncesADeadDataPort) {
    ScriptedServer server{SayPassiveDead()};
    CRawClient client(server.Port());
    CRawClient data(AnnouncedPort(client.Receive()));
    EXPECT_FALSE(data.IsOpen());
    EXPECT_EQ(server.Finish(), "");
}

TEST(ScriptedServer, AnnouncesASilentDataPort) {
    ScriptedServer server{SayPassiveSilent()};
    CRawClient client(server.Port());
    const CHandle data = ConnectLoopback(AnnouncedPort(client.Receive()), Millis(200));
    EXPECT_FALSE(data.IsOpen());
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(server.Finish(), "");
}

TEST(ScriptedServer, LetsTheClientLeaveADataConnectionEarly) {
    ScriptedServer server{SayPassive("(%a,%p)\n"), SendDataAsFarAsTaken(std::string(20000000, 'x')),
                          ExpectDataClosed(), Say("done")};
    CRawClient client(server.Port());
    CRawClient data(AnnouncedPort(client.Receive()));
    EXPECT_EQ(data.Receive().substr(0, 1), "x");
    data.Reset();
    EXPECT_EQ(client.Receive(), "done");
    EXPECT_EQ(server.Finish(), "");
}

TEST(ScriptedServer, ConnectsToTheClientsPort) {
    CHandle listener = BindLoopback();
    StartListening(listener.Get());
    const unsigned short usPort = PortOf(listener.Get());
    ScriptedServer server{ExpectPort(), ConnectData(), SendData("active"), CloseData()};
    CRawClient client(server.Port());
    client.Send("PORT 127,0,0,1," + std::to_string(usPort / 256) + "," +
                std::to_string(usPort % 256) + "\r\n");
    ASSERT_TRUE(WaitReadable(listener.Get(), Millis(5000)));
    const CHandle data(::accept(listener.Get(), nullptr, nullptr));
    char bytes[7] = "";
    EXPECT_EQ(::recv(data.Get(), bytes, 6, MSG_WAITALL), 6);
    EXPECT_STREQ(bytes, "active");
    EXPECT_EQ(server.Finish(), "");
}

TEST(ScriptedServer, TellsOfAPortCommandForAnotherHost) {
    ScriptedServer server{ExpectPort()};
    CRawClient client(server.Port());
    client.Send("PORT 10,0,0,1,1,1\r\n");
    EXPECT_HOLDS(server.Finish(), "expected PORT with 127.0.0.1");
}

}  // namespace
