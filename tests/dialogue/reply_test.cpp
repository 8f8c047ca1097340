// How a reply is read: pieces, line groups, the final line, the result and the logs.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/dialogue/sessiontest.h"
#include "tests/support/arrivaltest.h"

namespace {

using namespace RVN_FTP_CLIENT;
using namespace TestSupport;

constexpr unsigned int kNoReply = 0x3bb00003;
constexpr unsigned int kUnknownReply = 0x4007001a;

std::string InfoText(const std::string& strPending, int nTimes) {
    return "[FTPCLIENT]GetRetCode msg begin:" + strPending + " :end by using " +
           std::to_string(nTimes) + " times\n";
}

// ---- Replies that mean the same however they arrive ----

class ReplyTest : public ArrivalTest, protected CSession {
protected:
    // Reads one reply from a server that says these pieces one after the other.
    unsigned int Read(const std::vector<std::string>& pieces, int nTries = 2) {
        std::vector<SStep> script;
        for (const std::string& strPiece : pieces) {
            script.push_back(Say(strPiece));
            script.push_back(Taken());
        }
        ScriptedServer server(script);
        Connect(server);
        const unsigned int uResult = m_command.GetRetCode(m_strReply, nTries);
        server.ExpectFinished();
        return uResult;
    }

    std::string m_strReply;
};

QEL_BOTH_ARRIVALS(ReplyTest);

TEST_P(ReplyTest, ReadsTwoLinesOfOnePiece) {
    EXPECT_EQ(Read({"220-Welcome\r\n220 Ready\r\n"}), 0U);
    EXPECT_EQ(m_strReply, "220-Welcome\r\n220 Ready\r\n");
    EXPECT_TRUE(RecordingLog::Errors().empty());
}

TEST_P(ReplyTest, ReadsTwoLinesOfTwoPieces) {
    EXPECT_EQ(Read({"220-Welcome\r\n", "220 Ready\r\n"}), 0U);
    EXPECT_EQ(m_strReply, "220-Welcome\r\n220 Ready\r\n");
}

TEST_P(ReplyTest, WaitsForTheLineEndOfAFinalLine) {
    Clock::time_point lineEnd;
    ScriptedServer server{Say("530 Login incorrect."), Wait(Millis(400)),
                          Do([&] { lineEnd = Clock::now(); }), Say("\r\n")};
    Connect(server);
    EXPECT_EQ(m_command.GetRetCode(m_strReply, 2), 0x3bb0001aU);
    const Clock::time_point returned = Clock::now();
    server.ExpectFinished();
    EXPECT_TRUE(returned >= lineEnd) << "it did not wait for the line end";
    EXPECT_EQ(m_strReply, "530 Login incorrect.\r\n");
}

TEST_P(ReplyTest, AcceptsALineFeedAloneAsLineEnd) {
    EXPECT_EQ(Read({"220 Ready\n"}), 0U);
    EXPECT_EQ(m_strReply, "220 Ready\n");
}

TEST_P(ReplyTest, TakesALoneLineFeedAsTheEndOfAPendingLine) {
    EXPECT_EQ(Read({"220 Ready\r", "\n"}), 0U);
    EXPECT_EQ(m_strReply, "220 Ready\r\n");
}

TEST_P(ReplyTest, TakesACarriageReturnAsTheStartOfALine) {
    EXPECT_EQ(Read({"\r\n", "220 Ready\r\n"}), 0U);
    EXPECT_EQ(m_strReply, "\r\n220 Ready\r\n");
}

TEST_P(ReplyTest, ReadsOnAfterLinesThatCannotBeFinal) {
    const std::string strLines = "220-\r\nok\r\n22\n\t\n220\r\n2200 x\r\n";
    EXPECT_EQ(Read({strLines, "221 \r\n"}), 0U);
    EXPECT_EQ(m_strReply, strLines + "221 \r\n");
}

TEST_P(ReplyTest, EndsAtAContinuationLineWithABlankInFourthPlace) {
    EXPECT_EQ(Read({"220-Welcome\r\n    to this server\r\n"}), kUnknownReply);
    EXPECT_EQ(m_strReply, "220-Welcome\r\n    to this server\r\n");
}

TEST_P(ReplyTest, DoesNotMindAnotherCodeOnTheFinalLine) {
    EXPECT_EQ(Read({"220-Welcome\r\n530 No.\r\n"}), 0x3bb0001aU);
}

TEST_P(ReplyTest, ReadsLongLines) {
    const std::string strText = "220 " + std::string(3000, 'x') + "\r\n";
    EXPECT_EQ(Read({strText}), 0U);
    EXPECT_EQ(m_strReply, strText);
}

TEST_P(ReplyTest, AppendsToTheTextItIsGiven) {
    m_strReply = "before";
    EXPECT_EQ(Read({"220 a\r\n"}), 0U);
    EXPECT_EQ(m_strReply, "before220 a\r\n");
}

TEST_P(ReplyTest, LeavesTheNextReplyUnread) {
    ScriptedServer server{Say("220 a\r\n"), Taken(), Expect("NOOP"), Say("500 b\r\n")};
    Connect(server);
    EXPECT_EQ(m_command.GetRetCode(2), 0U);
    m_command.SendCtrl("NOOP\r\n", 6);
    EXPECT_EQ(m_command.GetRetCode(2), kUnknownReply);
    server.ExpectFinished();
}

TEST_P(ReplyTest, TellsTheReplyOnlyToThoseWhoAsk) {
    ScriptedServer server{Say("220 a\r\n"), Taken(), Say("550 b\r\n"), Taken(), Say("150 c\r\n")};
    Connect(server);
    EXPECT_EQ(m_command.GetRetCode(), 0U);
    EXPECT_EQ(m_command.GetRetCode(0), 0x3bb00019U);
    EXPECT_EQ(m_command.GetRetCode(m_strReply, 2), 0U);
    EXPECT_EQ(m_strReply, "150 c\r\n");
    server.ExpectFinished();
}

TEST_P(ReplyTest, TellsTheTextThatCameBeforeTheServerLeft) {
    ScriptedServer server{Say("220-Welcome\r\n"), Taken(), Close()};
    SetTimes(5, 1, 1);
    Connect(server);
    EXPECT_EQ(m_command.GetRetCode(m_strReply, 1), kNoReply);
    EXPECT_EQ(m_strReply, "220-Welcome\r\n");
    server.ExpectFinished();
}

TEST_P(ReplyTest, DropsALineThatWasNotFinished) {
    ScriptedServer server{Say("220 Welc"), Taken(), Close()};
    SetTimes(5, 1, 1);
    Connect(server);
    EXPECT_EQ(m_command.GetRetCode(m_strReply, 1), kNoReply);
    EXPECT_EQ(m_strReply, "");
    EXPECT_EQ(RecordingLog::ErrorTexts(), Texts{BlankLine()});
    server.ExpectFinished();
}

TEST_P(ReplyTest, ClassifiesTheTextThatCameBeforeTheServerLeft) {
    ScriptedServer server{Say("421-FTP server shutdown\r\n"), Taken(), Close()};
    Connect(server);
    EXPECT_EQ(m_command.GetRetCode(m_strReply, 0), 0x3bb0001cU);
    server.ExpectFinished();
}

TEST_P(ReplyTest, ReadsNothingAfterAReset) {
    ScriptedServer server{Expect("GO"), Reset()};
    SetTimes(5, 2, 2);
    Connect(server);
    m_command.SendCtrl("GO\r\n", 4);
    EXPECT_EQ(m_command.GetRetCode(m_strReply, 2), kNoReply);
    EXPECT_EQ(RecordingLog::ErrorTexts(), Texts{BlankLine()});
    server.ExpectFinished();
}

TEST_P(ReplyTest, ReadsOnAfterAZeroByte) {
    EXPECT_EQ(Read({std::string("220 a\0b\r\n", 9)}), 0U);
}

TEST_P(ReplyTest, TakesALineFeedBeforeTheReplyForSilence) {
    SetTimes(5, 2, 5);
    EXPECT_EQ(Read({"\n", "220 a\r\n"}), 0U);
    EXPECT_EQ(m_strReply, "220 a\r\n");
}

TEST_P(ReplyTest, TakesALineFeedBetweenLinesForSilence) {
    SetTimes(5, 2, 5);
    EXPECT_EQ(Read({"220-a\r\n", "\n", "220 b\r\n"}), 0U);
    EXPECT_EQ(m_strReply, "220-a\r\n220 b\r\n");
}

TEST_P(ReplyTest, GivesUpAtALineFeedBeforeTheReplyWithoutTries) {
    EXPECT_EQ(Read({"\n"}, 0), 0x3bb0000fU);
    EXPECT_EQ(m_strReply, "");
    EXPECT_TRUE(RecordingLog::All().empty());
}

// ---- What each code and each text gives ----

struct SReplyResult {
    const char* pszReply;
    unsigned int uResult;
};

std::ostream& operator<<(std::ostream& stream, const SReplyResult& row) {
    return stream << NameOf(row.pszReply);
}

class ReplyResultTest : public testing::TestWithParam<std::tuple<SReplyResult, EArrival>>,
                        protected CSession {};

constexpr SReplyResult kReplyResults[] = {
    {"421 x\r\n", 0x3bb0000f},
    {"425 x\r\n", 0x3bb00010},
    {"426 x\r\n", 0x3bb00011},
    {"450 x\r\n", 0x3bb00012},
    {"451 x\r\n", 0x3bb00013},
    {"452 x\r\n", 0x3bb00014},
    {"501 x\r\n", 0x3bb00015},
    {"521 x\r\n", 0x3bb00016},
    {"530 x\r\n", 0x3bb0001a},
    {"550 x\r\n", 0x3bb00019},
    {"552 x\r\n", 0x3bb00018},
    {"553 x\r\n", 0x3bb00017},
    // Success by the first digit.
    {"100 x\r\n", 0},
    {"125 Data connection already open\r\n", 0},
    {"199 x\r\n", 0},
    {"200 x\r\n", 0},
    {"230 ok\r\n", 0},
    {"299 x\r\n", 0},
    {"300 x\r\n", 0},
    {"331 x\r\n", 0},
    {"399 x\r\n", 0},
    // Not in the table.
    {"400 x\r\n", kUnknownReply},
    {"500 x\r\n", kUnknownReply},
    {"502 x\r\n", kUnknownReply},
    {"551 x\r\n", kUnknownReply},
    {"600 x\r\n", kUnknownReply},
    {"999 odd\r\n", kUnknownReply},
    {"099 x\r\n", kUnknownReply},
    {"042 x\r\n", kUnknownReply},
    {"000 x\r\n", kUnknownReply},
    {"abc d\r\n", kUnknownReply},
    {"23a x\r\n", kUnknownReply},
    {"2 0 x\r\n", kUnknownReply},
    {"+23 x\r\n", kUnknownReply},
    {"-23 x\r\n", kUnknownReply},
    // Refined by the text.
    {"550 /a: No such file or directory\r\n", 0x3bb0000e},
    {"550 no such file or directory.\r\n", 0x3bb0000e},
    {"550 Permission denied.\r\n", 0x3bb0000d},
    {"550 permission denied\r\n", 0x3bb0000d},
    {"550 Can't open file\r\n", 0x3bb0000e},
    {"550 Unknown directory\r\n", 0x3bb0000e},
    {"550 Directory exists\r\n", 0x3bb00016},
    {"550 Permission denied, it exists\r\n", 0x3bb0000d},
    {"550 it exists. Permission denied\r\n", 0x3bb0000d},
    {"550 Failed\r\n", 0x3bb00019},
    {"501 No such file or directory\r\n", 0x3bb0000e},
    {"501 PERMISSION DENIED\r\n", 0x3bb00015},
    {"550-Permission denied\r\n550 Failed\r\n", 0x3bb0000d},
    {"450 Permission denied\r\n", 0x3bb00012},
    {"553 File exists\r\n", 0x3bb00017},
    {"421 FTP server shutdown\r\n", 0x3bb0001c},
    {"421-The FTP service\r\n421-of this server\r\n421 ends: shutdown\r\n", 0x3bb0001c},
    {"421 ftp server shutdown\r\n", 0x3bb0000f},
    {"421 shutdown of the FTP server\r\n", 0x3bb0000f},
    {"999 FTP server shutdown\r\n", 0x3bb0001c},
    {"999 Permission denied\r\n", kUnknownReply},
    {"abc FTP server shutdown\r\n", 0x3bb0001c},
    {"226 FTP server shutdown\r\n", 0},
};

INSTANTIATE_TEST_SUITE_P(Table, ReplyResultTest,
                         testing::Combine(testing::ValuesIn(kReplyResults),
                                          testing::Values(EArrival::Whole, EArrival::OneByte)),
                         [](const auto& tested) {
                             return NameOf(std::get<0>(tested.param).pszReply) +
                                    ArrivalName(std::get<1>(tested.param));
                         });

TEST_P(ReplyResultTest, IsAsListed) {
    const auto& [expected, eArrival] = GetParam();
    const OneByte one(eArrival == EArrival::OneByte);
    ScriptedServer server{Say(expected.pszReply)};
    Connect(server);
    std::string strReply;
    EXPECT_EQ(m_command.GetRetCode(strReply, 2), expected.uResult) << expected.pszReply;
    EXPECT_EQ(strReply, expected.pszReply);
    EXPECT_TRUE(RecordingLog::Errors().empty()) << testing::PrintToString(RecordingLog::Errors());
    server.ExpectFinished();
}

// ---- What depends on how the bytes arrive ----

class PieceTest : public testing::Test, protected CSession {
protected:
    unsigned int Read(const std::vector<SStep>& script, int nTries = 2) {
        ScriptedServer server(script);
        Connect(server);
        const unsigned int uResult = m_command.GetRetCode(m_strReply, nTries);
        server.ExpectFinished();
        return uResult;
    }

    std::string m_strReply;
};

TEST_F(PieceTest, LooksOnlyAtTheLastLineOfALineGroup) {
    EXPECT_EQ(Read({Say("230 early\r\n220-more\r\n"), Taken(), Say("221 end\r\n")}), 0U);
    EXPECT_EQ(m_strReply, "230 early\r\n220-more\r\n221 end\r\n");
}

TEST_F(PieceTest, TakesTheLastOfSeveralRepliesInOnePiece) {
    EXPECT_EQ(Read({Say("150 here\r\n550 Failed\r\n")}), 0x3bb00019U);
    EXPECT_EQ(m_strReply, "150 here\r\n550 Failed\r\n");
}

TEST_F(PieceTest, LogsEachPiece) {
    EXPECT_EQ(Read({Say("220-We"), Taken(), Say("lcome\r\n"), Taken(), Say("220 Ready\r\n")}), 0U);
    const auto infos = RecordingLog::Infos();
    EXPECT_EQ(RecordingLog::InfoTexts(),
              (Texts{InfoText("220-We", 0), InfoText("220-Welcome\r\n", 0),
                     InfoText("220 Ready\r\n", 0)}));
    for (const SLogEntry& info : infos) {
        EXPECT_EQ(info.strFile, "ftpcommand");
        EXPECT_EQ(info.strFunction, "GetRetCode");
        EXPECT_TRUE(info.bFiltered);
    }
    EXPECT_TRUE(RecordingLog::Errors().empty());
}

TEST_F(PieceTest, LogsEachByteThatComesAlone) {
    const OneByte one(true);
    EXPECT_EQ(Read({Say("220 a\r\n")}), 0U);
    EXPECT_EQ(RecordingLog::InfoTexts(),
              (Texts{InfoText("2", 0), InfoText("22", 0), InfoText("220", 0), InfoText("220 ", 0),
                     InfoText("220 a", 0), InfoText("220 a\r", 0), InfoText("220 a\r\n", 0)}));
    EXPECT_EQ(OneByte::Receives(), 7);
}

TEST_F(PieceTest, ReceivesAtMost520BytesAtATime) {
    const std::string strText = "220 " + std::string(1034, 'x') + "\r\n";
    EXPECT_EQ(strText.size(), 1040U);
    ScriptedServer server{Say(strText), Hold()};
    Connect(server);
    server.WaitUntilHeld();  // all of it is there
    EXPECT_EQ(m_command.GetRetCode(m_strReply, 2), 0U);
    server.Release();
    server.ExpectFinished();
    EXPECT_EQ(OneByte::Receives(), 2);
    EXPECT_EQ(RecordingLog::InfoTexts(),
              (Texts{InfoText(strText.substr(0, 520), 0), InfoText(strText, 0)}));
}

TEST_F(PieceTest, CutsTheTextOfAPieceAtAZeroByte) {
    EXPECT_EQ(Read({Say(std::string("220 a\0b\r\n", 9))}), 0U);
    EXPECT_EQ(m_strReply, "220 a");
    EXPECT_EQ(RecordingLog::InfoTexts(), Texts{InfoText("220 a", 0)});
}

TEST_F(PieceTest, TakesAPieceThatBeginsWithAZeroByteForSilence) {
    EXPECT_EQ(Read({Say(std::string(1, '\0') + "220 x\r\n")}, 0), 0x3bb0000fU);
    EXPECT_EQ(m_strReply, "");
}

TEST_F(PieceTest, ReadsOnAfterAPieceThatBeginsWithAZeroByte) {
    SetTimes(5, 2, 5);
    EXPECT_EQ(Read({Say(std::string(1, '\0') + "220 x\r\n"), Taken(), Say("220 y\r\n")}), 0U);
    EXPECT_EQ(m_strReply, "220 y\r\n");
}

TEST_F(PieceTest, StartsTheNextPieceWithAClearedBuffer) {
    EXPECT_EQ(Read({Say("220-a long first piece\r\n"), Taken(), Say("220 b"), Taken(), Say("\n")}),
              0U);
    EXPECT_EQ(m_strReply, "220-a long first piece\r\n220 b\n");
}

// ---- Waiting: how often and how long ----

struct SWaiting {
    unsigned short usRetryTimes;
    int nTries;
    int nRetryReceives;  // after the first one
    unsigned int uResult;
    int nTimes;  // what the information log tells; -1: there is none
};

std::ostream& operator<<(std::ostream& stream, const SWaiting& row) {
    return stream << row.usRetryTimes << " retries, " << row.nTries << " tries";
}

constexpr SWaiting kWaitings[] = {
    // As commands do it: tries is the number of retries.
    {0, 0, 0, 0x3bb0000f, -1},
    {1, 1, 1, kNoReply, -1},
    {2, 2, 2, kNoReply, -1},
    {3, 3, 3, kNoReply, -1},
    // No tries: the first receive decides.
    {1, 0, 0, 0x3bb0000f, -1},
    {2, 0, 0, 0x3bb0000f, -1},
    {3, 0, 0, 0x3bb0000f, -1},
    // Negative: as if an empty piece had come.
    {0, -1, 0, 0x3bb0000f, 0},
    {2, -1, 0, 0x3bb0000f, 0},
    {2, -7, 0, 0x3bb0000f, 0},
    // Fewer tries than retries.
    {2, 1, 1, 0x3bb0000f, 1},
    {3, 1, 1, 0x3bb0000f, 1},
    {3, 2, 2, 0x3bb0000f, 2},
    // More tries than retries.
    {1, 2, 1, kNoReply, -1},
    {2, 5, 2, kNoReply, -1},
    {3, 4, 3, kNoReply, -1},
    {0, 1, 1, 0x3bb0000f, 1},
    {0, 3, 3, 0x3bb0000f, 3},
};

class WaitingTest : public testing::TestWithParam<SWaiting>, protected CSession {
protected:
    static std::vector<int> Waits(int nFirstMs, int nRetryMs) {
        std::vector<int> waits(1, nFirstMs);
        waits.insert(waits.end(), static_cast<std::size_t>(GetParam().nRetryReceives), nRetryMs);
        return waits;
    }

    static void ExpectLogs() {
        const Texts infos =
            GetParam().nTimes == -1 ? Texts() : Texts{InfoText("", GetParam().nTimes)};
        EXPECT_EQ(RecordingLog::InfoTexts(), infos);
        const bool bBlank = GetParam().uResult == kNoReply;
        EXPECT_EQ(RecordingLog::ErrorTexts(), bBlank ? Texts{BlankLine()} : Texts());
        for (const SLogEntry& error : RecordingLog::Errors()) {
            EXPECT_EQ(error.uCode, kNoReply);
            EXPECT_EQ(error.strFile, "ftpcommand");
            EXPECT_EQ(error.strFunction, "GetRetCode");
            EXPECT_TRUE(error.bFiltered);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Table, WaitingTest, testing::ValuesIn(kWaitings),
                         [](const testing::TestParamInfo<SWaiting>& tested) {
                             const int nTries = tested.param.nTries;
                             return "Retries" + std::to_string(tested.param.usRetryTimes) +
                                    (nTries < 0 ? "TriesMinus" : "Tries") +
                                    std::to_string(nTries < 0 ? -nTries : nTries);
                         });

TEST_P(WaitingTest, ForASilentServer) {
    ScriptedServer server{Accept()};
    SetTimes(1, GetParam().usRetryTimes, 0);
    Connect(server);
    std::string strReply;
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(m_command.GetRetCode(strReply, GetParam().nTries), GetParam().uResult);
    EXPECT_GE(MsSince(start), 1000);
    EXPECT_EQ(OneByte::WaitsMs(), Waits(1000, 0));
    EXPECT_EQ(strReply, "");
    ExpectLogs();
    server.ExpectFinished();
}

TEST_P(WaitingTest, ForAServerThatHasClosed) {
    ScriptedServer server{Close()};
    SetTimes(5, GetParam().usRetryTimes, 2);
    Connect(server);
    std::string strReply;
    EXPECT_EQ(m_command.GetRetCode(strReply, GetParam().nTries), GetParam().uResult);
    EXPECT_EQ(OneByte::WaitsMs(), Waits(5000, 2000));
    EXPECT_EQ(OneByte::Receives(), 1 + GetParam().nRetryReceives);
    ExpectLogs();
    server.ExpectFinished();
}

class WaitTest : public PieceTest {};

TEST_F(WaitTest, TakesNineSecondsForASilentServerByDefault) {
    ScriptedServer server{Accept()};
    Connect(server);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(m_command.GetRetCode(), kNoReply);
    EXPECT_GE(MsSince(start), 9000);
    EXPECT_EQ(OneByte::WaitsMs(), (std::vector<int>{5000, 2000, 2000}));
    server.ExpectFinished();
}

TEST_F(WaitTest, BeginsAnewWithEachPiece) {
    EXPECT_EQ(Read({Say("220-a\r\n"), Taken(), Say("220 "), Taken(), Say("b\r\n")}), 0U);
    EXPECT_EQ(OneByte::WaitsMs(), (std::vector<int>{5000, 5000, 5000}));
}

TEST_F(WaitTest, FindsAReplyThatComesDuringARetry) {
    SetTimes(1, 2, 5);
    EXPECT_EQ(Read({Wait(Millis(2500)), Say("220 late\r\n")}), 0U);
    EXPECT_EQ(RecordingLog::InfoTexts(), Texts{InfoText("220 late\r\n", 0)});
    EXPECT_EQ(OneByte::WaitsMs(), (std::vector<int>{1000, 5000}));
}

TEST_F(WaitTest, TellsHowOftenItTriedInVain) {
    const OneByte one(true);  // so that each line feed is a piece
    SetTimes(5, 3, 5);
    EXPECT_EQ(Read({Say("\n\n\n220 \n")}, 3), 0U);
    EXPECT_EQ(RecordingLog::InfoTexts(),
              (Texts{InfoText("2", 2), InfoText("22", 0), InfoText("220", 0), InfoText("220 ", 0),
                     InfoText("220 \n", 0)}));
}

TEST_F(WaitTest, QuotesWhatCameLastWhenNothingWasUsable) {
    const OneByte one(true);
    SetTimes(5, 2, 5);
    EXPECT_EQ(Read({Say("\n\n\n")}), kNoReply);
    EXPECT_EQ(RecordingLog::ErrorTexts(), Texts{BlankLine("\n")});
}

TEST_F(WaitTest, GivesUpWithoutTriesAtOnceWhenTheReplyBreaksOff) {
    SetTimes(1, 2, 1);
    EXPECT_EQ(Read({Say("220-a\r\n"), Taken()}, 0), 0x3bb0000fU);
    EXPECT_EQ(OneByte::WaitsMs(), (std::vector<int>{1000, 1000}));
    EXPECT_EQ(m_strReply, "220-a\r\n");
}

}  // namespace
