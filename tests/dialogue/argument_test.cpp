// Arguments that cannot go onto a command line: too long, or with a line end or a zero inside.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/dialogue/commandlist.h"
#include "tests/dialogue/sessiontest.h"

namespace {

using namespace RVN_FTP_CLIENT;
using namespace TestSupport;

constexpr unsigned int kNotSent = 0x3bb00002;
constexpr std::size_t kLongestLine = 519;  // with its line end

struct SArgumentCommand {
    const char* pszName;
    const char* pszVerb;     // with the blank
    const char* pszReply;    // one that it accepts
    bool bArgumentIsLogged;  // when the line could not be formatted
    unsigned int (*run)(CFtpComand&, const std::string&);
};

std::ostream& operator<<(std::ostream& stream, const SArgumentCommand& row) {
    return stream << row.pszName;
}

const SArgumentCommand kCommands[] = {
    {"Ftp_user", "USER ", "331 ok\r\n", false,
     [](CFtpComand& c, const std::string& a) {
         c.m_strUser = a;
         return c.Ftp_user();
     }},
    {"Ftp_pass", "PASS ", "230 ok\r\n", false,
     [](CFtpComand& c, const std::string& a) {
         c.m_Password = TQ_UTIL::CcipheString(a);
         return c.Ftp_pass();
     }},
    {"Ftp_cwd", "CWD ", "250 ok\r\n", false,
     [](CFtpComand& c, const std::string& a) { return c.Ftp_cwd(a); }},
    {"Ftp_retr", "RETR ", "150 ok\r\n", true,
     [](CFtpComand& c, const std::string& a) { return c.Ftp_retr(a); }},
    {"Ftp_dele", "DELE ", "250 ok\r\n", true,
     [](CFtpComand& c, const std::string& a) { return c.Ftp_dele(a); }},
    {"Ftp_stor", "STOR ", "150 ok\r\n", true,
     [](CFtpComand& c, const std::string& a) { return c.Ftp_stor(a); }},
    {"Ftp_mkd", "MKD ", "257 ok\r\n", true,
     [](CFtpComand& c, const std::string& a) { return c.Ftp_mkd(a); }},
    {"Ftp_rmd", "RMD ", "250 ok\r\n", true,
     [](CFtpComand& c, const std::string& a) { return c.Ftp_rmd(a); }},
};

class ArgumentTest : public testing::TestWithParam<SArgumentCommand>, protected CSession {
protected:
    // The argument is refused: nothing is sent and one error is logged.
    void ExpectRefused(const std::string& strArgument) {
        ScriptedServer server{ExpectSilence(Millis(50))};
        RecordingLog::Clear();
        Connect(server);
        EXPECT_EQ(GetParam().run(m_command, strArgument), kNotSent);
        server.ExpectFinished();

        ASSERT_EQ(RecordingLog::All().size(), 1U) << testing::PrintToString(RecordingLog::All());
        const SLogEntry error = OnlyError();
        EXPECT_EQ(error.uCode, 0xFFFFFFFFU);
        EXPECT_EQ(error.strText,
                  FormatError(GetParam().pszName,
                              GetParam().bArgumentIsLogged ? strArgument : std::string()));
        EXPECT_EQ(error.strFile, "ftpcommand");
        EXPECT_EQ(error.strFunction, GetParam().pszName);
        EXPECT_TRUE(error.bFiltered);
    }

    static std::size_t LongestArgument() {
        return kLongestLine - std::string(GetParam().pszVerb).size() - 2;
    }
};

INSTANTIATE_TEST_SUITE_P(Commands, ArgumentTest, testing::ValuesIn(kCommands),
                         [](const testing::TestParamInfo<SArgumentCommand>& tested) {
                             return std::string(tested.param.pszName);
                         });

TEST_P(ArgumentTest, IsSentWhenTheLineJustFits) {
    const std::string strArgument(LongestArgument(), 'x');
    const std::string strLine = GetParam().pszVerb + strArgument;
    ASSERT_EQ(strLine.size() + 2, kLongestLine);
    ScriptedServer server{Expect(strLine), Say(GetParam().pszReply)};
    Connect(server);
    EXPECT_EQ(GetParam().run(m_command, strArgument), 0U);
    EXPECT_TRUE(RecordingLog::Errors().empty());
    server.ExpectFinished();
}

TEST_P(ArgumentTest, IsRefusedWhenTheLineIsOneByteTooLong) {
    ExpectRefused(std::string(LongestArgument() + 1, 'x'));
}

TEST_P(ArgumentTest, IsRefusedWith515Bytes) {
    ExpectRefused(std::string(515, 'x'));
}

TEST_P(ArgumentTest, IsRefusedWhenItIsVeryLong) {
    ExpectRefused(std::string(100000, 'x'));
}

TEST_P(ArgumentTest, IsRefusedWithALineEndOrAZeroInside) {
    for (const std::string& strByte :
         {std::string("\r"), std::string("\n"), std::string("\r\n"), std::string(1, '\0')}) {
        for (const std::string& strArgument :
             {strByte + "DELE x", "a" + strByte + "DELE x", "a" + strByte, strByte}) {
            SCOPED_TRACE(testing::PrintToString(strArgument));
            ExpectRefused(strArgument);
        }
    }
}

TEST_P(ArgumentTest, DoesNotDisturbTheNextOneWhenRefused) {
    ScriptedServer server{Expect(GetParam().pszVerb + std::string("b")), Say(GetParam().pszReply)};
    Connect(server);
    EXPECT_EQ(GetParam().run(m_command, "a\r\n"), kNotSent);
    EXPECT_EQ(GetParam().run(m_command, "b"), 0U);
    server.ExpectFinished();
}

}  // namespace
