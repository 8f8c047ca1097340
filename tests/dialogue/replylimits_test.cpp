// How much a server can make the client read and keep.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/dialogue/sessiontest.h"

namespace {

using namespace RVN_FTP_CLIENT;
using namespace TestSupport;

constexpr unsigned int kNoReply = 0x3bb00003;
constexpr std::size_t kPiece = 520;
constexpr std::size_t kMaxLineGroup = 64U * 1024U;
constexpr std::size_t kMaxReply = 1024U * 1024U;

class ReplyLimitTest : public testing::Test, protected CSession {
protected:
    // Lines of a piece's length each, so that every piece ends a line group, and a final line that
    // makes the reply exactly nSize bytes.
    std::vector<SStep> LongReply(std::size_t nSize) {
        constexpr std::size_t kLinesAtATime = 50;
        const std::string strLine = "220-" + std::string(kPiece - 6, 'x') + "\r\n";
        std::string strAll;
        while (strAll.size() + kPiece + 10 < nSize)
            strAll += strLine;
        strAll += "220 " + std::string(nSize - strAll.size() - 6, 'y') + "\r\n";
        EXPECT_EQ(strAll.size(), nSize);
        std::vector<SStep> script;
        for (std::size_t nAt = 0; nAt < nSize; nAt += kLinesAtATime * kPiece) {
            script.push_back(Taken());
            script.push_back(SayAsFarAsTaken(strAll.substr(nAt, kLinesAtATime * kPiece)));
        }
        return script;
    }

    static void ExpectCutText() {
        const SLogEntry error = OnlyError();
        EXPECT_EQ(error.uCode, kNoReply);
        EXPECT_EQ(error.strText.rfind(BlankLine(), 0), 0U) << error;
        EXPECT_LE(error.strText.size(), BlankLine().size() + kPiece);
        EXPECT_GT(error.strText.size(), BlankLine().size());
        EXPECT_EQ(error.strFile, "ftpcommand");
        EXPECT_EQ(error.strFunction, "GetRetCode");
    }
};

TEST_F(ReplyLimitTest, AcceptsALineGroupOf64KiB) {
    const std::string strLine = "220 " + std::string(kMaxLineGroup - 6, 'x') + "\r\n";
    ScriptedServer server{Say(strLine)};
    Connect(server);
    std::string strReply;
    EXPECT_EQ(m_command.GetRetCode(strReply, 2), 0U);
    EXPECT_TRUE(strReply == strLine) << strReply.size();
    EXPECT_TRUE(RecordingLog::Errors().empty());
    server.ExpectFinished();
}

TEST_F(ReplyLimitTest, RefusesALongerLineGroup) {
    ScriptedServer server{Say("220 " + std::string(kMaxLineGroup - 5, 'x') + "\r\n")};
    Connect(server);
    std::string strReply;
    EXPECT_EQ(m_command.GetRetCode(strReply, 2), kNoReply);
    EXPECT_EQ(strReply, "");
    ExpectCutText();
    server.ExpectFinished();
}

TEST_F(ReplyLimitTest, RefusesALineThatDoesNotEnd) {
    ScriptedServer server{SayAsFarAsTaken(std::string(kMaxReply, 'x'))};
    Connect(server);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(m_command.GetRetCode(), kNoReply);
    EXPECT_LT(MsSince(start), 20000);
    EXPECT_LE(OneByte::Receives(), 2 * static_cast<int>(kMaxLineGroup / kPiece));
    ExpectCutText();
    m_command.CloseCtrlSock();
    server.Finish();  // it was cut short in the middle of its say
}

TEST_F(ReplyLimitTest, AcceptsAReplyOf1MiB) {
    ScriptedServer server(LongReply(kMaxReply));
    Connect(server);
    std::string strReply;
    EXPECT_EQ(m_command.GetRetCode(strReply, 2), 0U);
    EXPECT_EQ(strReply.size(), kMaxReply);
    EXPECT_TRUE(RecordingLog::Errors().empty());
    server.ExpectFinished();
}

TEST_F(ReplyLimitTest, RefusesALongerReply) {
    ScriptedServer server(LongReply(kMaxReply + 1));
    Connect(server);
    std::string strReply;
    EXPECT_EQ(m_command.GetRetCode(strReply, 2), kNoReply);
    EXPECT_LE(strReply.size(), kMaxReply);
    EXPECT_GT(strReply.size(), kMaxReply - 2 * kPiece);  // it was the reply's limit that ended it
    ExpectCutText();
    server.ExpectFinished();
}

TEST_F(ReplyLimitTest, AcceptsAServerWhoseGreetingDoesNotEndInBoundedTime) {
    ScriptedServer server{SayAsFarAsTaken(std::string(kMaxReply, 'x'))};
    SetServer(server.Port());
    SetTimes(1, 1, 1);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(m_command.Ftp_connect(), 0U);  // as a server that does not greet
    EXPECT_LT(MsSince(start), 20000);
    EXPECT_LE(OneByte::Receives(), 4 * static_cast<int>(kMaxLineGroup / kPiece));
    EXPECT_EQ(RecordingLog::Errors().size(), 2U);
    m_command.CloseCtrlSock();
    server.Finish();
}

}  // namespace
