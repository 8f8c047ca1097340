// Servers that say and do what no command asked for: what the library makes of it, and how long it
// takes. Each file goes into a directory of its own whose target was there before.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <filesystem>
#include <string>
#include <vector>

#include "include/ftpclient.h"
#include "include/ftpresult.h"
#include "tests/hostile/hostileserver.h"
#include "tests/support/onebyte.h"
#include "tests/support/payload.h"
#include "tests/support/recordinglog.h"
#include "tests/support/scriptedserver.h"
#include "tests/support/tempdir.h"

using namespace HostileTest;
using namespace RVN_FTP_CLIENT;
using namespace TestSupport;
namespace fs = std::filesystem;

namespace {

// The session closes its sockets whatever happens in the test.
class CClient : public CFtpClient {
public:
    explicit CClient(unsigned short usPort, const FtpTransferOptions& options = {})
        : CFtpClient("127.0.0.1", usPort, "bob", TQ_UTIL::CcipheString("tea")) {
        setParam(1, 1, 1);
        setTransferOptions(options);
    }
    ~CClient() override {
        if (!m_bClosed) CFtpClient::Close();
    }
    unsigned int Close() override {
        m_bClosed = true;
        return CFtpClient::Close();
    }

private:
    bool m_bClosed = false;
};

FtpTransferOptions Verified() {
    FtpTransferOptions options;
    options.bVerify = true;
    return options;
}

FtpTransferOptions AnyAddress() {
    FtpTransferOptions options = Verified();
    options.bAnyDataAddress = true;
    return options;
}

class HostileSession : public testing::Test {
protected:
    HostileSession() {
        RecordingLog::Clear();
        WriteFile(Target(), "old");
    }

    std::string Target() const { return m_local.File("target"); }

    // The target is as it was, and nothing is beside it.
    void ExpectOldTarget() const {
        EXPECT_EQ(ReadFile(Target()), "old");
        EXPECT_FALSE(fs::exists(Target() + ".part"));
        EXPECT_EQ(std::distance(fs::directory_iterator(m_local.Path()), {}), 1);
    }

    TempDir m_local;
};

// ---- Logging in ----

TEST_F(HostileSession, AServerThatClosesWithoutAWordCostsNoTime) {
    SHostility hostility;
    hostility.instead[""] = [](CConversation& talk, const std::string&) { talk.Close(); };
    const CHostileServer server(hostility);
    const Clock::time_point start = Clock::now();
    CClient client(server.Port());
    client.setParam(5, 1, 5);
    const unsigned int uLogin = client.Login();
    EXPECT_TRUE(uLogin == FTP_NO_REPLY || uLogin == FTP_SEND_FAILED) << uLogin;
    EXPECT_EQ(client.Close(), FTP_CLOSE_FAILED);
    EXPECT_LT(MsSince(start), 4500);  // no wait for a connection that is gone
}

TEST_F(HostileSession, AServerThatTakesTheUserWithoutAPasswordGetsItAllTheSame) {
    SHostility hostility;
    hostility.instead["USER"] = [](CConversation& talk, const std::string&) {
        talk.Say("230 come in\r\n");
    };
    const CHostileServer server(hostility);
    CClient client(server.Port());
    EXPECT_EQ(client.Login(), FTP_OK);
    EXPECT_TRUE(server.Heard("PASS tea"));

    SHostility refusing = hostility;
    refusing.instead["PASS"] = [](CConversation& talk, const std::string&) {
        talk.Say("503 you are in\r\n");
    };
    const CHostileServer refusingServer(refusing);
    CClient refused(refusingServer.Port());
    EXPECT_EQ(refused.Login(), FTP_UNKNOWN_REPLY);
}

TEST_F(HostileSession, AHugeLoginDirectoryLeavesNoPathShortEnough) {
    SHostility hostility;
    hostility.instead["PWD"] = [](CConversation& talk, const std::string&) {
        talk.Say("257 \"/" + std::string(60'000, 'd') + "\"\r\n");
    };
    const CHostileServer server(hostility);
    CClient client(server.Port(), Verified());
    ASSERT_EQ(client.Login(), FTP_OK);
    EXPECT_EQ(client.GetOneFile("x", Target(), false), FTP_NO_SUCH_FILE);
    EXPECT_EQ(client.RemoveFile("x"), FTP_NO_SUCH_FILE);
    EXPECT_EQ(client.MakeDir("x"), FTP_NO_SUCH_FILE);
    EXPECT_EQ(client.RemoveDir("x"), FTP_NO_SUCH_FILE);
    EXPECT_EQ(client.checkOneFileExist("/x"), FTP_NO_SUCH_FILE);
    EXPECT_EQ(client.ChangeDir("x"), FTP_SEND_FAILED);
    EXPECT_EQ(client.Close(), FTP_OK);
    EXPECT_EQ(server.Commands(), (std::vector<std::string>{"USER bob", "PASS tea", "PWD", "QUIT"}));
    ExpectOldTarget();
}

TEST_F(HostileSession, ALoginDirectoryWithLineEndsSmugglesNoCommandIn) {
    SHostility hostility;
    hostility.instead["PWD"] = [](CConversation& talk, const std::string&) {
        talk.Say("257-\"/a\r\nDELE precious\r\n257 \" is where you are\r\n");
    };
    const CHostileServer server(hostility);
    CClient client(server.Port(), Verified());
    ASSERT_EQ(client.Login(), FTP_OK);
    EXPECT_EQ(client.RemoveFile("x"), FTP_SEND_FAILED);
    EXPECT_EQ(client.ChangeDir("x"), FTP_SEND_FAILED);
    EXPECT_EQ(client.GetOneFile("x", Target(), false), FTP_SEND_FAILED);
    client.Close();
    for (const std::string& strCommand : server.Commands())
        EXPECT_EQ(strCommand.find("DELE"), std::string::npos) << strCommand;
    ExpectOldTarget();
}

// ---- Replies that nobody asked for ----

constexpr Millis kReadByThen{150};

// The reply to PWD is followed by another one.
SHostility OneReplyAhead() {
    SHostility hostility;
    hostility.instead["PWD"] = [](CConversation& talk, const std::string&) {
        talk.Say("257 \"/\"\r\n");
        std::this_thread::sleep_for(kReadByThen);
        talk.Say("226 done\r\n");
    };
    return hostility;
}

TEST_F(HostileSession, AReplyToNoCommandIsNotTakenForTheNextOnesAnswer) {
    const CHostileServer server(OneReplyAhead());
    CClient client(server.Port(), Verified());
    ASSERT_EQ(client.Login(), FTP_OK);
    std::this_thread::sleep_for(3 * kReadByThen);
    EXPECT_EQ(client.RemoveFile("x"), FTP_OUT_OF_STEP);
    EXPECT_EQ(client.GetOneFile("x", Target(), false), FTP_OUT_OF_STEP);
    EXPECT_FALSE(server.Heard("DELE /x"));
    EXPECT_FALSE(server.Heard("TYPE I"));
    ExpectOldTarget();
}

TEST_F(HostileSession, AReplyToNoCommandIsTakenForTheNextOnesAnswerByAClassicSession) {
    SHostility hostility = OneReplyAhead();
    hostility.instead["DELE"] = [](CConversation& talk, const std::string&) {
        std::this_thread::sleep_for(kReadByThen);  // or both would be read as one reply
        talk.Say("550 no\r\n");
    };
    const CHostileServer server(hostility);
    CClient client(server.Port());
    ASSERT_EQ(client.Login(), FTP_OK);
    std::this_thread::sleep_for(3 * kReadByThen);
    EXPECT_EQ(client.RemoveFile("x"), FTP_OK);  // "226 done"
}

// ---- Where data connections go ----

// A service on another address of this machine.
class CElsewhere {
public:
    explicit CElsewhere(const char* pszAddress) {
        m_socket = CHandle(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        ::inet_pton(AF_INET, pszAddress, &address.sin_addr);
        if (::bind(m_socket.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error(std::string("no socket on ") + pszAddress);
        StartListening(m_socket.Get());
    }
    std::string Announced(const char* pszAddress) const {
        const unsigned short usPort = PortOf(m_socket.Get());
        return std::string("227 (") + pszAddress + "," + std::to_string(usPort / 256) + "," +
               std::to_string(usPort % 256) + ")\r\n";
    }
    bool WasVisited() const { return WaitReadable(m_socket.Get(), Millis(300)); }
    CHandle Accept() const {
        return CHandle(::accept4(m_socket.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    }

private:
    CHandle m_socket;
};

SHostility Announcing(const std::string& strReply) {
    SHostility hostility;
    hostility.instead["PASV"] = [strReply](CConversation& talk, const std::string&) {
        talk.Say(strReply);
    };
    return hostility;
}

TEST_F(HostileSession, IsSentToNoOtherHost) {
    const CElsewhere elsewhere("127.0.0.2");
    const CHostileServer server(Announcing(elsewhere.Announced("127,0,0,2")));
    {
        CClient client(server.Port(), Verified());
        ASSERT_EQ(client.Login(), FTP_OK);
        EXPECT_EQ(client.GetOneFile("x", Target(), false), FTP_BAD_PASV_REPLY);
    }
    {
        // The port counts, on the host of the session, where nobody listens on it.
        CClient client(server.Port(), AnyAddress());
        ASSERT_EQ(client.Login(), FTP_OK);
        EXPECT_EQ(client.GetOneFile("x", Target(), false), FTP_CONNECT_FAILED);
    }
    EXPECT_FALSE(elsewhere.WasVisited());
    ExpectOldTarget();
}

TEST_F(HostileSession, MakesNothingOfHostileNumbers) {
    for (const char* pszNumbers :
         {"127,0,0,1,0,0", "127,0,0,1,-1,-1", "127,0,0,1,256,1", "127,0,0,1,1,256",
          "127,0,0,1,4294967296,1", "127,0,0,1,99999999999999999999,99999999999999999999",
          "127,0,0,1,+1,+1", "127,0,0,1,0x1,0x1", "127,0,0,1, ,", "127,0,0,1,1", "", "%n%s,,,,,",
          "0,0,0,0,0,0", "255,255,255,255,0,0"}) {
        SCOPED_TRACE(pszNumbers);
        const CHostileServer server(Announcing("227 (" + std::string(pszNumbers) + ")\r\n"));
        for (const FtpTransferOptions& options : {FtpTransferOptions(), AnyAddress()}) {
            const Clock::time_point start = Clock::now();
            CClient client(server.Port(), options);
            ASSERT_EQ(client.Login(), FTP_OK);
            const unsigned int uResult = client.GetOneFile("x", Target(), false);
            EXPECT_TRUE(uResult == FTP_BAD_PASV_REPLY || uResult == FTP_CONNECT_FAILED) << uResult;
            EXPECT_LT(MsSince(start), 4500);
        }
    }
    ExpectOldTarget();
}

// The server's own port: what comes is its greeting, and its silence ends the transfer.
TEST_F(HostileSession, TakesTheServersOwnPortForWhatItIs) {
    unsigned short usOwn = 0;
    SHostility hostility;
    hostility.instead["PASV"] = [&usOwn](CConversation& talk, const std::string&) {
        talk.Say("227 (127,0,0,1," + std::to_string(usOwn / 256) + "," +
                 std::to_string(usOwn % 256) + ")\r\n");
    };
    hostility.instead["RETR"] = [](CConversation& talk, const std::string&) {
        talk.Say("150 here\r\n");
    };
    const CHostileServer server(hostility);
    usOwn = server.Port();
    CClient client(server.Port(), Verified());
    ASSERT_EQ(client.Login(), FTP_OK);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(client.GetOneFile("x", Target(), false), FTP_DATA_BROKEN);
    EXPECT_LT(MsSince(start), 12000);  // 5 s of silence, 2 s without a closing reply
    EXPECT_EQ(server.Connections(), 2);
    ExpectOldTarget();
}

// FTP names the port: another service of the same host can be meant, and gets what is stored.
TEST_F(HostileSession, StoresToAnotherPortOfTheSameHostWhenTheServerSaysSo) {
    const CElsewhere service("127.0.0.1");
    SHostility hostility = Announcing(service.Announced("127,0,0,1"));
    hostility.instead["STOR"] = [](CConversation& talk, const std::string&) {
        talk.Say("150 go ahead\r\n");
        talk.Say("226 done\r\n");
    };
    const CHostileServer server(hostility);
    CClient client(server.Port());
    ASSERT_EQ(client.Login(), FTP_OK);
    EXPECT_EQ(client.PutOneFileToFile(Target(), "x"), FTP_OK);
    ASSERT_TRUE(service.WasVisited());
    char szBytes[8] = "";
    const CHandle connection = service.Accept();
    EXPECT_EQ(::recv(connection.Get(), szBytes, sizeof szBytes, 0), 3);
    EXPECT_STREQ(szBytes, "old");
}

// ---- Transfers ----

class CBigFile {
public:
    CBigFile() { WriteFile(m_dir.File("big"), Payload(24 << 20)); }
    std::string Path() const { return m_dir.File("big"); }

private:
    TempDir m_dir;
};

SHostility NeverReading(Behaviour then) {
    SHostility hostility;
    hostility.instead["STOR"] = [then](CConversation& talk, const std::string& strName) {
        talk.Say("150 go ahead\r\n");
        talk.AcceptData();
        then(talk, strName);
    };
    return hostility;
}

TEST_F(HostileSession, AStoreThatIsNotReadEndsAfterSomeSilence) {
    const CBigFile big;
    const CHostileServer server(
        NeverReading([](CConversation& talk, const std::string&) { talk.FallSilent(); }));
    CClient client(server.Port(), Verified());
    ASSERT_EQ(client.Login(), FTP_OK);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(client.PutOneFileToFile(big.Path(), "x"), FTP_DATA_BROKEN);
    EXPECT_GE(MsSince(start), 4900);
    EXPECT_LT(MsSince(start), 12000);
}

// Which is why new code wants bVerify.
TEST_F(HostileSession, AClassicStoreThatIsNotReadLastsUntilTheServerEndsIt) {
    const CBigFile big;
    const CHostileServer server(NeverReading([](CConversation& talk, const std::string&) {
        std::this_thread::sleep_for(Millis(7000));
        talk.ResetData();
        talk.Say("426 enough\r\n");
    }));
    CClient client(server.Port());
    ASSERT_EQ(client.Login(), FTP_OK);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(client.PutOneFileToFile(big.Path(), "x"), FTP_OK);
    EXPECT_GE(MsSince(start), 6900);
    EXPECT_LT(MsSince(start), 12000);
}

SHostility EndlessFile() {
    SHostility hostility;
    hostility.instead["RETR"] = [](CConversation& talk, const std::string&) {
        talk.Say("150 here\r\n");
        talk.SendDataEndlessly("and on ");
    };
    return hostility;
}

TEST_F(HostileSession, AFileWithoutEndIsEndedByTheProgressFunction) {
    constexpr unsigned long long kEnough = 20'000'000;
    const CHostileServer server(EndlessFile());
    for (const bool bVerify : {false, true}) {
        FtpTransferOptions options;
        options.bVerify = bVerify;
        options.uBlockSize = 65536;
        unsigned long long ullLast = 0;
        options.progress = [&](unsigned long long ullMoved) {
            ullLast = ullMoved;
            return ullMoved < kEnough;
        };
        CClient client(server.Port(), options);
        ASSERT_EQ(client.Login(), FTP_OK);
        const std::string strTarget = bVerify ? Target() : "/dev/null";
        const Clock::time_point start = Clock::now();
        EXPECT_EQ(client.GetOneFile("x", strTarget, false), FTP_CANCELLED);
        EXPECT_LT(MsSince(start), 15000);
        EXPECT_GE(ullLast, kEnough);
        EXPECT_LT(ullLast, kEnough + 65536);
    }
    ExpectOldTarget();
}

TEST_F(HostileSession, AFileThatIsLargerThanListedIsTakenWhole) {
    SHostility hostility;
    hostility.listing = [](const std::string&) { return "-rw-r--r-- 1 u g 5 Mar 3 2019 x\r\n"; };
    hostility.file = [](const std::string&) { return Payload(500'000); };
    const CHostileServer server(hostility);
    CClient client(server.Port(), Verified());
    ASSERT_EQ(client.Login(), FTP_OK);
    std::vector<TkFileInfo*> entries;
    ASSERT_EQ(client.ListFile("", entries), FTP_OK);
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0]->strFileSize, "5");
    delete entries[0];
    EXPECT_EQ(client.GetOneFile("x", Target(), false), FTP_OK);
    EXPECT_TRUE(SamePayload(Payload(500'000), ReadFile(Target())));
}

// The system of a server that is killed ends the connections in order, as at the end of a file.
TEST_F(HostileSession, AServerThatIsKilledInTheMiddleOfAFileIsFoundByItsMissingReply) {
    SHostility hostility;
    hostility.instead["RETR"] = [](CConversation& talk, const std::string&) {
        talk.Say("150 here\r\n");
        talk.SendData(Payload(100'000));
        talk.Vanish();
    };
    const CHostileServer server(hostility);
    {
        CClient client(server.Port(), Verified());
        ASSERT_EQ(client.Login(), FTP_OK);
        EXPECT_EQ(client.GetOneFile("x", Target(), false), FTP_NO_REPLY);
        ExpectOldTarget();
    }
    {
        // A classic session cannot tell, and keeps what came.
        CClient client(server.Port());
        ASSERT_EQ(client.Login(), FTP_OK);
        EXPECT_EQ(client.GetOneFile("x", Target(), false), FTP_OK);
        EXPECT_TRUE(SamePayload(Payload(100'000), ReadFile(Target())));
    }
}

TEST_F(HostileSession, ADataConnectionThatIsResetIsBroken) {
    SHostility hostility;
    hostility.instead["RETR"] = [](CConversation& talk, const std::string&) {
        talk.Say("150 here\r\n");
        talk.SendData(Payload(100'000));
        talk.ResetData();
        talk.Say("226 done\r\n");
    };
    const CHostileServer server(hostility);
    CClient client(server.Port(), Verified());
    ASSERT_EQ(client.Login(), FTP_OK);
    EXPECT_EQ(client.GetOneFile("x", Target(), false), FTP_DATA_BROKEN);
    ExpectOldTarget();
}

// ".part" must fit as well.
TEST_F(HostileSession, ALocalNameThatLeavesNoRoomForPartIsNotCreated) {
    const CHostileServer server({});
    for (const std::size_t nName : {std::size_t{250}, std::size_t{251}, std::size_t{255}}) {
        const std::string strName(nName, 'n');
        CClient verified(server.Port(), Verified());
        ASSERT_EQ(verified.Login(), FTP_OK);
        EXPECT_EQ(verified.GetOneFile("x", m_local.File(strName), false),
                  nName == 250 ? FTP_OK : FTP_LOCAL_CREATE_FAILED)
            << nName;
        EXPECT_EQ(fs::exists(m_local.File(strName)), nName == 250);
        CClient classic(server.Port());
        ASSERT_EQ(classic.Login(), FTP_OK);
        EXPECT_EQ(classic.GetOneFile("x", m_local.File(strName), false), FTP_OK);
        EXPECT_EQ(ReadFile(m_local.File(strName)), "content of /x");
    }
}

// ---- One byte now and then ----
//
// A wait is for the next bytes, not for all of them: as long as they come, it goes on.

TEST_F(HostileSession, AReplyByteByByteLastsAsLongAsBytesComeAndNoLonger) {
    constexpr Millis kPause{500};
    SHostility hostility;
    hostility.instead[""] = [&](CConversation& talk, const std::string&) {
        talk.Drip("220 12345678", kPause);
        talk.FallSilent();
    };
    const CHostileServer server(hostility);
    CClient client(server.Port());  // 1 s for the first bytes of a reply, 1 s once more
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(client.Login(), FTP_NO_REPLY);
    EXPECT_GE(MsSince(start), 12 * kPause.count());
    // Then the greeting's two more waits, another reading of it, and that of the reply to USER.
    EXPECT_LT(MsSince(start), 12 * kPause.count() + 6 * 1000 + 2000);
}

TEST_F(HostileSession, AFileByteByByteLastsAsLongAsTheCallerWants) {
    SHostility hostility;
    hostility.instead["RETR"] = [](CConversation& talk, const std::string&) {
        talk.Say("150 here\r\n");
        talk.DripData(std::string(1000, 'x'), Millis(800));
    };
    const CHostileServer server(hostility);
    FtpTransferOptions options = Verified();
    const Clock::time_point start = Clock::now();
    options.progress = [&](unsigned long long) { return MsSince(start) < 7000; };
    CClient client(server.Port(), options);
    ASSERT_EQ(client.Login(), FTP_OK);
    EXPECT_EQ(client.GetOneFile("x", Target(), false), FTP_CANCELLED);
    EXPECT_GE(MsSince(start), 7000);  // longer than any silence is allowed to be
    EXPECT_LT(MsSince(start), 12000);
    ExpectOldTarget();
}

TEST_F(HostileSession, ADataConnectionThatFallsSilentEndsTheListing) {
    SHostility hostility;
    hostility.instead["LIST"] = [](CConversation& talk, const std::string&) {
        talk.Say("150 here\r\n");
        talk.SendData("-rw-r--r-- 1 u g 5 Mar 3 2019 x\r\n");
        talk.FallSilent();
    };
    const CHostileServer server(hostility);
    CClient client(server.Port(), Verified());
    ASSERT_EQ(client.Login(), FTP_OK);
    std::vector<TkFileInfo*> entries;
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(client.ListFile("", entries), FTP_DATA_BROKEN);
    EXPECT_TRUE(entries.empty());
    EXPECT_GE(MsSince(start), 4900);
    EXPECT_LT(MsSince(start), 12000);
}

// ---- What the log costs ----

// Each piece is logged with all that came before it, so the log of a line that comes byte by byte
// grows with the square of its length, up to the longest line that is taken.
TEST_F(HostileSession, ALongReplyByteByByteIsLoggedPieceByPiece) {
    const OneByte oneByte(true);
    const std::string strGreeting = "220 " + std::string(4'000, 'x') + "\r\n";
    ScriptedServer server{Say(strGreeting),     Expect("USER bob"), Say("331 password\r\n"),
                          Expect("PASS tea"),   Say("230 in\r\n"),  Expect("PWD"),
                          Say("257 \"/\"\r\n"), Expect("QUIT"),     Say("221 bye\r\n")};
    CClient client(server.Port());
    EXPECT_EQ(client.Login(), FTP_OK);
    const std::vector<std::string> texts = RecordingLog::InfoTexts();
    const std::string strBegin = "[FTPCLIENT]GetRetCode msg begin:";
    std::size_t nPiece = 0;
    for (const std::string& strText : texts) {
        if (nPiece == strGreeting.size() || strText.rfind(strBegin, 0) != 0) continue;
        ++nPiece;
        ASSERT_EQ(strText, strBegin + strGreeting.substr(0, nPiece) + " :end by using 0 times\n");
    }
    EXPECT_EQ(nPiece, strGreeting.size());
    EXPECT_EQ(client.Close(), FTP_OK);
    server.ExpectFinished();
}

}  // namespace
