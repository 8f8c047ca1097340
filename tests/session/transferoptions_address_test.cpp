// Servers that announce another address for their data connections.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>
#include <vector>

#include "tests/session/transferoptions.h"

namespace SessionTest {
namespace {

using namespace RVN_FTP_CLIENT;

class AnyAddress : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(AnyAddress);
class AnyAddressAlone : public Dialogue {};

FtpTransferOptions Any(bool bVerify = false) {
    FtpTransferOptions options;
    options.bAnyDataAddress = true;
    options.bVerify = bVerify;
    return options;
}

SStep Listed() {
    return Sequence({Expect("LIST"), SayLine("150 here"), SendData("12-31-19 11:59PM 1 x\r\n"),
                     CloseData(), SayLine("226 listed"), On("OPTS UTF8 ON", "200 always")});
}

TEST_P(AnyAddress, TakesThePortOfAnyWellFormedReply) {
    for (const char* pszReply : {
             "227 Entering Passive Mode (%a,%p).\r\n",
             "227 Entering Passive Mode (10,9,8,7,%p)\r\n",
             "227 Entering Passive Mode (10,9,8,7,%p).\r\n",
             "227 Entering Passive Mode 10,9,8,7,%p\r\n",
             "227 Entering Passive Mode. 10,9,8,7,%p.\r\n",
             "227 =10,9,8,7,%p\r\n",
             "227 10,9,8,7,%p\r\n",
             "227 (0,0,0,0,%p)\r\n",
             "227 (255,255,255,255,%p)\r\n",
             "227 (127,0,0,2,%p)\r\n",
             "227-Entering\r\n227 Passive Mode (10,9,8,7,%p)\r\n",
         }) {
        for (const bool bVerify : {false, true}) {
            SCOPED_TRACE(pszReply);
            COptionsSession session(
                {Cwd("/srv/data/"), Expect("PASV"), SayPassive(pszReply), Listed()}, Any(bVerify));
            CEntries entries;
            EXPECT_EQ(session->ListFile("/", entries.m_entries), 0U);
            EXPECT_EQ(entries.Added(), std::vector<std::string>{"x"});
        }
    }
}

TEST_P(AnyAddress, TransfersFilesThatWay) {
    const CTarget target(false);
    const CSource source(Payload(5000));
    const SStep passive =
        Sequence({Expect("PASV"), SayPassive("227 Entering Passive Mode (10,9,8,7,%p).\r\n")});
    COptionsSession session(
        {TypeImage(), Cwd(kRoot), passive, On("RETR f", "150 here"), SendData(Payload(5000)),
         CloseData(), SayLine("226 sent"), TypeImage(), Cwd(kRoot), passive, On("STOR f", "150 go"),
         ReceiveData(), SayLine("226 stored")},
        Any(true));
    EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
    EXPECT_EQ(session->PutOneFileToFile(source.Path(), "f"), 0U);
    target.ExpectReplaced(Payload(5000));
    EXPECT_TRUE(SamePayload(Payload(5000), session.Uploads().at(0)));
}

TEST_P(AnyAddress, DoesNotTakeAMalformedReply) {
    for (const char* pszReply : {
             "227 Entering Passive Mode",
             "227 (10,9,8,7,200)",
             "227 (127,0,0,1,200)",
             "227 (127,0,0,1)",
             "227 (10,9,8,256,4,1)",
             "227 (256,9,8,7,4,1)",
             "227 (10,9,8,7,256,1)",
             "227 (10,9,8,7,4,256)",
             "227 (127,0,0,1,4,256)",
             "227 (10,9,8,x,4,1)",
             "227 (10,9,8,7,x,1)",
             "227 (10,9,8,7,4,x)",
             "227 (-10,9,8,7,4,1)",
             "227 (10,9,8,-7,4,1)",
             "227 (10,9,8,7,-4,1)",
             "227 (10,9,8,7,4,-1)",
             "227 (10,9,8,7,99999999999999999999999,1)",
             "227 (10,9,8,7,4294967300,1)",
             "227 (10,9,8,7,4,18446744073709551617)",
             "227 (10,,8,7,4,1)",
             "227 (10,9,8,7,4,)",
             "227 (10.9.8.7.4.1)",
         }) {
        for (const bool bVerify : {false, true}) {
            SCOPED_TRACE(pszReply);
            COptionsSession session({Cwd("/srv/data/"), On("PASV", pszReply)}, Any(bVerify));
            CEntries entries;
            EXPECT_EQ(session->ListFile("/", entries.m_entries), FTP_BAD_PASV_REPLY);
            entries.ExpectUntouched();
        }
    }
}

TEST_P(AnyAddress, ARefusedPasvStaysRefused) {
    COptionsSession session({Cwd("/srv/data/"), On("PASV", "425 no port left (10,9,8,7,4,1)")},
                            Any());
    CEntries entries;
    EXPECT_EQ(session->ListFile("/", entries.m_entries), FTP_REPLY_425);
}

TEST_P(AnyAddress, IsOnlyFollowedWhereAskedFor) {
    for (const bool bVerify : {false, true}) {
        FtpTransferOptions options;
        options.bVerify = bVerify;
        COptionsSession session(
            {Cwd("/srv/data/"), Expect("PASV"), SayPassive("227 go (10,9,8,7,%p).\r\n")}, options);
        CEntries entries;
        EXPECT_EQ(session->ListFile("/", entries.m_entries), FTP_BAD_PASV_REPLY);
    }
}

// A server cannot send the client to somebody else: here, to a listener on 127.0.0.2, while nobody
// listens on the port at the server's own address.
TEST_F(AnyAddressAlone, NeverConnectsElsewhere) {
    const DeadPort dead;
    const CHandle elsewhere(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(dead.Port());
    ASSERT_EQ(::inet_pton(AF_INET, "127.0.0.2", &address.sin_addr), 1);
    ASSERT_EQ(::bind(elsewhere.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(elsewhere.Get(), 4), 0);
    const std::string strPort =
        std::to_string(dead.Port() / 256) + "," + std::to_string(dead.Port() % 256);
    {
        COptionsSession session({Cwd("/srv/data/"), On("PASV", "227 (127,0,0,2," + strPort + ")")},
                                Any());
        CEntries entries;
        EXPECT_EQ(session->ListFile("/", entries.m_entries), FTP_CONNECT_FAILED);
    }
    EXPECT_FALSE(WaitReadable(elsewhere.Get(), Millis(100))) << "a connection came there";
}

TEST_F(AnyAddressAlone, LetsAHostHaveAName) {
    ScriptedServer server{LogIn(), Cwd("/srv/data/"), Passive(), Listed(), Quit()};
    CFtpClient client("localhost", server.Port(), "bob", TQ_UTIL::CcipheString("tea"));
    client.setTransferOptions(Any(true));
    ASSERT_EQ(client.Login(), 0U);
    CEntries entries;
    EXPECT_EQ(client.ListFile("/", entries.m_entries), 0U);
    EXPECT_EQ(entries.Added(), std::vector<std::string>{"x"});
    EXPECT_EQ(client.Close(), 0U);
    server.ExpectFinished();
}

}  // namespace
}  // namespace SessionTest
