// Where the data connection goes: the replies to PASV, the PORT command, opening the data link.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/dialogue/descriptors.h"
#include "tests/dialogue/hooks.h"
#include "tests/dialogue/sessiontest.h"
#include "tests/support/arrivaltest.h"

namespace {

using namespace RVN_FTP_CLIENT;
using namespace TestSupport;

constexpr unsigned int kBadPasvReply = 0x40070019;
constexpr unsigned int kNotSent = 0x3bb00002;
constexpr unsigned int kConnectFailed = 0x3bb00001;
constexpr unsigned short kBefore = 4711;

// ---- Reading the port out of a reply ----

struct SPasvReply {
    const char* pszName;
    const char* pszHost;
    const char* pszReply;
    unsigned int uResult;
    unsigned short usPort;
};

std::ostream& operator<<(std::ostream& stream, const SPasvReply& row) {
    return stream << row.pszName;
}

constexpr SPasvReply kPasvReplies[] = {
    {"Plain", "10.0.0.1", "227 Entering Passive Mode (10,0,0,1,195,80)", 0, 50000},
    {"WithLineEnd", "10.0.0.1", "227 Entering Passive Mode (10,0,0,1,195,80).\r\n", 0, 50000},
    {"WithoutOpeningParenthesis", "10.0.0.1", "227 =10,0,0,1,195,80)", 0, 50000},
    {"SecondLine", "10.0.0.1", "227-(x)\r\n227 (10,0,0,1,195,80)\r\n", 0, 50000},
    {"SmallestNumbers", "10.0.0.1", "227 (10,0,0,1,0,1)", 0, 1},
    {"LargestNumbers", "10.0.0.1", "227 (10,0,0,1,255,255)", 0, 65535},
    {"HostAsName", "ftp.example", "227 (10,0,0,1,195,80)", kBadPasvReply, kBefore},
    {"OtherAddress", "10.0.0.1", "227 (10,0,0,2,195,80)", kBadPasvReply, kBefore},
    {"OtherAddressThatBeginsAlike", "10.0.0.12", "227 (10,0,0,1,195,80)", kBadPasvReply, kBefore},
    {"WithoutParentheses", "10.0.0.1", "227 10,0,0,1,195,80", kBadPasvReply, kBefore},
    {"ParenthesisOnlyBefore", "10.0.0.1", "227 (x) 10,0,0,1,195,80", kBadPasvReply, kBefore},
    {"CutOff", "10.0.0.1", "227 (10,0,0,1,195", kBadPasvReply, kBefore},
    {"WithDots", "10.0.0.1", "227 (10.0.0.1,195,80)", kBadPasvReply, kBefore},
    {"Empty", "10.0.0.1", "", kBadPasvReply, kBefore},
    {"OnePortNumber", "10.0.0.1", "227 (10,0,0,1,195)", 0, kBefore},
    {"NoPortNumber", "10.0.0.1", "227 (10,0,0,1)", 0, kBefore},
    {"CommaAndNoPortNumber", "10.0.0.1", "227 (10,0,0,1,)", 0, kBefore},
    {"EmptyHighNumber", "10.0.0.1", "227 (10,0,0,1,,80)", 0, 80},
    {"EmptyLowNumber", "10.0.0.1", "227 (10,0,0,1,195,)", 0, 195 * 256},
    {"MoreNumbers", "10.0.0.1", "227 (10,0,0,1,195,80,7,7)", 0, 50000},
    {"Blanks", "10.0.0.1", "227 (10,0,0,1, 195, 80 )", 0, 50000},
    {"HighNoNumber", "10.0.0.1", "227 (10,0,0,1,x,80)", 0, 80},
    {"LowNoNumber", "10.0.0.1", "227 (10,0,0,1,195,x)", 0, 195 * 256},
    {"HighOutOfRange", "10.0.0.1", "227 (10,0,0,1,300,80)", 0, (300 * 256 + 80) % 65536},
    {"HighFarOutOfRange", "10.0.0.1", "227 (10,0,0,1,99999999999999999999999,80)", 0,
     (0xFF00 + 80) % 65536},
    {"LowOutOfRange", "10.0.0.1", "227 (10,0,0,1,195,256)", 0, 196 * 256},
    {"LowLargest", "10.0.0.1", "227 (10,0,0,1,1,65535)", 0, (256 + 65535) % 65536},
    {"LowNotOf16Bits", "10.0.0.1", "227 (10,0,0,1,195,65536)", 0, 195 * 256},
    {"LowFarOutOfRange", "10.0.0.1", "227 (10,0,0,1,195,99999999999999999999999)", 0, 195 * 256},
    {"HighNegative", "10.0.0.1", "227 (10,0,0,1,-1,80)", 0, 0xFF00 + 80},
    {"LowNegative", "10.0.0.1", "227 (10,0,0,1,195,-1)", 0, 195 * 256},
    {"LowNegativeThatWouldWrapTo1", "10.0.0.1", "227 (10,0,0,1,195,-18446744073709551615)", 0,
     195 * 256},
    // The host is searched for as text, so that a longer number matches its beginning or end.
    {"HostInsideALongerFirstNumber", "10.0.0.1", "227 (110,0,0,1,195,80)", 0, 50000},
    {"HostInsideALongerLastNumber", "10.0.0.1", "227 (10,0,0,12,195,80)", 0, 195},
};

void ExpectBadReplyLogged(const std::string& strReply) {
    const SLogEntry error = OnlyError();
    EXPECT_EQ(error.uCode, kBadPasvReply);
    EXPECT_EQ(error.strText, "[FTPCLIENT]GetPasvPort error:" + strReply);
    EXPECT_EQ(error.strFile, "ftpcommand");
    EXPECT_EQ(error.strFunction, "GetPasvPort");
    EXPECT_TRUE(error.bFiltered);
}

class PasvReplyTest : public testing::TestWithParam<SPasvReply>, protected CSession {};

INSTANTIATE_TEST_SUITE_P(Table, PasvReplyTest, testing::ValuesIn(kPasvReplies),
                         [](const testing::TestParamInfo<SPasvReply>& tested) {
                             return std::string(tested.param.pszName);
                         });

TEST_P(PasvReplyTest, IsAsListed) {
    m_command.m_strServer = GetParam().pszHost;
    unsigned short usPort = kBefore;
    EXPECT_EQ(m_command.GetPasvPort(GetParam().pszReply, usPort), GetParam().uResult);
    EXPECT_EQ(usPort, GetParam().usPort);
    if (GetParam().uResult == 0) {
        EXPECT_TRUE(RecordingLog::All().empty());
        return;
    }
    ExpectBadReplyLogged(GetParam().pszReply);
}

class AnyAddressReplyTest : public testing::Test, protected CSession {};

TEST_F(AnyAddressReplyTest, WithoutSixNumbersIsLoggedAsAnyBadReply) {
    m_command.m_strServer = "10.0.0.1";
    m_command.m_Options.bAnyDataAddress = true;
    for (const char* pszReply : {"227 (10,0,0,1,195)", "227 Entering Passive Mode"}) {
        SCOPED_TRACE(pszReply);
        RecordingLog::Clear();
        unsigned short usPort = kBefore;
        EXPECT_EQ(m_command.GetPasvPort(pszReply, usPort), kBadPasvReply);
        EXPECT_EQ(usPort, kBefore);
        ExpectBadReplyLogged(pszReply);
    }
}

// ---- PASV ----

class PasvTest : public ArrivalTest, protected CSession {
protected:
    unsigned int Pasv(const std::string& strReply) {
        ScriptedServer server{Expect("PASV"), Say(strReply)};
        Connect(server);
        m_usPort = kBefore;
        const unsigned int uResult = m_command.Ftp_pasv(m_usPort);
        server.ExpectFinished();
        return uResult;
    }

    unsigned short m_usPort = kBefore;
};

QEL_BOTH_ARRIVALS(PasvTest);

TEST_P(PasvTest, TakesThePortOfTheReply) {
    EXPECT_EQ(Pasv("227 Entering Passive Mode (127,0,0,1,195,80).\r\n"), 0U);
    EXPECT_EQ(m_usPort, 50000);
    EXPECT_TRUE(RecordingLog::Errors().empty());
}

TEST_P(PasvTest, TakesThePortOfAnyPositiveReplyAndLogsIt) {
    const std::string strReply = "200 Passive Mode (127,0,0,1,195,80).\r\n";
    EXPECT_EQ(Pasv(strReply), 0U);
    EXPECT_EQ(m_usPort, 50000);
    const SLogEntry error = OnlyError();
    EXPECT_EQ(error.uCode, 0U);
    EXPECT_EQ(error.strText, "[FTPCLIENT]Ftp_pasv getRetCode error,the real retCode:" + strReply);
}

TEST_P(PasvTest, TakesNoPortOfAFailureReply) {
    EXPECT_EQ(Pasv("425 (127,0,0,1,195,80)\r\n"), 0x3bb00010U);
    EXPECT_EQ(m_usPort, kBefore);
}

TEST_P(PasvTest, ReportsAReplyWithoutTheHost) {
    EXPECT_EQ(Pasv("227 Entering Passive Mode (10,0,0,2,195,80).\r\n"), kBadPasvReply);
    EXPECT_EQ(m_usPort, kBefore);
    EXPECT_EQ(OnlyError().strText,
              "[FTPCLIENT]GetPasvPort error:227 Entering Passive Mode (10,0,0,2,195,80).\r\n");
}

TEST_P(PasvTest, LogsBothWhenNeitherCodeNorTextIsRight) {
    EXPECT_EQ(Pasv("200 ok\r\n"), kBadPasvReply);
    EXPECT_EQ(RecordingLog::ErrorTexts(),
              (Texts{"[FTPCLIENT]Ftp_pasv getRetCode error,the real retCode:200 ok\r\n",
                     "[FTPCLIENT]GetPasvPort error:200 ok\r\n"}));
}

// ---- PORT ----

class PortTest : public ArrivalTest, protected CSession {};

QEL_BOTH_ARRIVALS(PortTest);

TEST_P(PortTest, SendsAddressAndPortAsSixNumbers) {
    ScriptedServer server{Expect("PORT 10,0,0,1,195,80"),
                          Say("200 ok\r\n"),
                          Expect("PORT 255,255,255,255,255,255"),
                          Say("200 ok\r\n"),
                          Expect("PORT 0,0,0,0,0,0"),
                          Say("200 ok\r\n"),
                          Expect("PORT 1,2,3,4,5,6"),
                          Say("200 ok\r\n")};
    Connect(server);
    EXPECT_EQ(m_command.Ftp_port(0x0A000001, 50000), 0U);
    EXPECT_EQ(m_command.Ftp_port(0xFFFFFFFF, 65535), 0U);
    EXPECT_EQ(m_command.Ftp_port(0, 0), 0U);
    EXPECT_EQ(m_command.Ftp_port(0x01020304, 0x0506), 0U);
    EXPECT_TRUE(RecordingLog::Errors().empty());
    server.ExpectFinished();
}

TEST_P(PortTest, ServesAnActiveTransfer) {
    ScriptedServer server{Accept(),      ExpectPort(),       Say("200 ok\r\n"), Expect("RETR a"),
                          ConnectData(), Say("150 ok\r\n"),  Taken(),           SendData("active"),
                          CloseData(),   Say("226 done\r\n")};
    Connect(server);
    m_command.m_bPasv = 0;
    unsigned short usPort = 0;
    unsigned int uIp = 0;
    ASSERT_EQ(m_command.ListenData(usPort, uIp), 0);
    EXPECT_EQ(m_command.Ftp_port(uIp, usPort), 0U);
    EXPECT_EQ(m_command.Ftp_retr("a"), 0U);
    ASSERT_EQ(m_command.AcceptData(5), 0);
    std::string strData;
    char bytes[16];
    for (int nGot = 0; (nGot = m_command.RecvData(bytes, 16, 5)) > 0;)
        strData.append(bytes, static_cast<std::size_t>(nGot));
    EXPECT_EQ(strData, "active");
    EXPECT_EQ(m_command.CloseDataSock(), 0);
    EXPECT_EQ(m_command.GetRetCode(), 0U);
    server.ExpectFinished();
}

// ---- The data link ----

class DataLinkTest : public ArrivalTest, protected CSession {
protected:
    ~DataLinkTest() override { Hooks::OnListen(nullptr); }

    unsigned int Create(const SStep& answer) {
        ScriptedServer server{Expect("PASV"), answer};
        Connect(server);
        const unsigned int uResult = m_command.CreatePasvDataLink();
        server.ExpectFinished();
        return uResult;
    }

    // The one error, up to the port's number.
    static void ExpectLinkError(const std::string& strTextUpToPort) {
        const SLogEntry error = OnlyError();
        EXPECT_EQ(error.uCode, 0xFFFFFFFFU);  // what the transport returned: -1
        EXPECT_EQ(error.strText.substr(0, strTextUpToPort.size()), strTextUpToPort);
        EXPECT_EQ(error.strFile, "ftpcommand");
        EXPECT_EQ(error.strFunction, "CreatePasvDataLink");
        EXPECT_TRUE(error.bFiltered);
    }

    static constexpr const char* kPassiveError = "[FTPCLIENT]CreateDataLink errorIP:0Port:";
};

QEL_BOTH_ARRIVALS(DataLinkTest);

TEST_P(DataLinkTest, IsConnectedToTheAnnouncedPort) {
    ScriptedServer server{Expect("PASV"), SayPassive(), SendData("data"), CloseData()};
    Connect(server);
    EXPECT_EQ(m_command.CreatePasvDataLink(), 0U);
    char bytes[5] = "";
    EXPECT_EQ(m_command.RecvData(bytes, 4, 5), 4);
    EXPECT_STREQ(bytes, "data");
    EXPECT_TRUE(RecordingLog::Errors().empty());
    server.ExpectFinished();
}

TEST_P(DataLinkTest, FailsWithOneErrorWhenTheServerRefusesIt) {
    const std::size_t nBefore = OpenDescriptors();
    EXPECT_EQ(Create(SayPassiveDead()), kConnectFailed);
    ExpectLinkError(kPassiveError);
    EXPECT_EQ(RecordingLog::ErrorTexts().size(), 1U);
    m_command.CloseAll();
    EXPECT_EQ(OpenDescriptors(), nBefore);
}

TEST_P(DataLinkTest, NamesThePortThatItCouldNotConnectTo) {
    const DeadPort dead;
    const std::string strNumbers =
        std::to_string(dead.Port() / 256) + "," + std::to_string(dead.Port() % 256);
    EXPECT_EQ(Create(Say("227 (127,0,0,1," + strNumbers + ")\r\n")), kConnectFailed);
    EXPECT_EQ(OnlyError().strText, kPassiveError + std::to_string(dead.Port()));
}

TEST_P(DataLinkTest, IsGivenUpAfterFiveSeconds) {
    SetTimes(8, 2, 8);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(Create(SayPassiveSilent()), kConnectFailed);
    EXPECT_GE(MsSince(start), 5000);
    EXPECT_EQ(OneByte::WaitsMs().back(), 5000);
    ExpectLinkError(kPassiveError);
}

TEST_P(DataLinkTest, FailsWhenTheReplyHoldsNoPort) {
    EXPECT_EQ(Create(Say("227 (127,0,0,1,195)\r\n")), kConnectFailed);
    EXPECT_EQ(OnlyError().strText, std::string(kPassiveError) + "0");
}

TEST_P(DataLinkTest, ReportsAFailedPasvAsItIs) {
    EXPECT_EQ(Create(Say("425 no\r\n")), 0x3bb00010U);
    EXPECT_EQ(RecordingLog::ErrorTexts(),
              Texts{"[FTPCLIENT]Ftp_pasv getRetCode error,the real retCode:425 no\r\n"});
    RecordingLog::Clear();
    EXPECT_EQ(Create(Say("227 (10,0,0,2,195,80)\r\n")), kBadPasvReply);
    EXPECT_EQ(RecordingLog::ErrorTexts(),
              Texts{"[FTPCLIENT]GetPasvPort error:227 (10,0,0,2,195,80)\r\n"});
    RecordingLog::Clear();
    EXPECT_EQ(Create(Close()), 0x3bb00003U);
    EXPECT_EQ(RecordingLog::ErrorTexts(),
              (Texts{BlankLine(), "[FTPCLIENT]Ftp_pasv getRetCode error,the real retCode:"}));
    EXPECT_EQ(m_command.m_DataSock.get_handle(), ACE_INVALID_HANDLE);
}

TEST_P(DataLinkTest, ReportsAPasvThatWasNotSentWithoutLog) {
    EXPECT_EQ(m_command.CreatePasvDataLink(), kNotSent);
    EXPECT_TRUE(RecordingLog::All().empty());
}

TEST_P(DataLinkTest, AsksForAPortAlsoInActiveModeAndThenAccepts) {
    CHandle peer;
    ScriptedServer server{Expect("PASV"), Say("227 (127,0,0,1,195,80)\r\n")};
    Connect(server);
    m_command.m_bPasv = 0;
    Hooks::OnListen([&](unsigned short usPort) { peer = ConnectLoopback(usPort); });
    EXPECT_EQ(m_command.CreatePasvDataLink(), 0U);
    EXPECT_NE(m_command.m_DataSock.get_handle(), ACE_INVALID_HANDLE);
    EXPECT_TRUE(peer.IsOpen());
    server.ExpectFinished();
}

TEST_P(DataLinkTest, NamesItsOwnAddressInActiveModeWhenNobodyConnects) {
    unsigned short usListening = 0;
    ScriptedServer server{Expect("PASV"), Say("227 (127,0,0,1,195,80)\r\n")};
    Connect(server);
    m_command.m_bPasv = 0;
    Hooks::OnListen([&](unsigned short usPort) { usListening = usPort; });
    const Clock::time_point start = Clock::now();
    SetTimes(8, 2, 8);
    EXPECT_EQ(m_command.CreatePasvDataLink(), kConnectFailed);
    EXPECT_GE(MsSince(start), 5000);
    EXPECT_EQ(OneByte::WaitsMs().back(), 5000);
    ExpectLinkError("[FTPCLIENT]CreateDataLink errorIP:2130706433Port:" +
                    std::to_string(usListening));
    server.ExpectFinished();
}

// ---- ABOR, which ends a data connection ----

class AbortTest : public ArrivalTest, protected CSession {};

QEL_BOTH_ARRIVALS(AbortTest);

TEST_P(AbortTest, ClosesTheDataConnectionAfterSendingAndBeforeReading) {
    ScriptedServer server{Expect("PASV"), SayPassive(),       SendData("data"),
                          Expect("ABOR"), ExpectDataClosed(), Say("226 aborted\r\n")};
    Connect(server);
    ASSERT_EQ(m_command.CreatePasvDataLink(), 0U);
    bool bSentBefore = false;
    Hooks::OnClose(m_command.m_DataSock.get_handle(), [&] {
        for (int i = 0; i < 1000 && server.Commands().back() != "ABOR\r\n"; ++i)
            std::this_thread::sleep_for(Millis(10));
        bSentBefore = server.Commands().back() == "ABOR\r\n";
    });
    EXPECT_EQ(m_command.Ftp_abor(), 0U);
    Hooks::OnClose(-1, nullptr);
    EXPECT_TRUE(bSentBefore);
    EXPECT_EQ(m_command.m_DataSock.get_handle(), ACE_INVALID_HANDLE);
    server.ExpectFinished();
}

TEST_P(AbortTest, GoesOnWhenTheDataConnectionDoesNotClose) {
    ScriptedServer server{Expect("ABOR"), Say("226 aborted\r\n")};
    Connect(server);
    m_command.m_DataSock.set_handle(9999);  // no descriptor of this process
    EXPECT_EQ(m_command.Ftp_abor(), 0U);
    EXPECT_EQ(RecordingLog::ErrorTexts(),
              Texts{"[FTPCLIENT]CloseDataSock m_DataSock close failure!"});
    server.ExpectFinished();
}

}  // namespace
