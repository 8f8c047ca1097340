#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/sftpserver/opensshserver.h"
#include "tests/sftpserver/scriptedsession.h"
#include "tests/support/recordinglog.h"

namespace {

using namespace TestSupport;
using Texts = std::vector<std::string>;

SServerScript TakesPasswords() {
    return PlaysSftp([](SftpPeer& peer) { peer.Take(); });
}

// What the server has noted once the connection is over.
Texts EventsAfter(HostSession& session, const RecordingServer& server) {
    session->closeSession();
    const auto end = Clock::now() + Millis(5000);
    Texts events = server.Events();
    while ((events.empty() || events.back() != "closed") && Clock::now() < end) {
        std::this_thread::sleep_for(Millis(5));
        events = server.Events();
    }
    return events;
}

// The log-in among the events. The end of the key exchange is not: a client that hangs up at once
// may be gone before the server has finished its own half.
Texts LogInAmong(const Texts& events) {
    Texts found;
    for (const std::string& strEvent : events)
        if (strEvent != "key exchange" && strEvent != "closed") found.push_back(strEvent);
    return found;
}

TEST(HostKey, WhenItIsTheExpectedOneThePasswordIsSent) {
    RecordingServer server(TakesPasswords());
    HostSession session(AccountOf(server));
    EXPECT_EQ(session->connect(), SFTP_OK) << session.Error();
    EXPECT_EQ(EventsAfter(session, server), (Texts{"key exchange", "auth none", "auth password tea",
                                                   "subsystem sftp", "closed"}));
}

TEST(HostKey, WhenItHasChangedNothingIsSentAnyMore) {
    const std::string strFormerKey = RecordingServer(TakesPasswords()).HostKey();
    RecordingServer server(TakesPasswords());
    TQ_UTIL::StFTPAccountInfo account = AccountOf(server);
    account.strHostKey = strFormerKey;
    HostSession session(account);
    EXPECT_EQ(session->connect(), SFTP_ERR_HOST_KEY);
    EXPECT_EQ(session.Error(), "6 the host key of 127.0.0.1 is not accepted: " + server.HostKey());
    EXPECT_EQ(LogInAmong(EventsAfter(session, server)), Texts{});
}

TEST(HostKey, IsRefusedInEveryOtherFormatThanOpenSsh) {
    RecordingServer server(TakesPasswords());
    TQ_UTIL::StFTPAccountInfo account = AccountOf(server);
    account.strHostKeyFormat = "";
    HostSession session(account);
    EXPECT_EQ(session->connect(), SFTP_ERR_HOST_KEY);
    EXPECT_EQ(LogInAmong(EventsAfter(session, server)), Texts{});
}

TEST(HostKey, IsNotLookedAtWhenTheAccountSaysSo) {
    RecordingServer server(TakesPasswords());
    TQ_UTIL::StFTPAccountInfo account = AccountOf(server);
    account.strHostKey = "";
    account.strCheckHostKey = "false";
    HostSession session(account);
    EXPECT_EQ(session->connect(), SFTP_OK) << session.Error();
}

TEST(HostKey, IsRefusedWhenNobodyCanBeAsked) {
    RecordingServer server(TakesPasswords());
    HostSession session(AccountOf(server));
    session->setSessionCallback(nullptr);
    EXPECT_EQ(session->connect(), SFTP_ERR_HOST_KEY);
    EXPECT_EQ(LogInAmong(EventsAfter(session, server)), Texts{});
}

class HostKeyType : public testing::TestWithParam<const char*> {};

TEST_P(HostKeyType, IsShownAsKnownHostsWritesIt) {
    const OpenSshServer server({GetParam()});
    TQ_UTIL::StFTPAccountInfo account = PasswordAccount(server);
    account.strHostKey = server.HostKey(GetParam());
    HostSession session(account);
    EXPECT_EQ(session->connect(), SFTP_OK) << session.Error();
}

INSTANTIATE_TEST_SUITE_P(Types, HostKeyType, testing::Values("rsa", "ecdsa", "ed25519"));

TEST(LogInByPrompts, AnswersHiddenPromptsWithThePasswordAndNoOthers) {
    SServerScript script = TakesPasswords();
    script.uMethods = SSH_AUTH_METHOD_INTERACTIVE;
    script.prompts = {"Password: ", "Your name: "};
    script.echo = {false, true};
    RecordingServer server(script);
    HostSession session(AccountOf(server));
    EXPECT_EQ(session->connect(), SFTP_OK) << session.Error();
    EXPECT_EQ(EventsAfter(session, server),
              (Texts{"key exchange", "auth none", "auth keyboard-interactive", "answer tea",
                     "answer ", "subsystem sftp", "closed"}));
}

TEST(LogInByPrompts, IsRefusedWithAWrongPassword) {
    SServerScript script = TakesPasswords();
    script.uMethods = SSH_AUTH_METHOD_INTERACTIVE | SSH_AUTH_METHOD_PASSWORD;
    script.strPassword = "coffee";
    RecordingServer server(script);
    RecordingLog::Clear();
    HostSession session(AccountOf(server));
    EXPECT_EQ(session->connect(), SFTP_ERR_AUTH);
    EXPECT_EQ(session.Error(), "7 the server refuses to let bob in");
    EXPECT_EQ(EventsAfter(session, server),
              (Texts{"key exchange", "auth none", "auth password tea", "auth keyboard-interactive",
                     "answer tea", "closed"}));
    for (const SLogEntry& entry : RecordingLog::All())
        EXPECT_EQ(entry.strText.find("tea"), std::string::npos) << entry;
}

TEST(LogIn, IsToldFromAMissingSubsystem) {
    RecordingServer server(SServerScript{});
    HostSession session(AccountOf(server));
    EXPECT_EQ(session->connect(), SFTP_ERR_CONNECT);
    EXPECT_EQ(session.Error(), "5 the server has no SFTP subsystem");
}

TEST(LogIn, IsGivenUpWhenTheServerSaysNothing) {
    SServerScript script = TakesPasswords();
    script.bIgnoresPasswords = true;
    RecordingServer server(script);
    HostSession session(AccountOf(server));
    ASSERT_EQ(session->setTimeout(1), SFTP_OK);
    const auto start = Clock::now();
    EXPECT_EQ(session->connect(), SFTP_ERR_TIMEOUT);
    EXPECT_EQ(session.Error(), "11 no answer to the log-in in time");
    EXPECT_LT(Clock::now() - start, Millis(4000));
}

TEST(LogIn, UsesUpThePassword) {
    RecordingServer server(TakesPasswords());
    HostSession session(AccountOf(server));
    ASSERT_EQ(session->connect(), SFTP_OK) << session.Error();
    ASSERT_EQ(session->disconnect(), SFTP_OK);
    EXPECT_EQ(session->connect(), SFTP_ERR_AUTH);
    ASSERT_EQ(session->setPassword(SFTP_String("tea")), SFTP_OK);
    EXPECT_EQ(session->connect(), SFTP_OK) << session.Error();
}

}  // namespace
