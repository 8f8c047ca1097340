#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
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

class HostKeyType : public testing::TestWithParam<const char*> {
protected:
    HostKeyType() : m_server({GetParam()}) {}

    TQ_UTIL::StFTPAccountInfo Account(const std::string& strHostKey) const {
        TQ_UTIL::StFTPAccountInfo account = PasswordAccount(m_server);
        account.strHostKey = strHostKey;
        return account;
    }

    OpenSshServer m_server;
};

TEST_P(HostKeyType, IsShownAsKnownHostsWritesIt) {
    HostSession session(Account(m_server.HostKey(GetParam())));
    EXPECT_EQ(session->connect(), SFTP_OK) << session.Error();
}

TEST_P(HostKeyType, IsRefusedWhenItIsNotTheExpectedOne) {
    const std::string strKey = m_server.HostKey(GetParam());
    const std::string strOther = OpenSshServer({GetParam()}).HostKey(GetParam());
    ASSERT_NE(strOther, strKey);
    HostSession session(Account(strOther));
    EXPECT_EQ(session->connect(), SFTP_ERR_HOST_KEY);
    EXPECT_EQ(session.Error(), "6 the host key of 127.0.0.1 is not accepted: " + strKey);
    EXPECT_PRED_FORMAT2(testing::IsNotSubstring, m_server.User(),
                        m_server.LogOfRefusedConnection());
}

INSTANTIATE_TEST_SUITE_P(Types, HostKeyType,
                         testing::Values("rsa", "ecdsa", "ecdsa-384", "ecdsa-521", "ed25519"),
                         [](const auto& parameter) {
                             std::string strName = parameter.param;
                             strName.erase(std::remove(strName.begin(), strName.end(), '-'),
                                           strName.end());
                             return strName;
                         });

SServerScript Asks(const std::vector<std::vector<SPrompt>>& rounds) {
    SServerScript script = TakesPasswords();
    script.uMethods = SSH_AUTH_METHOD_INTERACTIVE;
    script.rounds = rounds;
    return script;
}

// A log-in by prompts, and what the client answers on its way in.
struct SPromptCase {
    const char* pszName;
    std::vector<std::vector<SPrompt>> rounds;
    Texts answers;
};

void PrintTo(const SPromptCase& prompts, std::ostream* pStream) {
    *pStream << prompts.pszName;
}

const SPromptCase kPromptCases[] = {
    {"OneHidden", {{{"Password: "}}}, {"answers 1", "answer tea"}},
    {"TwoHidden", {{{"Password: "}, {"Again: "}}}, {"answers 2", "answer tea", "answer tea"}},
    {"HiddenAndShown",
     {{{"Password: "}, {"Your name: ", true}}},
     {"answers 2", "answer tea", "answer "}},
    {"None", {{}}, {"answers 0"}},
    {"NoneAfterThePassword", {{{"Password: "}}, {}}, {"answers 1", "answer tea", "answers 0"}},
    {"TwoRounds",
     {{{"Your name: ", true}}, {{"Password: "}}},
     {"answers 1", "answer ", "answers 1", "answer tea"}},
};

class LogInByPromptsOf : public testing::TestWithParam<SPromptCase> {};

TEST_P(LogInByPromptsOf, AnswersHiddenOnesWithThePasswordAndNoOthers) {
    RecordingServer server(Asks(GetParam().rounds));
    HostSession session(AccountOf(server));
    EXPECT_EQ(session->connect(), SFTP_OK) << session.Error();
    Texts expected = {"auth none", "auth keyboard-interactive"};
    expected.insert(expected.end(), GetParam().answers.begin(), GetParam().answers.end());
    expected.emplace_back("subsystem sftp");
    EXPECT_EQ(LogInAmong(EventsAfter(session, server)), expected);
}

INSTANTIATE_TEST_SUITE_P(Prompts, LogInByPromptsOf, testing::ValuesIn(kPromptCases),
                         [](const auto& parameter) { return parameter.param.pszName; });

TEST(LogInByPrompts, EndsWhenTheServerNeverHasEnough) {
    const std::vector<std::vector<SPrompt>> rounds(100, {{"Password: "}});
    RecordingServer server(Asks(rounds));
    HostSession session(AccountOf(server));
    EXPECT_EQ(session->connect(), SFTP_ERR_AUTH);
    EXPECT_EQ(session.Error(), "7 the server refuses to let bob in");
    const Texts events = LogInAmong(EventsAfter(session, server));
    EXPECT_EQ(std::count(events.begin(), events.end(), "answer tea"), 8);
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
                     "answers 1", "answer tea", "closed"}));
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
