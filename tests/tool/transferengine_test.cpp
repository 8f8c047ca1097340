#include "tools/transferengine.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <thread>

#include "tests/support/tempdir.h"
#include "tests/tool/fakesession.h"

using namespace qelftp;
using namespace ToolTest;
using namespace TestSupport;

namespace {

using Lines = std::vector<std::string>;

class TransferEngine : public testing::Test {
protected:
    TransferEngine() {
        m_setup.open = m_server.Opener();
        m_setup.openBriefly = m_server.Opener();
        m_setup.interrupted = [this] { return m_bInterrupted.load(); };
        m_setup.pReport = &m_report;
        m_setup.patience.pause = std::chrono::milliseconds(1);
    }

    static STransferJob Get(const std::string& strName) {
        STransferJob job;
        job.transfer = {"/" + strName, "/none/" + strName};
        return job;
    }
    static STransferJob Put(const std::string& strName) {
        STransferJob job = Get(strName);
        job.bPut = true;
        return job;
    }

    // "done", "failed" or "not started" of each, with the number of attempts.
    static Lines Ends(const std::vector<SJobResult>& results) {
        Lines ends;
        for (const SJobResult& result : results) {
            ends.push_back(result.eEnd == EJobEnd::NotStarted ? "not started"
                           : result.eEnd == EJobEnd::Done
                               ? "done " + std::to_string(result.outcome.uAttempts)
                               : "failed " + std::to_string(result.outcome.uAttempts) + " " +
                                     result.outcome.failures.front().strMeaning);
        }
        return ends;
    }

    FakeServer m_server;
    FakeReport m_report;
    std::atomic<bool> m_bInterrupted{false};
    SEngineSetup m_setup;
};

TEST_F(TransferEngine, MovesAllInOneSessionInTheirOrder) {
    EXPECT_EQ(Ends(RunTransfers({Get("a"), Put("b"), Get("c")}, m_setup)),
              (Lines{"done 1", "done 1", "done 1"}));
    EXPECT_EQ(m_server.Log(), (Lines{"open 1", "get 1 /a", "put 1 /b", "get 1 /c", "close 1"}));
    EXPECT_EQ(m_report.lines, (Lines{"0 start /a", "0 end /a", "0 start /b", "0 end /b",
                                     "0 start /c", "0 end /c"}));
}

TEST_F(TransferEngine, UsesTheFirstSessionItIsGiven) {
    RunTransfers({Get("a")}, m_setup, m_server.Opener()());
    EXPECT_EQ(m_server.Log(), (Lines{"open 1", "get 1 /a", "close 1"}));
}

TEST_F(TransferEngine, TriesAgainInANewSession) {
    m_server.get = [](int nSession, const STransfer&, const FProgress&) {
        if (nSession < 3) throw COperationError(Trouble("broken"));
    };
    EXPECT_EQ(Ends(RunTransfers({Get("a"), Get("b")}, m_setup)), (Lines{"done 3", "done 1"}));
    EXPECT_EQ(m_server.Log(), (Lines{"open 1", "get 1 /a", "close 1", "open 2", "get 2 /a",
                                     "close 2", "open 3", "get 3 /a", "get 3 /b", "close 3"}));
}

TEST_F(TransferEngine, GivesUpAfterTheRetriesAndGoesOn) {
    m_server.get = [](int, const STransfer& transfer, const FProgress&) {
        if (transfer.strRemote == "/a") throw COperationError(Trouble("broken"));
    };
    m_setup.patience.uRetries = 1;
    EXPECT_EQ(Ends(RunTransfers({Get("a"), Get("b")}, m_setup)),
              (Lines{"failed 2 broken", "done 1"}));
    EXPECT_EQ(m_server.Count("get 3 /b"), 1);
}

TEST_F(TransferEngine, DoesNotRepeatALastingFailureButLeavesItsSession) {
    m_server.get = [](int, const STransfer& transfer, const FProgress&) {
        if (transfer.strRemote == "/a") throw COperationError(Trouble("not there", true));
    };
    EXPECT_EQ(Ends(RunTransfers({Get("a"), Get("b")}, m_setup)),
              (Lines{"failed 1 not there", "done 1"}));
    EXPECT_EQ(m_server.Log(),
              (Lines{"open 1", "get 1 /a", "close 1", "open 2", "get 2 /b", "close 2"}));
}

TEST_F(TransferEngine, ASlowFileCostsItsSession) {
    m_setup.slow = std::chrono::milliseconds(30);
    m_server.get = [](int, const STransfer& transfer, const FProgress&) {
        if (transfer.strRemote == "/a") std::this_thread::sleep_for(std::chrono::milliseconds(60));
    };
    EXPECT_EQ(Ends(RunTransfers({Get("a"), Get("b"), Get("c")}, m_setup)),
              (Lines{"done 1", "done 1", "done 1"}));
    EXPECT_EQ(m_server.Count("get 2 /b") + m_server.Count("get 2 /c"), 2);
}

TEST_F(TransferEngine, RemovesWhatIsLeftOfAFailedPutInANewSession) {
    m_setup.patience.uRetries = 0;
    m_server.put = [](int, const STransfer&, const FProgress& progress) {
        progress(5, 10);
        throw COperationError(Trouble("broken"));
    };
    EXPECT_EQ(Ends(RunTransfers({Put("a")}, m_setup)), (Lines{"failed 1 broken"}));
    EXPECT_EQ(m_server.Log(),
              (Lines{"open 1", "put 1 /a", "close 1", "open 2", "rm 2 /a", "close 2"}));
}

TEST_F(TransferEngine, LeavesTheRemoteFileOfARefusedPutAlone) {
    m_server.put = [](int, const STransfer&, const FProgress&) {
        throw COperationError(Trouble("refused", true));
    };
    RunTransfers({Put("a")}, m_setup);
    EXPECT_EQ(m_server.Log(), (Lines{"open 1", "put 1 /a", "close 1"}));
}

TEST_F(TransferEngine, LeavesTheRemoteFileAloneWhereAFailedPutChangesNothing) {
    m_setup.patience.uRetries = 0;
    m_server.bPutIsWhole = true;
    m_server.put = [](int, const STransfer&, const FProgress& progress) {
        progress(5, 10);
        throw COperationError(Trouble("broken"));
    };
    RunTransfers({Put("a")}, m_setup);
    EXPECT_EQ(m_server.Log(), (Lines{"open 1", "put 1 /a", "close 1"}));
}

TEST_F(TransferEngine, RemovesAnEmptyFileOfAPutThatBrokeBeforeItBegan) {
    m_setup.patience.uRetries = 0;
    m_server.put = [](int, const STransfer&, const FProgress&) {
        throw COperationError(Trouble("no reply"));
    };
    m_server.directories["/"] = {Entry("a", EEntryType::File, 0), Entry("b", EEntryType::File, 7)};
    RunTransfers({Put("a"), Put("b")}, m_setup);
    EXPECT_EQ(m_server.Count("rm 2 /a"), 1);
    for (int nSession = 1; nSession < 6; ++nSession)
        EXPECT_EQ(m_server.Count("rm " + std::to_string(nSession) + " /b"), 0);
}

TEST_F(TransferEngine, KeepsTheHalfFileThatCanBeContinued) {
    m_setup.patience.uRetries = 0;
    m_setup.bContinue = true;
    m_server.put = [](int, const STransfer&, const FProgress& progress) {
        progress(5, 10);
        throw COperationError(Trouble("broken"));
    };
    RunTransfers({Put("a")}, m_setup);
    EXPECT_EQ(m_server.Log(), (Lines{"open 1", "put 1 /a", "close 1"}));
}

TEST_F(TransferEngine, SaysWhenTheHalfFileCannotBeRemoved) {
    m_setup.patience.uRetries = 0;
    m_server.put = [](int, const STransfer&, const FProgress& progress) {
        progress(5, 10);
        throw COperationError(Trouble("broken"));
    };
    m_setup.openBriefly = []() -> std::unique_ptr<CSession> {
        throw COperationError(Trouble("no connection"));
    };
    const auto results = RunTransfers({Put("a")}, m_setup);
    EXPECT_EQ(results[0].outcome.failures[0].strAdvice,
              "what was sent of it could not be removed from the server");
}

TEST_F(TransferEngine, AnInterruptionCancelsTheFileAndStartsNoOther) {
    m_server.get = [&](int, const STransfer&, const FProgress& progress) {
        EXPECT_TRUE(progress(1, 10));
        m_bInterrupted = true;
        EXPECT_FALSE(progress(2, 10));
        throw COperationError(Trouble("cancelled", true));
    };
    EXPECT_EQ(Ends(RunTransfers({Get("a"), Get("b")}, m_setup)),
              (Lines{"failed 1 interrupted", "not started"}));
    EXPECT_EQ(m_server.Log(), (Lines{"open 1", "get 1 /a", "close 1"}));
}

TEST_F(TransferEngine, AnInterruptedPutIsRemoved) {
    m_server.put = [&](int, const STransfer&, const FProgress& progress) {
        m_bInterrupted = true;
        EXPECT_FALSE(progress(2, 10));
        throw COperationError(Trouble("cancelled", true));
    };
    RunTransfers({Put("a"), Put("b")}, m_setup);
    EXPECT_EQ(m_server.Log(),
              (Lines{"open 1", "put 1 /a", "close 1", "open 2", "rm 2 /a", "close 2"}));
}

TEST_F(TransferEngine, SeveralSessionsWorkSideBySide) {
    m_setup.nSessions = 4;
    std::atomic<int> nAtOnce{0};
    std::atomic<int> nMost{0};
    m_server.get = [&](int, const STransfer&, const FProgress&) {
        const int nNow = ++nAtOnce;
        int nBefore = nMost;
        while (nNow > nBefore && !nMost.compare_exchange_weak(nBefore, nNow)) {
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        --nAtOnce;
    };
    std::vector<STransferJob> jobs;
    for (int n = 0; n < 40; ++n)
        jobs.push_back(Get("f" + std::to_string(n)));
    EXPECT_EQ(Ends(RunTransfers(jobs, m_setup)), Lines(40, "done 1"));
    EXPECT_EQ(nMost, 4);
    for (const STransferJob& job : jobs) {
        int nCount = 0;
        for (int nSession = 1; nSession <= 4; ++nSession)
            nCount +=
                m_server.Count("get " + std::to_string(nSession) + " " + job.transfer.strRemote);
        EXPECT_EQ(nCount, 1) << job.transfer.strRemote;
    }
}

TEST_F(TransferEngine, AServerWithOnePlaceGetsAllFilesFromOneSession) {
    m_setup.nSessions = 3;
    m_server.open = [](int nSession) {
        if (nSession > 1) throw COperationError(Trouble("too many users"));
    };
    m_server.get = [](int, const STransfer&, const FProgress&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    };
    EXPECT_EQ(Ends(RunTransfers({Get("a"), Get("b"), Get("c"), Get("d")}, m_setup)),
              Lines(4, "done 1"));
}

TEST_F(TransferEngine, AServerThatIsGoneFailsEveryFileThatIsLeft) {
    m_server.open = [](int nSession) {
        if (nSession > 1) throw COperationError(Trouble("no connection"));
    };
    m_server.get = [](int, const STransfer&, const FProgress&) {
        throw COperationError(Trouble("broken"));
    };
    m_setup.nSessions = 2;
    const auto results = RunTransfers({Get("a"), Get("b"), Get("c")}, m_setup);
    for (const SJobResult& result : results) {
        EXPECT_EQ(result.eEnd, EJobEnd::Failed);
        ASSERT_FALSE(result.outcome.failures.empty());
        EXPECT_EQ(result.outcome.failures[0].strMeaning, "no connection");
    }
    EXPECT_EQ(m_report.lines.size(), 6U);
}

TEST_F(TransferEngine, GivesAFetchedFileItsTime) {
    const TempDir local;
    STransferJob job = Get("a");
    job.transfer.strLocal = local.File("a");
    job.llModified = 1559736000;
    m_server.get = [](int, const STransfer& transfer, const FProgress&) {
        WriteFile(transfer.strLocal, "x");
    };
    RunTransfers({job}, m_setup);
    struct stat status {};
    ASSERT_EQ(::stat(local.File("a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mtime, 1559736000);
}

TEST_F(TransferEngine, AFileThatIsShorterThanListedIsNoSuccess) {
    const TempDir local;
    STransferJob job = Get("a");
    job.transfer.strLocal = local.File("a");
    job.ullSize = 3;
    m_server.directories["/"] = {Entry("a", EEntryType::File, 3)};
    m_server.get = [](int nSession, const STransfer& transfer, const FProgress&) {
        WriteFile(transfer.strLocal, nSession == 2 ? "abc" : "ab");
    };
    EXPECT_EQ(Ends(RunTransfers({job}, m_setup)), (Lines{"done 2"}));
    m_setup.patience.uRetries = 0;
    EXPECT_EQ(Ends(RunTransfers({job}, m_setup)), (Lines{"failed 1 2 of 3 bytes arrived"}));
    struct stat status {};
    EXPECT_NE(::stat(local.File("a").c_str(), &status), 0);
}

TEST_F(TransferEngine, AFileThatShrankAfterItsListingIsASuccess) {
    const TempDir local;
    STransferJob job = Get("a");
    job.transfer.strLocal = local.File("a");
    job.ullSize = 3;
    m_server.directories["/"] = {Entry("a", EEntryType::File, 2)};
    m_server.get = [](int, const STransfer& transfer, const FProgress&) {
        WriteFile(transfer.strLocal, "ab");
    };
    EXPECT_EQ(Ends(RunTransfers({job}, m_setup)), (Lines{"done 1"}));
}

}  // namespace
