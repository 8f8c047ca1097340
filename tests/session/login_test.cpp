// Opening a session: the dialogue, its failures, the connect rule.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/session/fixture.h"
#include "tests/support/sockets.h"

namespace SessionTest {
namespace {

class Login : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(Login);
class LoginAlone : public Dialogue {};

TEST_P(Login, SendsUserPassAndPwdAndTakesTheRoot) {
    ScriptedServer server{LogIn("/home/bob"), Cwd("/home/bob/a"), Quit()};
    CClient client(server);
    OneByte::ClearCounts();
    EXPECT_EQ(client.Login(), 0U);
    // Each byte of the four replies by itself, or no reply in more than one piece.
    EXPECT_EQ(OneByte::Receives(), GetParam() == EArrival::OneByte ? 11 + 22 + 8 + 42 : 4);
    EXPECT_EQ(client.ChangeDir("a"), 0U);
    client.CloseInOrder();
    server.ExpectFinished();
    EXPECT_EQ(server.Commands(),
              (std::vector<std::string>{"USER bob\r\n", "PASS tea\r\n", "PWD\r\n",
                                        "CWD /home/bob/a\r\n", "QUIT\r\n"}));
    EXPECT_EQ(ErrorLog(), "");
}

TEST_P(Login, WorksForAClientMadeOfARecord) {
    ScriptedServer server{LogIn(), Quit()};
    RVN_FTP_CLIENT::FTPConnInfo info;
    info.strHostIP = server.Host();
    info.usPort = server.Port();
    info.strUser = "bob";
    info.strPassword = TQ_UTIL::CcipheString("tea");
    RVN_FTP_CLIENT::CFtpClient client(info);
    EXPECT_EQ(client.Login(), 0U);
    EXPECT_EQ(client.Close(), 0U);
    server.ExpectFinished();
}

TEST_P(Login, TakesAGreetingOfSeveralLines) {
    ScriptedServer server{Say("220-Welcome\r\n220-to\r\n 220 us\r\n220 ready\r\n"),
                          On("USER bob", "331-password,\r\n331 please"), On("PASS tea", "230 in"),
                          On("PWD", "257 \"/\""), Quit()};
    CClient client(server);
    EXPECT_EQ(client.Login(), 0U);
    client.CloseInOrder();
    server.ExpectFinished();
}

TEST_P(Login, RefusedPasswordHasItsOwnCodeAndSendsNoPwd) {
    ScriptedServer server{Say("220 ready\r\n"), On("USER bob", "331 password, please"),
                          On("PASS tea", "530 Login incorrect."), Quit()};
    CClient client(server);
    EXPECT_EQ(client.Login(), 0x3bb00007U);
    client.CloseInOrder();
    server.ExpectFinished();
    EXPECT_EQ(ErrorLog(),
              "3bb0001a [FTPCLIENT]Ftp_pass getRetCode error,the real retCode:"
              "530 Login incorrect.\r\n\n");
}

struct SFailure {
    const char* pszGreeting;
    const char* pszToUser;  // null: USER must not be sent
    const char* pszToPass;  // null: PASS must not be sent
    unsigned int uResult;
};

TEST_P(Login, StopsAtTheFirstFailure) {
    const SFailure failures[] = {
        {"421 Too many users", nullptr, nullptr, 0x3bb0000f},
        {"421 The FTP server goes into shutdown", nullptr, nullptr, 0x3bb0001c},
        {"530 You are not welcome", nullptr, nullptr, 0x3bb0001a},
        {"500 What?", nullptr, nullptr, 0x4007001a},
        {"220 ready", "530 No such user", nullptr, 0x3bb0001a},
        {"220 ready", "501 Permission denied", nullptr, 0x3bb0000d},
        {"220 ready", "421 Too many users", nullptr, 0x3bb0000f},
        {"220 ready", "331 password, please", "530 Permission denied", 0x3bb00007},
        {"220 ready", "331 password, please", "421 Too many users", 0x3bb0000f},
        {"220 ready", "331 password, please", "550 No such file or directory", 0x3bb0000e},
    };
    for (const SFailure& failure : failures) {
        SCOPED_TRACE(std::string(failure.pszGreeting) + " / " +
                     (failure.pszToUser ? failure.pszToUser : "") + " / " +
                     (failure.pszToPass ? failure.pszToPass : ""));
        std::vector<SStep> script{Say(failure.pszGreeting + std::string("\r\n"))};
        if (failure.pszToUser) script.push_back(On("USER bob", failure.pszToUser));
        if (failure.pszToPass) script.push_back(On("PASS tea", failure.pszToPass));
        script.push_back(Quit());
        ScriptedServer server(script);
        CClient client(server);
        EXPECT_EQ(client.Login(), failure.uResult);
        EXPECT_EQ(client.Close(), 0U);
        server.ExpectFinished();
    }
}

TEST_P(Login, GoesOnWhereTheCodeIsNoFailure) {
    ScriptedServer server{Say("120 ready in a minute\r\n"),
                          On("USER bob", "230 no password needed"),
                          On("PASS tea", "202 superfluous"), On("PWD", "257 \"/\""), Quit()};
    CClient client(server);
    EXPECT_EQ(client.Login(), 0U);
    client.CloseInOrder();
    server.ExpectFinished();
    EXPECT_EQ(ErrorLog(),
              "0 [FTPCLIENT]Ftp_user getRetCode error,the real retCode:230 no password needed\r\n\n"
              "0 [FTPCLIENT]Ftp_pass getRetCode error,the real retCode:202 superfluous\r\n\n");
}

TEST_P(Login, IsDoneEvenWithoutARoot) {
    for (const char* pszReply :
         {"550 no", "502 not here", "257 no quotes", "257 \"one quote only"}) {
        SCOPED_TRACE(pszReply);
        ScriptedServer server{Say("220 ready\r\n"),
                              On("USER bob", "331 password, please"),
                              On("PASS tea", "230 in"),
                              On("PWD", pszReply),
                              Cwd("x"),
                              Quit()};
        CClient client(server);
        EXPECT_EQ(client.Login(), 0U);
        RecordingLog::Clear();
        EXPECT_EQ(client.ChangeDir("x"), 0U);
        const auto errors = RecordingLog::Errors();
        ASSERT_EQ(errors.size(), 1U);
        EXPECT_EQ(errors[0].strText,
                  "[FTPCLIENT]FTPRoot is empty! It is dangerous for other ftp handles!");
        EXPECT_EQ(errors[0].nLine, 950);
        client.CloseInOrder();
        server.ExpectFinished();
    }
}

TEST_P(Login, MayFollowAClose) {
    ScriptedServer server{LogIn("/one"), Cwd("/one/a"), Quit(),
                          LogIn("/two"), Cwd("/two/a"), Quit()};
    CClient client(server);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(client.Login(), 0U);
        EXPECT_EQ(client.ChangeDir("a"), 0U);
        client.CloseInOrder();
    }
    server.ExpectFinished();
    EXPECT_EQ(server.Connections(), 2);
}

TEST_F(LoginAlone, AcceptsAServerThatNeverGreets) {
    ScriptedServer server{Accept(), On("USER bob", "331 password, please"),
                          On("PASS tea", "230 in"), On("PWD", "257 \"/\""), Quit()};
    CClient client(server);
    client.setParam(1, 1, 1);
    const Stopwatch watch;
    EXPECT_EQ(client.Login(), 0U);
    EXPECT_BETWEEN(watch.Elapsed(), 3900, 12000);  // two readings of two receives each
    client.CloseInOrder();
    server.ExpectFinished();
}

TEST_F(LoginAlone, GivesUpOnASilentServer) {
    ScriptedServer server{Accept(), Expect("USER bob"), Expect("QUIT"), ExpectClose()};
    CClient client(server);
    client.setParam(1, 1, 0);
    const Stopwatch watch;
    EXPECT_EQ(client.Login(), 0x3bb00003U);
    EXPECT_BETWEEN(watch.Elapsed(), 2900, 9000);
    EXPECT_EQ(client.Close(), 0x3bb0001bU);
    server.ExpectFinished();
}

TEST_F(LoginAlone, WithoutRetriesASilentGreetingEndsTheLogin) {
    ScriptedServer server{Accept(), Expect("QUIT"), ExpectClose()};
    CClient client(server);
    client.setParam(1, 0, 1);
    EXPECT_EQ(client.Login(), 0x3bb0000fU);
    EXPECT_EQ(client.Close(), 0x3bb0001bU);
    server.ExpectFinished();
}

TEST_F(LoginAlone, EndsWhenTheServerHangsUp) {
    ScriptedServer server{Say("220 ready\r\n"), Expect("USER bob"), Close()};
    CClient client(server);
    const Stopwatch watch;
    EXPECT_EQ(client.Login(), 0x3bb00003U);
    EXPECT_BETWEEN(watch.Elapsed(), 0, 5000);
    EXPECT_EQ(client.Close(), 0x3bb0001bU);
    server.ExpectFinished();
}

// ---- The connect rule ----

std::size_t Attempts() {
    const auto errors = RecordingLog::Errors();
    return static_cast<std::size_t>(
        std::count_if(errors.begin(), errors.end(), [](const SLogEntry& entry) {
            return entry.strText.find("[FTPCLIENT]CFtpClientCom::Connect error :") == 0 &&
                   entry.uCode == 0x3bb00001;
        }));
}

struct SConnect {
    unsigned short usTimeout;
    unsigned short usRetries;
    unsigned short usRetryTimeout;
    std::size_t nAttempts;
    int nPauseMs;  // of all attempts together
};

TEST_F(LoginAlone, RetriesADeadServerAsOftenAsSet) {
    const SConnect rules[] = {
        {0, 0, 0, 1, 0},    {0, 0, 5, 1, 0},    {0, 3, 0, 4, 0},
        {2, 0, 5, 1, 2000}, {0, 2, 2, 3, 4000}, {2, 1, 0, 2, 2000},
    };
    for (const SConnect& rule : rules) {
        SCOPED_TRACE(std::to_string(rule.usTimeout) + ", " + std::to_string(rule.usRetries) + ", " +
                     std::to_string(rule.usRetryTimeout));
        const DeadPort port;
        RecordingLog::Clear();
        CClient client(port.Port());
        client.setParam(rule.usTimeout, rule.usRetries, rule.usRetryTimeout);
        const Stopwatch watch;
        EXPECT_EQ(client.Login(), 0x3bb00001U);
        EXPECT_BETWEEN(watch.Elapsed(), rule.nPauseMs, rule.nPauseMs + 1900);
        EXPECT_EQ(Attempts(), rule.nAttempts);
    }
}

TEST_F(LoginAlone, ADeadServerCostsTheDefaultPauses) {
    const DeadPort port;
    RVN_FTP_CLIENT::CFtpClient client("127.0.0.1", port.Port(), "bob", TQ_UTIL::CcipheString());
    const Stopwatch watch;
    EXPECT_EQ(client.Login(), 0x3bb00001U);
    EXPECT_BETWEEN(watch.Elapsed(), 8900, 15000);  // 5 + 2 + 2 seconds
    EXPECT_EQ(Attempts(), 3U);
}

TEST_F(LoginAlone, WaitsForASilentAddressWithoutAPause) {
    const SilentPort port;
    CClient client(port.Port());
    client.setParam(1, 1, 2);
    const Stopwatch watch;
    EXPECT_EQ(client.Login(), 0x3bb00001U);
    EXPECT_BETWEEN(watch.Elapsed(), 2900, 8000);
    EXPECT_EQ(Attempts(), 2U);
    EXPECT_EQ(RecordingLog::Errors().size(), 2U);
}

TEST_F(LoginAlone, ReachesAServerThatComesUpLate) {
    ScriptedServer server{RefuseFor(Millis(400)), LogIn(), Quit()};
    CClient client(server);
    client.setParam(1, 1, 5);
    const Stopwatch watch;
    EXPECT_EQ(client.Login(), 0U);
    EXPECT_BETWEEN(watch.Elapsed(), 900, 4500);
    EXPECT_EQ(Attempts(), 1U);
    EXPECT_EQ(client.Close(), 0U);
    server.ExpectFinished();
}

// The time-outs of the last receives; before them stands the wait for the connection.
std::vector<int> LastWaitsMs(std::size_t nCount) {
    const std::vector<int> waits = OneByte::WaitsMs();
    const auto nFirst = static_cast<std::ptrdiff_t>(waits.size() - std::min(nCount, waits.size()));
    return {waits.begin() + nFirst, waits.end()};
}

TEST_F(LoginAlone, WaitsForRepliesByTheDefaultTimes) {
    ScriptedServer server{Accept(), Wait(Millis(5400)), LogIn(), Quit()};
    RVN_FTP_CLIENT::CFtpClient client("127.0.0.1", server.Port(), "bob",
                                      TQ_UTIL::CcipheString("tea"));
    OneByte::ClearCounts();
    EXPECT_EQ(client.Login(), 0U);
    // The late greeting, then one receive for each of USER, PASS and PWD.
    EXPECT_EQ(LastWaitsMs(5), (std::vector<int>{5000, 2000, 5000, 5000, 5000}));
    EXPECT_EQ(client.Close(), 0U);
    server.ExpectFinished();
}

TEST_F(LoginAlone, WaitsForRepliesByTheTimesSet) {
    ScriptedServer server{Accept(), Wait(Millis(3400)), LogIn(), Quit()};
    CClient client(server);
    client.setParam(2, 3, 1);
    OneByte::ClearCounts();
    EXPECT_EQ(client.Login(), 0U);
    EXPECT_EQ(LastWaitsMs(6), (std::vector<int>{2000, 1000, 1000, 2000, 2000, 2000}));
    EXPECT_EQ(client.Close(), 0U);
    server.ExpectFinished();
}

}  // namespace
}  // namespace SessionTest
