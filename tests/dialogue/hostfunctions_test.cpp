// The commands on a host whose bounded functions leave something behind when they fail.

#include "tests/dialogue/hostfunctions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/dialogue/commandlist.h"
#include "tests/dialogue/sessiontest.h"
#include "tests/support/arrivaltest.h"

namespace {

using namespace RVN_FTP_CLIENT;
using namespace TestSupport;

constexpr unsigned int kNotSent = 0x3bb00002;
constexpr std::size_t kLongestText = 519;  // what fits into a command buffer

class HostTest : public ArrivalTest, protected CSession {
protected:
    HostTest() { Host::Restore(); }
    ~HostTest() override { Host::Restore(); }

    static void ExpectFormatError(const std::string& strName, const std::string& strArgument = "") {
        const SLogEntry error = OnlyError();
        EXPECT_EQ(error.uCode, 0xFFFFFFFFU);
        EXPECT_EQ(error.strText, FormatError(strName, strArgument));
        EXPECT_EQ(error.strFunction, strName);
    }
};

QEL_BOTH_ARRIVALS(HostTest);

// ---- Lines that do not fit ----

struct SLongLine {
    const char* pszName;
    const char* pszVerb;
    const char* pszReply;
    unsigned int uResult;
    bool bArgumentIsLogged;
    unsigned int (*run)(CFtpComand&, const std::string&);
};

constexpr SLongLine kLongLines[] = {
    {"Ftp_cwd", "CWD ", "250 ok\r\n", 0, false,
     [](CFtpComand& c, const std::string& a) { return c.Ftp_cwd(a); }},
    {"Ftp_retr", "RETR ", "550 Failed\r\n", 0x3bb00019, true,
     [](CFtpComand& c, const std::string& a) { return c.Ftp_retr(a); }},
    {"Ftp_dele", "DELE ", "550 Failed\r\n", 0x3bb0000c, true,
     [](CFtpComand& c, const std::string& a) { return c.Ftp_dele(a); }},
    {"Ftp_stor", "STOR ", "150 ok\r\n", 0, true,
     [](CFtpComand& c, const std::string& a) { return c.Ftp_stor(a); }},
    {"Ftp_mkd", "MKD ", "257 ok\r\n", 0, true,
     [](CFtpComand& c, const std::string& a) { return c.Ftp_mkd(a); }},
    {"Ftp_rmd", "RMD ", "250 ok\r\n", 0, true,
     [](CFtpComand& c, const std::string& a) { return c.Ftp_rmd(a); }},
};

TEST_P(HostTest, ATruncatedLineIsSentAsItStands) {
    const std::string strArgument = "/" + std::string(600, 'x');
    for (const SLongLine& line : kLongLines) {
        SCOPED_TRACE(line.pszName);
        RecordingLog::Clear();
        const std::string strSent = (line.pszVerb + strArgument).substr(0, kLongestText);
        ScriptedServer server{ExpectBytes(strSent), Say(line.pszReply)};
        Connect(server);
        EXPECT_EQ(line.run(m_command, strArgument), line.uResult);
        ExpectFormatError(line.pszName, line.bArgumentIsLogged ? strArgument : "");
        server.ExpectFinished();
    }
}

TEST_P(HostTest, ATruncatedLoginIsNotSent) {
    ScriptedServer server{ExpectSilence()};
    Connect(server);
    m_command.m_strUser = std::string(515, 'u');
    EXPECT_EQ(m_command.Ftp_user(), kNotSent);
    ExpectFormatError("Ftp_user");
    RecordingLog::Clear();
    m_command.m_Password = TQ_UTIL::CcipheString(std::string(515, 'p'));
    EXPECT_EQ(m_command.Ftp_pass(), kNotSent);
    ExpectFormatError("Ftp_pass");
    server.ExpectFinished();
}

TEST_P(HostTest, ALineWithALineEndInItsArgumentIsNotSent) {
    ScriptedServer server{ExpectSilence()};
    Connect(server);
    for (const SLongLine& line : kLongLines) {
        SCOPED_TRACE(line.pszName);
        for (const std::string& strArgument :
             {std::string("a\r\nDELE b"), std::string(600, 'x') + "\r\nDELE b"}) {
            RecordingLog::Clear();
            EXPECT_EQ(line.run(m_command, strArgument), kNotSent);
            ExpectFormatError(line.pszName, line.bArgumentIsLogged ? strArgument : "");
        }
    }
    server.ExpectFinished();
}

TEST_P(HostTest, TypeSendsWhatFormattingLeft) {
    ScriptedServer server{ExpectBytes("TYPE"), Say("200 ok\r\n"), ExpectSilence()};
    Connect(server);
    Host::FailToFormat("TYPE");
    EXPECT_EQ(m_command.Ftp_type(0), 0U);
    ExpectFormatError("Ftp_type");
    RecordingLog::Clear();
    Host::FailToFormat("");
    EXPECT_EQ(m_command.Ftp_type(0), kNotSent);
    ExpectFormatError("Ftp_type");
    server.ExpectFinished();
}

TEST_P(HostTest, PortSendsWhatFormattingLeft) {
    ScriptedServer server{ExpectBytes("PORT 1,2"), Say("501 no\r\n"), ExpectSilence()};
    Connect(server);
    Host::FailToFormat("PORT 1,2");
    EXPECT_EQ(m_command.Ftp_port(1, 2), 0x3bb00015U);
    ExpectFormatError("Ftp_port");
    EXPECT_EQ(OnlyError().strFile, "ftpcommand");
    RecordingLog::Clear();
    Host::FailToFormat("");
    EXPECT_EQ(m_command.Ftp_port(1, 2), kNotSent);
    ExpectFormatError("Ftp_port");
    server.ExpectFinished();
}

// ---- The bounds of the lines ----

struct SLineBuffer {
    const char* pszName;
    std::size_t nSize;
};

constexpr SLineBuffer kLineBuffers[] = {
    {"Ftp_user", 520}, {"Ftp_pass", 520}, {"Ftp_cwd", 520},  {"Ftp_mkd", 520}, {"Ftp_rmd", 520},
    {"Ftp_dele", 520}, {"Ftp_retr", 520}, {"Ftp_stor", 520}, {"Ftp_type", 20}, {"FTP_pwd", 512},
    {"Ftp_syst", 512}, {"Ftp_pasv", 20},  {"Ftp_port", 60},
};

TEST_P(HostTest, EachLineIsBoundedByItsBufferAndLeavesRoomForTheZero) {
    for (const SLineBuffer& buffer : kLineBuffers) {
        SCOPED_TRACE(buffer.pszName);
        Host::Restore();
        const SCommand& command = CommandOf(buffer.pszName);
        EXPECT_EQ(command.run(m_command), kNotSent);  // there is no connection
        const std::vector<Host::SBound> bounds = Host::Bounds();
        ASSERT_EQ(bounds.size(), 1U);
        EXPECT_EQ(bounds[0].strText, std::string(command.pszLine) + "\r\n");
        EXPECT_EQ(bounds[0].nSize, buffer.nSize);
        EXPECT_EQ(bounds[0].nCount, buffer.nSize - 1);
    }
}

// ---- The password's buffer ----

class WipeTest : public HostTest {
protected:
    // The one time that a buffer which held the password's line was filled.
    static void ExpectWiped(const std::string& strLine) {
        int nFound = 0;
        for (const Host::SFill& fill : Host::Fills()) {
            if (fill.strBefore.substr(0, strLine.size()) != strLine) continue;
            ++nFound;
            EXPECT_EQ(fill.nByte, '*');
            EXPECT_EQ(fill.nSize, 520U);
            EXPECT_EQ(fill.nCount, 520U);
        }
        EXPECT_EQ(nFound, 1);
    }
};

QEL_BOTH_ARRIVALS(WipeTest);

TEST_P(WipeTest, CoversTheLineAfterSending) {
    ScriptedServer server{Expect("PASS tea"), Say("230 in\r\n")};
    Connect(server);
    EXPECT_EQ(m_command.Ftp_pass(), 0U);
    server.ExpectFinished();
    ExpectWiped("PASS tea\r\n");
}

TEST_P(WipeTest, CoversALineThatCouldNotBeSent) {
    EXPECT_EQ(m_command.Ftp_pass(), kNotSent);
    ExpectWiped("PASS tea\r\n");
}

TEST_P(WipeTest, CoversALineThatIsHeldBack) {
    m_command.m_Options.bVerify = true;
    ScriptedServer server{Say("421 going\r\n"), Hold()};
    Connect(server);
    server.WaitUntilHeld();
    ASSERT_TRUE(WaitReadable(m_command.m_CtrlSock.get_handle(), Millis(5000)));
    EXPECT_EQ(m_command.Ftp_pass(), 0x3bb00024U);
    server.Release();
    server.ExpectFinished();
    ExpectWiped("PASS tea\r\n");
}

TEST_P(WipeTest, CoversALineThatWasTruncated) {
    m_command.m_Password = TQ_UTIL::CcipheString(std::string(515, 'p'));
    EXPECT_EQ(m_command.Ftp_pass(), kNotSent);
    ExpectWiped("PASS ppp");
}

TEST_P(HostTest, APasswordThatCannotBeDecipheredIsSentAsEmpty) {
    ScriptedServer server{Expect("PASS "), Say("530 no\r\n")};
    Connect(server);
    Host::FailToDecipher();
    EXPECT_EQ(m_command.Ftp_pass(), 0x3bb00007U);
    server.ExpectFinished();
}

// ---- The directory's copy ----

TEST_P(HostTest, PwdReportsACopyThatFailsAndGoesOn) {
    ScriptedServer server{Expect("PWD"), Say("257 \"/home\"\r\n"), Expect("PWD"),
                          Say("257 \"/home\"\r\n")};
    Connect(server);
    for (const std::string& strLeft : {std::string("/ho"), std::string()}) {
        RecordingLog::Clear();
        Host::FailToCopyPaths(34, strLeft);
        std::string strPath = "before";
        EXPECT_EQ(m_command.FTP_pwd(strPath), 0U);
        EXPECT_EQ(strPath, strLeft);
        const SLogEntry error = OnlyError();
        EXPECT_EQ(error.uCode, 34U);
        EXPECT_EQ(error.strText, "[FTPCLIENT]FTP_pwd:strncpy_s failed");
        EXPECT_EQ(error.strFile, "ftpcommand");
        EXPECT_EQ(error.strFunction, "FTP_pwd");
        EXPECT_TRUE(error.bFiltered);
    }
    server.ExpectFinished();
}

// ---- The local encoding ----

TEST_P(HostTest, DirectoriesAndFilesToDeleteAreSentInTheLocalEncoding) {
    ScriptedServer server{Expect("CWD local:a"), Say("250 ok\r\n"),     Expect("DELE local:a"),
                          Say("250 ok\r\n"),     Expect("MKD local:a"), Say("257 ok\r\n"),
                          Expect("RMD local:a"), Say("250 ok\r\n")};
    Connect(server);
    Host::PutInFrontOfLocalText("local:");
    EXPECT_EQ(m_command.Ftp_cwd("a"), 0U);
    EXPECT_EQ(m_command.Ftp_dele("a"), 0U);
    EXPECT_EQ(m_command.Ftp_mkd("a"), 0U);
    EXPECT_EQ(m_command.Ftp_rmd("a"), 0U);
    server.ExpectFinished();
}

TEST_P(HostTest, OtherArgumentsAreSentAsGiven) {
    ScriptedServer server{Expect("USER bob"), Say("331 ok\r\n"), Expect("PASS tea"),
                          Say("230 ok\r\n"),  Expect("RETR a"),  Say("150 ok\r\n"),
                          Expect("STOR a"),   Say("150 ok\r\n")};
    Connect(server);
    Host::PutInFrontOfLocalText("local:");
    EXPECT_EQ(m_command.Ftp_user(), 0U);
    EXPECT_EQ(m_command.Ftp_pass(), 0U);
    EXPECT_EQ(m_command.Ftp_retr("a"), 0U);
    EXPECT_EQ(m_command.Ftp_stor("a"), 0U);
    server.ExpectFinished();
}

TEST_P(HostTest, LogsNameTheArgumentAsGiven) {
    const std::string strArgument(600, 'x');
    Host::PutInFrontOfLocalText("local:");
    m_command.Ftp_dele(strArgument);
    ExpectFormatError("Ftp_dele", strArgument);
}

TEST_P(HostTest, AnEncodingThatBringsALineEndIsRefused) {
    ScriptedServer server{ExpectSilence()};
    Connect(server);
    Host::PutInFrontOfLocalText("a\r\nDELE ");
    EXPECT_EQ(m_command.Ftp_cwd("b"), kNotSent);
    ExpectFormatError("Ftp_cwd");
    server.ExpectFinished();
}

}  // namespace
