// Servers that misbehave: each gets its result in bounded time, and leaves nothing open.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <fcntl.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tests/session/fixture.h"
#include "tests/support/payload.h"
#include "tests/support/sockets.h"
#include "tests/support/tempdir.h"

namespace SessionTest {
namespace {

using RVN_FTP_CLIENT::TkFileInfo;

class BadServer : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(BadServer);
class BadServerAlone : public Dialogue {};

class ManyDescriptors : public testing::Test {
protected:
    void SetUp() override { RecordingLog::Clear(); }
};

struct SOutcome {
    unsigned int uLogin = 0;
    unsigned int uClose = 0;
    Millis elapsed{0};
};

// Login and Close with short times. The script need not come to its end: the client may have left
// before the server has said all.
SOutcome Outcome(const std::vector<SStep>& script) {
    ScriptedServer server(script);
    CClient client(server);
    client.setParam(1, 1, 1);
    const Stopwatch watch;
    SOutcome outcome;
    outcome.uLogin = client.Login();
    outcome.uClose = client.Close();
    outcome.elapsed = watch.Elapsed();
    server.Finish();
    return outcome;
}

TEST_F(BadServerAlone, Dead) {
    const DeadPort port;
    CClient client(port.Port());
    client.setParam(1, 1, 1);
    const Stopwatch watch;
    EXPECT_EQ(client.Login(), 0x3bb00001U);
    EXPECT_EQ(client.Close(), 0x3bb0001bU);
    EXPECT_BETWEEN(watch.Elapsed(), 1900, 6000);
}

TEST_F(BadServerAlone, Unreachable) {
    const SilentPort port;
    CClient client(port.Port());
    client.setParam(1, 1, 1);
    const Stopwatch watch;
    EXPECT_EQ(client.Login(), 0x3bb00001U);
    EXPECT_EQ(client.Close(), 0x3bb0001bU);
    EXPECT_BETWEEN(watch.Elapsed(), 1900, 6000);
}

TEST_F(BadServerAlone, Silent) {
    const SOutcome outcome = Outcome({Accept(), Expect("USER bob"), Expect("QUIT"), ExpectClose()});
    EXPECT_EQ(outcome.uLogin, 0x3bb00003U);
    EXPECT_EQ(outcome.uClose, 0x3bb0001bU);
    EXPECT_BETWEEN(outcome.elapsed, 0, 15000);  // four readings of 2 s
}

TEST_P(BadServer, SecureShell) {
    const SOutcome outcome =
        Outcome({Say("SSH-2.0-OpenSSH_9.2p1 Debian-2+deb12u3\r\n"), Expect("USER bob"),
                 Say("Invalid SSH identification string.\r\n"), Close()});
    EXPECT_EQ(outcome.uLogin, 0x3bb00003U);
    EXPECT_EQ(outcome.uClose, 0x3bb0001bU);
    EXPECT_BETWEEN(outcome.elapsed, 0, 15000);
}

TEST_P(BadServer, Web) {
    // It waits for the client to speak first, and USER is no request.
    const SOutcome outcome = Outcome(
        {Accept(), Expect("USER bob"),
         Say("HTTP/1.1 400 Bad Request\r\nContent-Type: text/html\r\nConnection: close\r\n\r\n"
             "<html><head><title>400 Bad Request</title></head>\r\n</html>\r\n"),
         Close()});
    EXPECT_EQ(outcome.uLogin, 0x3bb00003U);
    EXPECT_EQ(outcome.uClose, 0x3bb0001bU);
    EXPECT_BETWEEN(outcome.elapsed, 0, 15000);
}

TEST_P(BadServer, WebWithAWordOfThreeLetters) {
    // "Bad " looks like a reply's last line, but "Bad" is no code.
    const SOutcome outcome =
        Outcome({Say("HTTP/1.0 400\r\n\r\nBad Request\r\n"), Expect("QUIT"), Close()});
    EXPECT_EQ(outcome.uLogin, 0x4007001aU);
    EXPECT_EQ(outcome.uClose, 0x3bb0001bU);
    EXPECT_BETWEEN(outcome.elapsed, 0, 4000);
}

// Not byte by byte: each piece is logged with all that came before it, and these are long.
TEST_F(BadServerAlone, GreetingOfOneMebibyteWithoutLineEnd) {
    const SOutcome outcome =
        Outcome({Limit(Millis(3000)), Say("220 " + std::string(1U << 20, 'x')), Hold()});
    EXPECT_EQ(outcome.uLogin, 0x3bb00003U);
    EXPECT_EQ(outcome.uClose, 0x3bb0001bU);
    EXPECT_BETWEEN(outcome.elapsed, 0, 15000);
    for (const SLogEntry& entry : RecordingLog::Errors())
        EXPECT_LE(entry.strText.size(), 1000U) << "a flood must not fill the log as well";
}

TEST_F(BadServerAlone, GreetingThatNeverEnds) {
    std::string strLines;
    while (strLines.size() < (4U << 20))
        strLines += "220-and another line of welcome, for we are glad that you came\r\n";
    const SOutcome outcome = Outcome({Limit(Millis(3000)), Say(strLines), Hold()});
    EXPECT_EQ(outcome.uLogin, 0x3bb00003U);
    EXPECT_EQ(outcome.uClose, 0x3bb0001bU);
    EXPECT_BETWEEN(outcome.elapsed, 0, 15000);
}

TEST_P(BadServer, BinaryGreeting) {
    const SOutcome outcome =
        Outcome({Say(std::string("\0\0\0\x1f\xff\xff\r\n\0\n", 10)), Expect("USER bob"), Close()});
    EXPECT_EQ(outcome.uLogin, 0x3bb00003U);
    EXPECT_EQ(outcome.uClose, 0x3bb0001bU);
    EXPECT_BETWEEN(outcome.elapsed, 0, 15000);
}

TEST_P(BadServer, HostilePassiveReplies) {
    const TempDir local;
    const struct {
        const char* pszReply;
        unsigned int uResult;
    } replies[] = {
        // Ports on which nobody listens: 0, 1 and 65281.
        {"227 (127,0,0,1,0,0)", 0x3bb00001},
        {"227 (127,0,0,1,256,1)", 0x3bb00001},
        {"227 (127,0,0,1,-1,1)", 0x3bb00001},
        {"227 (127,0,0,1,99999999999999999999,1)", 0x3bb00001},
        {"227 (127,0,0,1,0,99999999999999999999)", 0x3bb00001},
        {"227 (127,0,0,1,0,-5)", 0x3bb00001},
        {"227 (127,0,0,1,x,y)", 0x3bb00001},
        {"227 (127,0,0,1,,)", 0x3bb00001},
        {"227 (127,0,0,1,1)", 0x3bb00001},
        {"227 (127,0,0,1,)", 0x3bb00001},
        {"227 (127,0,0,1)", 0x3bb00001},
        {"227 (127,0,0,1,0,1,1,1,1,1,1)", 0x3bb00001},
        {"227 127,0,0,1)", 0x3bb00001},
        // No address that is the session's own.
        {"227 (127,0,0,1,195,80", 0x40070019},
        {"227 )127,0,0,1,195,80", 0x40070019},
        {"227 (127,0,0,2,195,80)", 0x40070019},
        {"227 (127.0.0.1,195,80)", 0x40070019},
        {"227 ", 0x40070019},
        {"227 ()", 0x40070019},
        {"200 as you wish", 0x40070019},
        {"150 (", 0x40070019},
    };
    for (const auto& reply : replies) {
        SCOPED_TRACE(reply.pszReply);
        ScriptedServer server{LogIn(), TypeImage(), Cwd("/srv/data"), On("PASV", reply.pszReply),
                              Quit()};
        CClient client(server);
        ASSERT_EQ(client.Login(), 0U);
        const Stopwatch watch;
        EXPECT_EQ(client.GetOneFile("f", local.File("f"), false), reply.uResult);
        EXPECT_BETWEEN(watch.Elapsed(), 0, 5000);
        client.CloseInOrder();
        server.ExpectFinished();
    }
}

TEST_P(BadServer, PassiveReplyOfManyLines) {
    const TempDir local;
    ScriptedServer server{LogIn(),
                          TypeImage(),
                          Cwd("/srv/data"),
                          Expect("PASV"),
                          SayPassive("227-(127,0,0,2,1,1)\r\n227-\r\n227 Entering (%a,%p)\r\n"),
                          On("RETR f", "150 here"),
                          SendData("tea"),
                          CloseData(),
                          Say("226 sent\r\n"),
                          Quit()};
    CClient client(server);
    ASSERT_EQ(client.Login(), 0U);
    EXPECT_EQ(client.GetOneFile("f", local.File("f"), false), 0U);
    EXPECT_EQ(ReadFile(local.File("f")), "tea");
    client.CloseInOrder();
    server.ExpectFinished();
}

std::vector<std::string> Listed(const std::string& strListing) {
    ScriptedServer server{LogIn(), Cwd("/srv/data/a"), ServeList(strListing), Quit()};
    CClient client(server);
    EXPECT_EQ(client.Login(), 0U);
    std::vector<TkFileInfo*> files;
    const Stopwatch watch;
    EXPECT_EQ(client.ListFile("a", files), 0U);
    EXPECT_BETWEEN(watch.Elapsed(), 0, 5000);
    client.CloseInOrder();
    server.ExpectFinished();
    std::vector<std::string> names;
    for (TkFileInfo* pFile : files) {
        names.push_back(pFile->strFileName);
        delete pFile;
    }
    return names;
}

TEST_P(BadServer, ListingLineOfOneMebibyte) {
    std::string strName(1U << 20, ' ');
    for (std::size_t i = 0; i < strName.size(); ++i)
        strName[i] = static_cast<char>('a' + i % 26);
    const auto names =
        Listed("-rw-r--r-- 1 u g 7 Mar 3 2019 " + strName + "\r\n12-31-19 11:59PM 1 b\r\n");
    ASSERT_EQ(names.size(), 2U);
    EXPECT_TRUE(SamePayload(strName, names[0]));
    EXPECT_EQ(names[1], "b");
}

TEST_P(BadServer, ListingOfOneMebibyteWithoutLineFeed) {
    EXPECT_TRUE(Listed(std::string(1U << 20, 'x')).empty());
}

TEST_P(BadServer, ListingOfZeroBytes) {
    EXPECT_TRUE(Listed(std::string(5000, '\0')).empty());
    using namespace std::string_literals;
    EXPECT_EQ(Listed("12-31-19 11:59PM 1 a\r\n12-31-19\0 11:59PM 1 b\r\n"s),
              (std::vector<std::string>{"a"}));
}

TEST_P(BadServer, HangsUpAtAnyStep) {
    const TempDir local;
    WriteFile(local.File("f"), "tea");
    const std::vector<SStep> steps{Say("220 ready\r\n"),
                                   Expect("USER bob"),
                                   Say("331 password, please\r\n"),
                                   Expect("PASS tea"),
                                   Say("230 in\r\n"),
                                   Expect("PWD"),
                                   Say("257 \"/srv/data\"\r\n"),
                                   Expect("TYPE I"),
                                   Say("200 image\r\n"),
                                   Expect("CWD /srv/data"),
                                   Say("250 there\r\n"),
                                   Expect("PASV"),
                                   SayPassive(),
                                   Expect("STOR f"),
                                   Say("150 go ahead\r\n"),
                                   ReceiveData()};
    for (std::size_t nPlayed = 0; nPlayed <= steps.size(); ++nPlayed) {
        for (const SStep& end : {Close(), Reset()}) {
            SCOPED_TRACE(end.strName + " after " + std::to_string(nPlayed) + " steps");
            std::vector<SStep> script(steps.begin(),
                                      steps.begin() + static_cast<std::ptrdiff_t>(nPlayed));
            if (nPlayed == 0) script.push_back(Accept());
            script.push_back(end);
            ScriptedServer server(script);
            CClient client(server);
            client.setParam(1, 1, 1);
            const Stopwatch watch;
            const unsigned int uLogin = client.Login();
            // A reply that is there before the connection ends still counts, so that some logins
            // and even the store itself succeed.
            if (nPlayed < 5) {
                EXPECT_NE(uLogin, 0U);
            }
            if (nPlayed >= 7) {
                EXPECT_EQ(uLogin, 0U);
            }
            const unsigned int uStore = client.PutOneFileToFile(local.File("f"), "f");
            if (nPlayed < steps.size() - 1) {
                EXPECT_NE(uStore, 0U);
            }
            EXPECT_EQ(client.Close(), 0x3bb0001bU);
            EXPECT_BETWEEN(watch.Elapsed(), 0, 12000);
            server.Finish();
        }
    }
}

TEST_F(ManyDescriptors, Over1024DoNotMatter) {
    constexpr int kOpen = 1200;
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlim_t nWanted = 2 * kOpen;
    if (limit.rlim_cur < nWanted) {
        limit.rlim_cur = std::min(limit.rlim_max, nWanted);
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
        ASSERT_GE(limit.rlim_cur, nWanted) << "this machine allows too few descriptors";
    }
    std::vector<CHandle> open;
    for (int i = 0; i < kOpen; ++i) {
        open.emplace_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        ASSERT_TRUE(open.back().IsOpen());
    }
    const auto before = OpenDescriptors();
    {
        const TempDir local;
        WriteFile(local.File("f"), Payload(5000));
        ScriptedServer server{
            LogIn(),     Cwd("/srv/data/a"), ServeList("12-31-19 11:59PM 1 x\r\n"),
            TypeImage(), Cwd("/srv/data"),   Take("f"),
            TypeImage(), Cwd("/srv/data"),   Serve("g", Payload(7000)),
            Quit()};
        CClient client(server);
        ASSERT_EQ(client.Login(), 0U);
        EXPECT_GT(DescriptorConnectedTo(server.Port()), 1024);
        EXPECT_EQ(client.checkOneFileExist("a/x"), 0U);
        EXPECT_EQ(client.PutOneFileToFile(local.File("f"), "f"), 0U);
        EXPECT_EQ(client.GetOneFile("g", local.File("g"), false), 0U);
        EXPECT_TRUE(SamePayload(Payload(7000), ReadFile(local.File("g"))));
        client.CloseInOrder();
        server.ExpectFinished();
        EXPECT_TRUE(SamePayload(Payload(5000), server.Uploads().at(0)));
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
}  // namespace SessionTest
