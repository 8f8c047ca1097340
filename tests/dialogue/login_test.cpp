// Opening and ending a session: connecting with retries, the greeting, the password, the directory.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tests/dialogue/commandlist.h"
#include "tests/dialogue/hooks.h"
#include "tests/dialogue/sessiontest.h"
#include "tests/support/arrivaltest.h"

namespace {

using namespace RVN_FTP_CLIENT;
using namespace TestSupport;

constexpr unsigned int kConnectFailed = 0x3bb00001;
constexpr unsigned int kNoReply = 0x3bb00003;

// ---- Connecting ----

class RetryTest : public testing::Test, protected CSession {
protected:
    RetryTest() { Hooks::ClearSleeps(); }

    static Texts RefusedLogs(std::size_t nAttempts) {
        Texts texts;
        for (std::size_t i = 0; i < nAttempts; ++i) {
            texts.emplace_back(
                "[FTPCLIENT]CFtpClientCom::Connect error :Connection refused,ErrorCode:111\n");
            texts.emplace_back("[FTPCLIENT]CFtpClientCom::Connect error :sleep ");
        }
        return texts;
    }

    static std::vector<long> Pauses() {
        std::vector<long> seconds;
        for (const timespec& sleep : Hooks::Sleeps())
            seconds.push_back(sleep.tv_sec);
        return seconds;
    }
};

TEST_F(RetryTest, TriesADeadServerOnceMoreForEachRetry) {
    const DeadPort dead;
    SetServer(dead.Port());
    SetTimes(2, 2, 1);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(m_command.Ftp_connect(), kConnectFailed);
    EXPECT_GE(MsSince(start), 4000);
    EXPECT_EQ(Pauses(), (std::vector<long>{2, 1, 1}));
    EXPECT_EQ(RecordingLog::ErrorTexts(), RefusedLogs(3));
}

TEST_F(RetryTest, TriesADeadServerOnceWithoutRetries) {
    const DeadPort dead;
    SetServer(dead.Port());
    SetTimes(1, 0, 1);
    EXPECT_EQ(m_command.Ftp_connect(), kConnectFailed);
    EXPECT_EQ(Pauses(), std::vector<long>{1});
    EXPECT_EQ(RecordingLog::ErrorTexts(), RefusedLogs(1));
}

TEST_F(RetryTest, TriesASilentAddressWithTheTwoTimeouts) {
    const SilentPort silent;
    SetServer(silent.Port());
    SetTimes(2, 1, 1);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(m_command.Ftp_connect(), kConnectFailed);
    EXPECT_GE(MsSince(start), 3000);
    EXPECT_EQ(OneByte::WaitsMs(), (std::vector<int>{2000, 1000}));
    EXPECT_EQ(RecordingLog::Errors().size(), 2U);
    EXPECT_TRUE(Pauses().empty());
}

TEST_F(RetryTest, FindsAServerThatIsJustStarting) {
    ScriptedServer server{RefuseFor(Millis(1000)), Say("220 ready\r\n")};
    SetServer(server.Port());
    SetTimes(3, 2, 3);
    EXPECT_EQ(m_command.Ftp_connect(), 0U);
    EXPECT_EQ(RecordingLog::ErrorTexts(), RefusedLogs(1));
    EXPECT_EQ(server.Connections(), 1);
    server.ExpectFinished();
}

TEST_F(RetryTest, DoesNotConnectAgainWhenTheGreetingIsAFailure) {
    ScriptedServer server{Say("421 too many users\r\n")};
    SetServer(server.Port());
    EXPECT_EQ(m_command.Ftp_connect(), 0x3bb0000fU);
    EXPECT_EQ(server.Connections(), 1);
    server.ExpectFinished();
}

// ---- The greeting ----

class GreetingTest : public ArrivalTest, protected CSession {
protected:
    unsigned int Greet(const std::vector<SStep>& script) {
        ScriptedServer server(script);
        SetServer(server.Port());
        const unsigned int uResult = m_command.Ftp_connect();
        server.ExpectFinished();
        return uResult;
    }
};

QEL_BOTH_ARRIVALS(GreetingTest);

TEST_P(GreetingTest, OpensASessionInPassiveMode) {
    m_command.m_bPasv = 0;
    EXPECT_EQ(Greet({Say("220 ready\r\n")}), 0U);
    EXPECT_EQ(m_command.m_bPasv, 1);
    EXPECT_EQ(m_command.m_strHost, "127.0.0.1");
    EXPECT_EQ(m_command.m_nPort, m_command.m_nServerPort);
    EXPECT_TRUE(RecordingLog::Errors().empty());
}

TEST_P(GreetingTest, MayHaveSeveralLines) {
    EXPECT_EQ(Greet({Say("220-Welcome\r\n  to us\r\n220 ready\r\n")}), 0U);
}

TEST_P(GreetingTest, MayComeLateAndInPieces) {
    EXPECT_EQ(Greet({Wait(Millis(500)), SayPieces({"22", "0 re", "ady\r\n"})}), 0U);
}

TEST_P(GreetingTest, OfAServerThatIsFullIsItsResult) {
    EXPECT_EQ(Greet({Say("421 too many users\r\n")}), 0x3bb0000fU);
}

TEST_P(GreetingTest, OfAServerThatShutsDownIsItsResult) {
    EXPECT_EQ(Greet({Say("421 FTP server shutdown\r\n")}), 0x3bb0001cU);
}

TEST_P(GreetingTest, OfAnyOtherFailureIsItsResult) {
    EXPECT_EQ(Greet({Say("530 no\r\n")}), 0x3bb0001aU);
    EXPECT_EQ(Greet({Say("554 no\r\n")}), 0x4007001aU);
}

TEST_P(GreetingTest, MayBeMissing) {
    SetTimes(1, 2, 0);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(Greet({Accept()}), 0U);
    EXPECT_GE(MsSince(start), 2000);
    const std::vector<int> waits = OneByte::WaitsMs();
    ASSERT_GE(waits.size(), 6U);  // those for the connection come before
    EXPECT_EQ(std::vector<int>(waits.end() - 6, waits.end()),
              (std::vector<int>{1000, 0, 0, 1000, 0, 0}));
    EXPECT_EQ(RecordingLog::ErrorTexts(), (Texts{BlankLine(), BlankLine()}));
}

TEST_P(GreetingTest, IsServiceNotAvailableWhenMissingWithoutRetries) {
    SetTimes(1, 0, 1);
    EXPECT_EQ(Greet({Accept()}), 0x3bb0000fU);
    EXPECT_TRUE(RecordingLog::Errors().empty());
}

TEST_P(GreetingTest, DoesNotCountWhenItComesInTheSecondReading) {
    SetTimes(2, 1, 0);
    EXPECT_EQ(Greet({Wait(Millis(3000)), Say("530 no\r\n")}), 0U);
    EXPECT_EQ(RecordingLog::ErrorTexts(), Texts{BlankLine()});
    EXPECT_FALSE(RecordingLog::Infos().empty());  // it was read
}

TEST_P(GreetingTest, MayBeMissingBecauseTheServerLeft) {
    EXPECT_EQ(Greet({Close()}), 0U);
    EXPECT_EQ(m_command.Ftp_user(), kNoReply);
}

TEST_P(GreetingTest, OfAnotherProtocolIsTakenForAMissingOne) {
    SetTimes(1, 1, 0);
    EXPECT_EQ(Greet({Say("SSH-2.0-Example\r\n")}), 0U);
    EXPECT_EQ(RecordingLog::ErrorTexts(), (Texts{BlankLine(), BlankLine()}));
    RecordingLog::Clear();
    EXPECT_EQ(Greet({Say("HTTP/1.1 400 Bad Request\r\nConnection: close\r\n\r\n"), Close()}), 0U);
    EXPECT_EQ(RecordingLog::ErrorTexts(), (Texts{BlankLine(), BlankLine()}));
}

// ---- The password ----

class PasswordTest : public ArrivalTest, protected CSession {};

QEL_BOTH_ARRIVALS(PasswordTest);

TEST_P(PasswordTest, IsInNoLog) {
    const std::string strSecret = "Geheimnis";
    const std::string strTooLong = strSecret + std::string(600, 'x');
    ScriptedServer server{Expect("PASS " + strSecret), Say("530 no\r\n"),
                          Expect("PASS " + strSecret), Close()};
    Connect(server);
    for (const std::string& strPassword :
         {strSecret, strTooLong, strSecret + "\r\nDELE x", strSecret + '\0', strSecret}) {
        m_command.m_Password = TQ_UTIL::CcipheString(strPassword);
        EXPECT_NE(m_command.Ftp_pass(), 0U);
    }
    server.ExpectFinished();
    EXPECT_GE(RecordingLog::All().size(), 6U);
    for (const SLogEntry& entry : RecordingLog::All())
        EXPECT_EQ(entry.strText.find(strSecret), std::string::npos) << entry;
}

TEST_P(PasswordTest, MayHoldAnyBytesButLineEndsAndZeros) {
    std::string strPassword;
    for (int i = 1; i < 256; ++i) {
        if (i != '\r' && i != '\n') strPassword += static_cast<char>(i);
    }
    ScriptedServer server{Expect("PASS " + strPassword), Say("230 in\r\n")};
    Connect(server);
    m_command.m_Password = TQ_UTIL::CcipheString(strPassword);
    EXPECT_EQ(m_command.Ftp_pass(), 0U);
    server.ExpectFinished();
}

// ---- The directory ----

struct SDirectory {
    const char* pszName;
    const char* pszReply;
    const char* pszPath;  // null: what was there stays
    unsigned int uResult = 0;
};

std::ostream& operator<<(std::ostream& stream, const SDirectory& row) {
    return stream << row.pszName;
}

constexpr SDirectory kDirectories[] = {
    {"Plain", "257 \"/home/user\" is the current directory\r\n", "/home/user"},
    {"Root", "257 \"/\"\r\n", "/"},
    {"WithBlanks", "257 \"/a b/c\" x\r\n", "/a b/c"},
    {"WithoutQuotes", "257 /home/user\r\n", nullptr},
    {"WithOneQuote", "257 \"/home/user\r\n", nullptr},
    {"Empty", "257 \"\" x\r\n", ""},
    {"DoubledQuote", "257 \"/a\"\"b\" x\r\n", "/a"},
    {"DoubledQuoteFirst", "257 \"\"\"/a\" x\r\n", ""},
    {"SecondQuotedText", "257 \"/a\" and \"/b\"\r\n", "/a"},
    {"SeveralLines", "257-\"/a\"\r\n257 \"/b\"\r\n", "/a"},
    {"AcrossLines", "257-\"/a\r\n257 b\"\r\n", "/a\r\n257 b"},
    {"InAFailure", "550 257 \"/a\"\r\n", "/a", 0x3bb00019},
    {"OfAnotherReply", "250 \"/a\"\r\n", nullptr},
    {"OfAFailure", "550 \"/a\"\r\n", nullptr, 0x3bb00019},
};

class DirectoryTest : public testing::TestWithParam<std::tuple<SDirectory, EArrival>>,
                      protected CSession {};

INSTANTIATE_TEST_SUITE_P(Table, DirectoryTest,
                         testing::Combine(testing::ValuesIn(kDirectories),
                                          testing::Values(EArrival::Whole, EArrival::OneByte)),
                         [](const auto& tested) {
                             return std::get<0>(tested.param).pszName +
                                    ArrivalName(std::get<1>(tested.param));
                         });

TEST_P(DirectoryTest, IsTakenFromTheReply) {
    const auto& [directory, eArrival] = GetParam();
    const OneByte one(eArrival == EArrival::OneByte);
    ScriptedServer server{Expect("PWD"), Say(directory.pszReply)};
    Connect(server);
    std::string strPath = "before";
    EXPECT_EQ(m_command.FTP_pwd(strPath), directory.uResult);
    EXPECT_EQ(strPath, directory.pszPath == nullptr ? "before" : directory.pszPath);
    server.ExpectFinished();
}

class LongDirectoryTest : public ArrivalTest, protected CSession {};

QEL_BOTH_ARRIVALS(LongDirectoryTest);

TEST_P(LongDirectoryTest, IsTakenWhole) {
    const std::string strLong = "/" + std::string(2000, 'd');
    ScriptedServer server{Expect("PWD"), Say("257 \"" + strLong + "\"\r\n")};
    Connect(server);
    std::string strPath;
    EXPECT_EQ(m_command.FTP_pwd(strPath), 0U);
    EXPECT_EQ(strPath, strLong);
    server.ExpectFinished();
}

TEST_P(LongDirectoryTest, StaysAsItWasWhenPwdIsNotSent) {
    std::string strPath = "before";
    EXPECT_EQ(m_command.FTP_pwd(strPath), 0x3bb00002U);
    EXPECT_EQ(strPath, "before");
}

}  // namespace
