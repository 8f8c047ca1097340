// The fault matrix: each operation on a real server, behind a relay that does one thing wrong, at
// each step of the dialogue. README.md has the list of faults and how to repeat one cell.

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <set>
#include <string>
#include <vector>

#include "tests/fault/cell.h"
#include "tests/fault/rules.h"
#include "tests/fault/sidebyside.h"
#include "tests/fault/trial.h"
#include "tests/server/vsftpdserver.h"
#include "tests/support/sockets.h"

namespace FaultTest {

namespace {

constexpr const char* kSelection = "QEL_FAULT_CELL";

bool IsSelected(const SCell& cell) {
    const char* const pszPart = std::getenv(kSelection);
    return pszPart == nullptr || cell.strName.find(pszPart) != std::string::npos;
}

void RunAll(EOperation eOperation) {
    ServerTest::SServerOptions options;
    options.bLogCommands = false;
    const ServerTest::CVsftpdServer server(options);
    const SSharedFiles files(server);

    std::vector<SJob> jobs;
    std::size_t nCells = 0;
    for (const SCell& cell : CellsOf(eOperation)) {
        ++nCells;
        if (!IsSelected(cell)) continue;
        SJob job;
        job.strName = cell.strName;
        job.waits = CRules(cell.eOperation, cell.bVerify, cell.fault).Work().least;
        const std::string strOwnDir = "cell" + std::to_string(nCells);
        job.work = [&server, &files, cell, strOwnDir] {
            return Try(cell, server, files, strOwnDir);
        };
        jobs.push_back(std::move(job));
    }
    const std::size_t nJobs = jobs.size();
    ASSERT_GT(nJobs, 0U) << "no cell of this operation is selected";
    const TestSupport::Clock::time_point start = TestSupport::Clock::now();
    const std::vector<SOutcome> wrong = RunSideBySide(std::move(jobs));
    for (const SOutcome& outcome : wrong) {
        ADD_FAILURE() << outcome.strName << " " << outcome.strWrong << "repeat it with "
                      << kSelection << "=" << outcome.strName;
    }
    std::cout << NameOf(eOperation) << ": " << nJobs << " of " << nCells << " cells, "
              << wrong.size() << " wrong, " << TestSupport::MsSince(start) << " ms\n";
}

TEST(FaultMatrix, Login) {
    RunAll(EOperation::Login);
}

TEST(FaultMatrix, List) {
    RunAll(EOperation::List);
}

TEST(FaultMatrix, Exists) {
    RunAll(EOperation::Exists);
}

TEST(FaultMatrix, Get) {
    RunAll(EOperation::Get);
}

TEST(FaultMatrix, Put) {
    RunAll(EOperation::Put);
}

TEST(FaultMatrix, GetBatch) {
    RunAll(EOperation::GetBatch);
}

TEST(FaultMatrix, PutBatch) {
    RunAll(EOperation::PutBatch);
}

TEST(FaultMatrix, MakeDir) {
    RunAll(EOperation::MakeDir);
}

TEST(FaultMatrix, RemoveDir) {
    RunAll(EOperation::RemoveDir);
}

TEST(FaultMatrix, RemoveFile) {
    RunAll(EOperation::RemoveFile);
}

TEST(FaultMatrix, ChangeDir) {
    RunAll(EOperation::ChangeDir);
}

TEST(FaultMatrix, Close) {
    RunAll(EOperation::Close);
}

TEST(FaultCells, AreAtLeastFourHundredAndHaveNamesOfTheirOwn) {
    std::set<std::string> names;
    std::size_t nAll = 0;
    for (const SOperationName& operation : Operations()) {
        const std::vector<SCell> cells = CellsOf(operation.eOperation);
        std::cout << operation.pszName << ": " << cells.size() << " cells\n";
        nAll += cells.size();
        for (const SCell& cell : cells)
            names.insert(cell.strName);
    }
    std::cout << "in all: " << nAll << " cells\n";
    EXPECT_GE(nAll, 400U);
    EXPECT_EQ(names.size(), nAll);
}

}  // namespace
}  // namespace FaultTest
