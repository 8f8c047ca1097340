// A host's signals, with which waiting begins anew every 20 ms, change neither the outcome of an
// operation nor the time that it may take.

#include <gtest/gtest.h>

#include <string>

#include "include/ftpclient.h"
#include "include/ftpresult.h"
#include "tests/dialogue/signals.h"
#include "tests/support/scriptedserver.h"
#include "tests/support/tempdir.h"

using namespace RVN_FTP_CLIENT;
using namespace TestSupport;

namespace {

const TQ_UTIL::CcipheString kPassword("tea");

SStep On(const std::string& strCommand, const std::string& strReply) {
    return Sequence({Expect(strCommand), Say(strReply + "\r\n")});
}

SStep LogIn() {
    return Sequence({Say("220 ready\r\n"), On("USER bob", "331 password, please"),
                     On("PASS tea", "230 in"), On("PWD", "257 \"/\" is current")});
}

TEST(Signals, LeaveAnAttemptToConnectItsTime) {
    const SilentPort port;
    CFtpClient client("127.0.0.1", port.Port(), "bob", kPassword);
    client.setParam(2, 0, 0);
    const CSignals signals;
    const auto start = Clock::now();
    EXPECT_EQ(client.Login(), FTP_CONNECT_FAILED);
    EXPECT_GE(MsSince(start), 1900);
    EXPECT_LE(MsSince(start), 4000);
}

TEST(Signals, DoNotKeepAStoreWaitingForAServerThatTakesNothing) {
    const TempDir temp;
    WriteFile(temp.File("large"), std::string(std::size_t{32} << 20, 'x'));
    ScriptedServer server{LogIn(),
                          On("TYPE I", "200 image"),
                          On("CWD /", "250 there"),
                          Expect("PASV"),
                          SayPassive(),
                          On("STOR large", "150 go ahead"),
                          AcceptData(),
                          Limit(Millis(30000)),
                          Hold()};
    CFtpClient client(server.Host(), server.Port(), "bob", kPassword);
    client.setParam(1, 1, 1);
    FtpTransferOptions options;
    options.bVerify = true;
    client.setTransferOptions(options);
    ASSERT_EQ(client.Login(), 0U);
    const auto start = Clock::now();
    {
        const CSignals signals;
        EXPECT_EQ(client.PutOneFileToFile(temp.File("large"), "/large"), FTP_DATA_BROKEN);
    }
    EXPECT_GE(MsSince(start), 4900);  // the silence that ends a transfer
    EXPECT_LE(MsSince(start), 15000);
    server.Release();
    client.Close();
    server.Finish();
}

}  // namespace
