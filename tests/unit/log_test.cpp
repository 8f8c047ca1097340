// The way to the host's log.

#include "src/support/log.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/recordinglog.h"

namespace {

using namespace RVN_FTP_CLIENT;
using TestSupport::RecordingLog;
using TestSupport::SLogEntry;

class LogTest : public testing::Test {
protected:
    LogTest() { RecordingLog::Clear(); }

    static void ExpectEntry(const SLogEntry& entry, unsigned int uCode) {
        EXPECT_EQ(entry.uCode, uCode);
        EXPECT_EQ(entry.strText, "[FTPCLIENT]a b");
        EXPECT_EQ(entry.strFile, "file");
        EXPECT_EQ(entry.strFunction, "operation");
        EXPECT_EQ(entry.nLine, 7);
        EXPECT_TRUE(entry.bFiltered);
    }

    const LocationInfo m_where{"file", "operation", 7};
};

TEST_F(LogTest, HandsOverErrorsWithPrefixAndFiltered) {
    LogError(0x3bb00001, "a b", m_where);
    ASSERT_EQ(RecordingLog::All().size(), 1U);
    ExpectEntry(RecordingLog::Errors().at(0), 0x3bb00001);
}

TEST_F(LogTest, HandsOverInformationWithPrefixAndFiltered) {
    LogInfo("a b", m_where);
    ASSERT_EQ(RecordingLog::All().size(), 1U);
    ExpectEntry(RecordingLog::Infos().at(0), 0);
}

TEST_F(LogTest, LeavesErrnoAsItWas) {
    errno = EINTR;
    LogError(1, "a", m_where);
    EXPECT_EQ(errno, EINTR);
    LogInfo("a", m_where);
    EXPECT_EQ(errno, EINTR);
}

}  // namespace
