#include "tools/putcheck.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/tempdir.h"
#include "tests/tool/fakesession.h"

using namespace qelftp;
using namespace ToolTest;
using namespace TestSupport;

namespace {

class PutCheck : public testing::Test {
protected:
    // A file that was sent, with its size here.
    void Sent(const std::string& strRemote, std::size_t nSize, EJobEnd eEnd = EJobEnd::Done) {
        STransferJob job;
        job.bPut = true;
        job.transfer = {strRemote, m_local.File(std::to_string(m_jobs.size()))};
        WriteFile(job.transfer.strLocal, std::string(nSize, 'x'));
        m_jobs.push_back(job);
        m_results.emplace_back();
        m_results.back().eEnd = eEnd;
    }

    SPutCheck Check() {
        CReopeningSession session(m_server.Opener(), {1, std::chrono::milliseconds(1)},
                                  [] { return false; });
        return CheckPuts(m_jobs, m_results, session);
    }

    FakeServer m_server;
    TempDir m_local;
    std::vector<STransferJob> m_jobs;
    std::vector<SJobResult> m_results;
};

TEST_F(PutCheck, FindsTheFilesWithAnotherSize) {
    Sent("/a/good", 5);
    Sent("/a/short", 5);
    Sent("/b/long", 5);
    Sent("/b/failed", 5, EJobEnd::Failed);
    m_server.directories["/a"] = {Entry("good", EEntryType::File, 5),
                                  Entry("short", EEntryType::File, 3)};
    m_server.directories["/b"] = {Entry("long", EEntryType::File, 6),
                                  Entry("failed", EEntryType::File, 1)};
    const SPutCheck check = Check();
    ASSERT_EQ(check.wrong.size(), 2U);
    EXPECT_EQ(check.wrong[0].nJob, 1U);
    EXPECT_EQ(check.wrong[0].failure.strMeaning, "the server has 3 of 5 bytes");
    EXPECT_EQ(check.wrong[1].nJob, 2U);
    EXPECT_TRUE(check.failures.empty());
    EXPECT_EQ(m_server.Log(),
              (std::vector<std::string>{"open 1", "ls 1 /a", "ls 1 /b", "close 1"}));
}

TEST_F(PutCheck, DoesNotJudgeWhatTheListingDoesNotTell) {
    Sent("/hidden", 5);
    Sent("/nosize", 5);
    SEntry noSize = Entry("nosize", EEntryType::File, 0);
    noSize.ullSize.reset();
    m_server.directories["/"] = {noSize};
    const SPutCheck check = Check();
    EXPECT_TRUE(check.wrong.empty());
    EXPECT_TRUE(check.failures.empty());
}

TEST_F(PutCheck, ADirectoryThatCannotBeListedIsAFailure) {
    Sent("/a/x", 5);
    const SPutCheck check = Check();
    EXPECT_TRUE(check.wrong.empty());
    ASSERT_EQ(check.failures.size(), 1U);
    EXPECT_EQ(check.failures[0].strAdvice, "the sizes of files sent there could not be checked");
}

TEST_F(PutCheck, AsksNobodyWhenNothingWasSent) {
    Sent("/a/x", 5, EJobEnd::Failed);
    Check();
    EXPECT_TRUE(m_server.Log().empty());
}

}  // namespace
