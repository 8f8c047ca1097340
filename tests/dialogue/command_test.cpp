// Each command: the bytes it sends, the replies it accepts, what it makes of the others.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/dialogue/commandlist.h"
#include "tests/dialogue/sessiontest.h"
#include "tests/support/arrivaltest.h"

namespace {

using namespace RVN_FTP_CLIENT;
using namespace TestSupport;

constexpr unsigned int kNotSent = 0x3bb00002;
constexpr unsigned int kNoReply = 0x3bb00003;
constexpr unsigned int kUnknownReply = 0x4007001a;

// ---- One command, one reply ----

struct SExchange {
    const char* pszCommand;  // of Commands()
    const char* pszReply;
    unsigned int uResult;
    bool bLogged = false;       // the reply is not what the command expects
    unsigned int uLogCode = 0;  // the result before a code was replaced by the command's own
};

std::ostream& operator<<(std::ostream& stream, const SExchange& row) {
    return stream << NameOf(row.pszReply);
}

constexpr SExchange kExchanges[] = {
    {"Ftp_user", "331 password, please\r\n", 0},
    {"Ftp_user", "331-one\r\n331 two\r\n", 0, true, 0},  // "331-" is not "331 "
    {"Ftp_user", "230 no password needed\r\n", 0, true, 0},
    {"Ftp_user", "200 331 \r\n", 0, true, 0},
    {"Ftp_user", "530 no\r\n", 0x3bb0001a, true, 0x3bb0001a},
    {"Ftp_user", "550 Permission denied\r\n", 0x3bb0000d, true, 0x3bb0000d},
    {"Ftp_user", "421 FTP server shutdown\r\n", 0x3bb0001c, true, 0x3bb0001c},

    {"Ftp_pass", "230 User logged in\r\n", 0},
    {"Ftp_pass", "202 superfluous\r\n", 0, true, 0},
    {"Ftp_pass", "331 again\r\n", 0, true, 0},
    {"Ftp_pass", "530 Login incorrect.\r\n", 0x3bb00007, true, 0x3bb0001a},
    {"Ftp_pass", "421 x\r\n", 0x3bb0000f, true, 0x3bb0000f},
    {"Ftp_pass", "530 FTP server shutdown\r\n", 0x3bb0001c, true, 0x3bb0001c},
    {"Ftp_pass", "550 x\r\n", 0x3bb00019, true, 0x3bb00019},

    {"Ftp_cwd", "250 ok\r\n", 0},
    {"Ftp_cwd", "200 ok\r\n", 0, true, 0},
    {"Ftp_cwd", "550 Failed\r\n", 0x3bb00009},
    {"Ftp_cwd", "550 No such file or directory\r\n", 0x3bb0000e},
    {"Ftp_cwd", "550 Permission denied\r\n", 0x3bb0000d},
    {"Ftp_cwd", "550 it exists\r\n", 0x3bb00016},
    {"Ftp_cwd", "501 what?\r\n", 0x3bb00015},
    {"Ftp_cwd", "501 no such file or directory\r\n", 0x3bb0000e},
    {"Ftp_cwd", "530 no\r\n", 0x3bb0001a, true, 0x3bb0001a},
    {"Ftp_cwd", "550-one\r\n550 two\r\n", 0x3bb00009, true, 0x3bb00019},

    {"Ftp_list", "150 here\r\n", 0},
    {"Ftp_list", "125 here\r\n", 0},
    {"Ftp_list", "226 after 150 lines\r\n", 0},
    {"Ftp_list", "226 after 125 lines\r\n", 0},
    {"Ftp_list", "226 done\r\n", 0, true, 0},
    {"Ftp_list", "425 no\r\n", 0x3bb00010, true, 0x3bb00010},
    {"Ftp_list", "550 Failed\r\n", 0x3bb00019, true, 0x3bb00019},
    {"Ftp_list", "550 x 150 y\r\n", 0x3bb00019},

    {"Ftp_quit", "221 bye\r\n", 0},
    {"Ftp_quit", "200 bye\r\n", 0, true, 0},
    {"Ftp_quit", "500 221 \r\n", kUnknownReply, true, kUnknownReply},

    {"Ftp_syst", "215 UNIX\r\n", 0},
    {"Ftp_syst", "502 no\r\n", kUnknownReply},

    {"FTP_pwd", "257 \"/\"\r\n", 0},
    {"FTP_pwd", "257-\"/\"\r\n257 end\r\n", 0},
    {"FTP_pwd", "200 is it 257?\r\n", 0},
    {"FTP_pwd", "250 ok\r\n", 0, true, 0},
    {"FTP_pwd", "550 Failed\r\n", 0x3bb00019, true, 0x3bb00019},
    {"FTP_pwd", "550 257\r\n", 0x3bb00019},

    {"Ftp_type", "200 ok\r\n", 0},
    {"Ftp_type", "501 no\r\n", 0x3bb00015},
    {"Ftp_type", "550 Failed\r\n", 0x3bb00019},

    {"Ftp_retr", "150 here\r\n", 0},
    {"Ftp_retr", "226 done\r\n", 0},
    {"Ftp_retr", "550 Failed\r\n", 0x3bb00019},
    {"Ftp_retr", "550 No such file or directory\r\n", 0x3bb0000e},
    {"Ftp_retr", "426 x\r\n", 0x3bb00011},

    {"Ftp_dele", "250 gone\r\n", 0},
    {"Ftp_dele", "550 Failed\r\n", 0x3bb0000c},
    {"Ftp_dele", "550 No such file or directory\r\n", 0x3bb0000e},
    {"Ftp_dele", "550 Permission denied\r\n", 0x3bb0000d},
    {"Ftp_dele", "450 busy\r\n", 0x3bb00012},

    {"Ftp_stor", "150 go on\r\n", 0},
    {"Ftp_stor", "125 go on\r\n", 0, true, 0},
    {"Ftp_stor", "226 x 150 y\r\n", 0, true, 0},
    {"Ftp_stor", "550 Failed\r\n", 0x3bb00019, true, 0x3bb00019},
    {"Ftp_stor", "552 full\r\n", 0x3bb00018, true, 0x3bb00018},
    {"Ftp_stor", "553 no\r\n", 0x3bb00017, true, 0x3bb00017},
    {"Ftp_stor", "452 no\r\n", 0x3bb00014, true, 0x3bb00014},

    {"Ftp_mkd", "257 \"new\" made\r\n", 0},
    {"Ftp_mkd", "200 made\r\n", 0, true, 0},
    {"Ftp_mkd", "250 257 \r\n", 0, true, 0},
    {"Ftp_mkd", "550 Failed\r\n", 0x3bb0000a, true, 0x3bb00019},
    {"Ftp_mkd", "550 Directory exists\r\n", 0x3bb00016, true, 0x3bb00016},
    {"Ftp_mkd", "521 there\r\n", 0x3bb00016, true, 0x3bb00016},
    {"Ftp_mkd", "550 Permission denied\r\n", 0x3bb0000d, true, 0x3bb0000d},

    {"Ftp_rmd", "250 gone\r\n", 0},
    {"Ftp_rmd", "200 gone\r\n", 0},
    {"Ftp_rmd", "226 gone\r\n", 0, true, 0},
    {"Ftp_rmd", "550 Failed\r\n", 0x3bb0000b, true, 0x3bb00019},
    {"Ftp_rmd", "550 No such file or directory\r\n", 0x3bb0000e, true, 0x3bb0000e},

    {"Ftp_abor", "226 ok\r\n", 0},
    {"Ftp_abor", "426 aborted\r\n", 0x3bb00011},
    {"Ftp_abor", "550 Failed\r\n", 0x3bb00019},

    {"Ftp_optsUtf8", "200 ok\r\n", 0},
    {"Ftp_optsUtf8", "501 no\r\n", 0x3bb00015},
    {"Ftp_optsUtf8", "550 Failed\r\n", 0x3bb00019},

    {"Ftp_pasv", "227 Entering Passive Mode (127,0,0,1,195,80).\r\n", 0},
    {"Ftp_pasv", "200 Entering Passive Mode (127,0,0,1,195,80).\r\n", 0, true, 0},
    {"Ftp_pasv", "227-one\r\n227 (127,0,0,1,195,80)\r\n", 0, true, 0},
    {"Ftp_pasv", "425 no\r\n", 0x3bb00010, true, 0x3bb00010},
    {"Ftp_pasv", "421 x\r\n", 0x3bb0000f, true, 0x3bb0000f},
    {"Ftp_pasv", "530 no\r\n", 0x3bb0001a, true, 0x3bb0001a},
    {"Ftp_pasv", "500 what?\r\n", kUnknownReply, true, kUnknownReply},
    {"Ftp_pasv", "550 Failed\r\n", 0x3bb00019, true, 0x3bb00019},

    {"Ftp_port", "200 ok\r\n", 0},
    {"Ftp_port", "501 no\r\n", 0x3bb00015},
    {"Ftp_port", "425 no\r\n", 0x3bb00010},
    {"Ftp_port", "550 Failed\r\n", 0x3bb00019},
    {"Ftp_port", "500 what?\r\n", kUnknownReply},
};

class ExchangeTest : public testing::TestWithParam<std::tuple<SExchange, EArrival>>,
                     protected CSession {};

INSTANTIATE_TEST_SUITE_P(Table, ExchangeTest,
                         testing::Combine(testing::ValuesIn(kExchanges),
                                          testing::Values(EArrival::Whole, EArrival::OneByte)),
                         [](const auto& tested) {
                             const SExchange& exchange = std::get<0>(tested.param);
                             return NameOf(exchange.pszCommand + std::string(" ") +
                                           exchange.pszReply) +
                                    ArrivalName(std::get<1>(tested.param));
                         });

TEST_P(ExchangeTest, IsAsListed) {
    const auto& [exchange, eArrival] = GetParam();
    const SCommand& command = CommandOf(exchange.pszCommand);
    const OneByte one(eArrival == EArrival::OneByte);
    ScriptedServer server{Expect(command.pszLine), Say(exchange.pszReply)};
    Connect(server);
    EXPECT_EQ(command.run(m_command), exchange.uResult);
    server.ExpectFinished();

    if (!exchange.bLogged) {
        EXPECT_EQ(RecordingLog::ErrorTexts(), Texts());
        return;
    }
    const SLogEntry error = OnlyError();
    EXPECT_EQ(error.uCode, exchange.uLogCode);
    EXPECT_EQ(error.strText, ReplyError(command.pszName, exchange.pszReply));
    EXPECT_EQ(error.strFile, "ftpcommand");
    EXPECT_EQ(error.strFunction, command.pszName);
    EXPECT_TRUE(error.bFiltered);
}

// ---- What holds for every command ----

class CommandTest : public testing::TestWithParam<std::tuple<SCommand, EArrival>>,
                    protected CSession {
protected:
    CommandTest() : m_oneByte(std::get<1>(GetParam()) == EArrival::OneByte) {}
    static const SCommand& Command() { return std::get<0>(GetParam()); }

private:
    OneByte m_oneByte;
};

INSTANTIATE_TEST_SUITE_P(All, CommandTest,
                         testing::Combine(testing::ValuesIn(Commands()),
                                          testing::Values(EArrival::Whole, EArrival::OneByte)),
                         [](const auto& tested) {
                             return std::string(std::get<0>(tested.param).pszName) +
                                    ArrivalName(std::get<1>(tested.param));
                         });

TEST_P(CommandTest, IsNotSentWithoutAConnection) {
    EXPECT_EQ(Command().run(m_command), kNotSent);
    EXPECT_TRUE(RecordingLog::All().empty()) << testing::PrintToString(RecordingLog::All());
}

TEST_P(CommandTest, IsNotSentAfterTheServerResetTheConnection) {
    ScriptedServer server{Expect("GO"), Reset()};
    Connect(server);
    m_command.SendCtrl("GO\r\n", 4);
    char byte = 0;
    EXPECT_LT(m_command.RecvCtrl(&byte, 1, 5), 0);  // the reset is here
    EXPECT_EQ(Command().run(m_command), kNotSent);
    EXPECT_TRUE(RecordingLog::All().empty()) << testing::PrintToString(RecordingLog::All());
    server.ExpectFinished();
}

TEST_P(CommandTest, ReportsAServerThatLeavesWithoutReply) {
    ScriptedServer server{Expect(Command().pszLine), Close()};
    Connect(server);
    EXPECT_EQ(Command().run(m_command), kNoReply);
    Texts expected{BlankLine()};
    if (Command().bTestsReplyText) expected.push_back(ReplyError(Command().pszName, ""));
    EXPECT_EQ(RecordingLog::ErrorTexts(), expected);
    for (const SLogEntry& error : RecordingLog::Errors())
        EXPECT_EQ(error.uCode, kNoReply);
    server.ExpectFinished();
}

TEST_P(CommandTest, WaitsForItsReplyAsTheSessionIsSet) {
    ScriptedServer server{Expect(Command().pszLine)};
    SetTimes(1, 3, 0);
    Connect(server);
    EXPECT_EQ(Command().run(m_command), kNoReply);
    EXPECT_EQ(OneByte::WaitsMs(), (std::vector<int>{1000, 0, 0, 0}));
    server.ExpectFinished();
}

TEST_P(CommandTest, TakesSilenceForServiceNotAvailableWithoutRetries) {
    ScriptedServer server{Expect(Command().pszLine), Close()};
    SetTimes(5, 0, 5);
    Connect(server);
    EXPECT_EQ(Command().run(m_command), 0x3bb0000fU);
    server.ExpectFinished();
}

// ---- Single commands ----

class SingleCommandTest : public ArrivalTest, protected CSession {};

QEL_BOTH_ARRIVALS(SingleCommandTest);

TEST_P(SingleCommandTest, AnyIsHeldBackAndLoggedWhenTheServerHasSpokenUnasked) {
    ScriptedServer server{Say("421 going\r\n"), Hold(), ExpectSilence()};
    Connect(server);
    server.WaitUntilHeld();
    ASSERT_TRUE(WaitReadable(m_command.m_CtrlSock.get_handle(), Millis(5000)));
    m_command.m_Options.bVerify = true;
    for (const SCommand& command : Commands()) {
        if (command.pszName == std::string("Ftp_port")) continue;  // not of a verified transfer
        SCOPED_TRACE(command.pszName);
        RecordingLog::Clear();
        EXPECT_EQ(command.run(m_command), 0x3bb00024U);
        const SLogEntry error = OnlyError();
        EXPECT_EQ(error.uCode, 0x3bb00024U);
        EXPECT_EQ(error.strText, std::string("[FTPCLIENT]") + command.pszName +
                                     " not sent: the server has said something unasked");
        EXPECT_EQ(error.strFile, "ftpcommand");
        EXPECT_EQ(error.strFunction, command.pszName);
    }
    server.Release();
    server.ExpectFinished();
}

TEST_P(SingleCommandTest, TypeIsAsciiForAnythingButZero) {
    ScriptedServer server{Expect("TYPE I"),  Say("200 ok\r\n"), Expect("TYPE A"),
                          Say("200 ok\r\n"), Expect("TYPE A"),  Say("200 ok\r\n")};
    Connect(server);
    EXPECT_EQ(m_command.Ftp_type(0), 0U);
    EXPECT_EQ(m_command.Ftp_type(1), 0U);
    EXPECT_EQ(m_command.Ftp_type(-5), 0U);
    server.ExpectFinished();
}

TEST_P(SingleCommandTest, ArgumentsAreSentByteForByte) {
    const std::string strName = "\t \xff\x01%s%n\"\xe4\xb8\xad ";
    ScriptedServer server{Expect("RETR " + strName), Say("150 ok\r\n"),
                          Expect("STOR " + strName), Say("150 ok\r\n"),
                          Expect("USER " + strName), Say("331 ok\r\n")};
    Connect(server);
    EXPECT_EQ(m_command.Ftp_retr(strName), 0U);
    EXPECT_EQ(m_command.Ftp_stor(strName), 0U);
    m_command.m_strUser = strName;
    EXPECT_EQ(m_command.Ftp_user(), 0U);
    server.ExpectFinished();
}

TEST_P(SingleCommandTest, EmptyArgumentsAreSent) {
    ScriptedServer server{Expect("CWD "),    Say("250 ok\r\n"), Expect("USER "),
                          Say("331 ok\r\n"), Expect("PASS "),   Say("230 ok\r\n")};
    Connect(server);
    m_command.m_strUser = "";
    m_command.m_Password = TQ_UTIL::CcipheString();
    EXPECT_EQ(m_command.Ftp_cwd(""), 0U);
    EXPECT_EQ(m_command.Ftp_user(), 0U);
    EXPECT_EQ(m_command.Ftp_pass(), 0U);
    server.ExpectFinished();
}

TEST_P(SingleCommandTest, ListTellsOfTheClosingLineInItsReply) {
    ScriptedServer server{Expect("LIST"), Say("150 here\r\n"),
                          Expect("LIST"), Say("226 150 lines sent\r\n"),
                          Expect("LIST"), Say("550 226 x\r\n")};
    Connect(server);
    bool bCompleteSeen = true;
    EXPECT_EQ(m_command.Ftp_list(bCompleteSeen), 0U);
    EXPECT_FALSE(bCompleteSeen);
    EXPECT_EQ(m_command.Ftp_list(bCompleteSeen), 0U);
    EXPECT_TRUE(bCompleteSeen);
    bCompleteSeen = false;
    EXPECT_EQ(m_command.Ftp_list(bCompleteSeen), 0x3bb00019U);
    EXPECT_TRUE(bCompleteSeen);
    server.ExpectFinished();
}

TEST_P(SingleCommandTest, TransfersTellWhenTheClosingReplyIsStillToCome) {
    ScriptedServer server{Expect("RETR a"),    Say("150 here\r\n"), Expect("STOR a"),
                          Say("150 here\r\n"), Expect("RETR a"),    Say("550 no\r\n")};
    Connect(server);
    for (const auto command : {&CFtpComand::Ftp_retr, &CFtpComand::Ftp_stor}) {
        bool bClosingSeen = true;
        EXPECT_EQ((m_command.*command)("a", &bClosingSeen), 0U);
        EXPECT_FALSE(bClosingSeen);
    }
    bool bClosingSeen = true;
    EXPECT_EQ(m_command.Ftp_retr("a", &bClosingSeen), 0x3bb00019U);
    EXPECT_FALSE(bClosingSeen);
    server.ExpectFinished();
}

// ---- Two replies in one piece ----

class TwoRepliesTest : public testing::Test, protected CSession {};

TEST_F(TwoRepliesTest, ListHasSeenTheClosingLine) {
    ScriptedServer server{Expect("LIST"), Say("150 here\r\n226 done\r\n")};
    Connect(server);
    bool bCompleteSeen = false;
    EXPECT_EQ(m_command.Ftp_list(bCompleteSeen), 0U);
    EXPECT_TRUE(bCompleteSeen);
    EXPECT_TRUE(RecordingLog::Errors().empty());
    server.ExpectFinished();
}

TEST_F(TwoRepliesTest, ListHasSeenAClosingReplyOfAnyCode) {
    ScriptedServer server{Expect("LIST"), Say("150 here\r\n250 done\r\n"), Expect("LIST"),
                          Say("125 here\r\n426 broken\r\n")};
    Connect(server);
    bool bCompleteSeen = false;
    EXPECT_EQ(m_command.Ftp_list(bCompleteSeen), 0U);
    EXPECT_TRUE(bCompleteSeen);
    bCompleteSeen = false;
    EXPECT_EQ(m_command.Ftp_list(bCompleteSeen), 0x3bb00011U);
    EXPECT_TRUE(bCompleteSeen);
    server.ExpectFinished();
}

TEST_F(TwoRepliesTest, TransfersHaveSeenTheClosingReply) {
    ScriptedServer server{Expect("RETR a"), Say("150 here\r\n226 done\r\n"), Expect("STOR a"),
                          Say("150 here\r\n226 done\r\n")};
    Connect(server);
    for (const auto command : {&CFtpComand::Ftp_retr, &CFtpComand::Ftp_stor}) {
        bool bClosingSeen = false;
        EXPECT_EQ((m_command.*command)("a", &bClosingSeen), 0U);
        EXPECT_TRUE(bClosingSeen);
    }
    EXPECT_TRUE(RecordingLog::Errors().empty());
    server.ExpectFinished();
}

TEST_F(TwoRepliesTest, AFailureThatCloses) {
    ScriptedServer server{Expect("RETR a"), Say("150 here\r\n426 broken\r\n")};
    Connect(server);
    bool bClosingSeen = false;
    EXPECT_EQ(m_command.Ftp_retr("a", &bClosingSeen), 0x3bb00011U);
    EXPECT_TRUE(bClosingSeen);
    server.ExpectFinished();
}

TEST_F(TwoRepliesTest, TransfersThatWereNotSentHaveSeenNothing) {
    for (const auto command : {&CFtpComand::Ftp_retr, &CFtpComand::Ftp_stor}) {
        bool bClosingSeen = true;
        EXPECT_EQ((m_command.*command)("a", &bClosingSeen), kNotSent);
        EXPECT_FALSE(bClosingSeen);
    }
    bool bCompleteSeen = true;
    EXPECT_EQ(m_command.Ftp_list(bCompleteSeen), kNotSent);
    EXPECT_FALSE(bCompleteSeen);
}

}  // namespace
