#include "tests/support/recordinglog.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "platform/logging.h"
#include "src/support/log.h"

namespace {

using namespace TestSupport;

class RecordingLogTest : public testing::Test {
protected:
    RecordingLogTest() { RecordingLog::Clear(); }
};

TEST_F(RecordingLogTest, KeepsWhatTheHostWouldWrite) {
    RVN_FTP_CLIENT::LogError(7, "broken\r\n", LocationInfo("file", "function", 42));
    ASSERT_EQ(RecordingLog::Errors().size(), 1U);
    const SLogEntry entry = RecordingLog::Errors()[0];
    EXPECT_EQ(entry.uCode, 7U);
    EXPECT_EQ(entry.strText, "[FTPCLIENT]broken\r\n");
    EXPECT_EQ(entry.strFile, "file");
    EXPECT_EQ(entry.strFunction, "function");
    EXPECT_EQ(entry.nLine, 42);
    EXPECT_TRUE(entry.bFiltered);
}

TEST_F(RecordingLogTest, TellsTheLevelsApart) {
    LogProcess::Error(1, "error", LocationInfo("f", "g", 1));
    LogProcess::Info("info", LocationInfo("f", "g", 1));
    _Log_Affirm(2, "affirm", LocationInfo("f", "g", 1));
    EXPECT_EQ(RecordingLog::ErrorTexts(), std::vector<std::string>{"error"});
    EXPECT_EQ(RecordingLog::InfoTexts(), std::vector<std::string>{"info"});
    ASSERT_EQ(RecordingLog::Affirms().size(), 1U);
    EXPECT_EQ(RecordingLog::Affirms()[0].uCode, 2U);
    EXPECT_EQ(RecordingLog::All().size(), 3U);
}

TEST_F(RecordingLogTest, NoticesTextThatPassedTheFilterBy) {
    LogProcess::Error(1, "straight", LocationInfo("f", "g", 1));
    ASSERT_EQ(RecordingLog::Errors().size(), 1U);
    EXPECT_FALSE(RecordingLog::Errors()[0].bFiltered);
}

TEST_F(RecordingLogTest, TakesEntriesOfSeveralThreads) {
    constexpr int kEach = 200;
    const auto write = [] {
        for (int i = 0; i < kEach; ++i)
            RVN_FTP_CLIENT::LogInfo("line", LocationInfo("f", "g", 1));
    };
    std::thread first(write);
    std::thread second(write);
    first.join();
    second.join();
    EXPECT_EQ(RecordingLog::Infos().size(), 2U * kEach);
}

}  // namespace
