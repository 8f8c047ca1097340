// Every operation on every server, one test a server, its cells side by side in threads.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "tests/matrix/deviation.h"
#include "tests/matrix/operation.h"
#include "tests/matrix/server.h"
#include "tests/support/tempdir.h"

namespace MatrixTest {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kThreads = 16;
constexpr std::size_t kLogLines = 60;

// One cell of the table, before and after its run.
struct SResult {
    const SOperation* pOperation = nullptr;
    bool bVerified = false;
    std::string strExpected;
    std::string strNote;  // of the deviation that is expected; empty: none
    std::string strActual;
    std::string strDialogue;
    long long nMillis = 0;

    // One of the lines, where the expectation has several.
    bool IsAsExpected() const {
        std::istringstream lines(strExpected);
        for (std::string strLine; std::getline(lines, strLine);)
            if (strLine == strActual) return true;
        return false;
    }

    std::string Title() const {
        return std::string(pOperation->pszTitle) + (bVerified ? " (bVerify)" : "");
    }
};

std::vector<const SOperation*> OperationsOf(const SColumn& column) {
    const bool bFtp = column.eProtocol == EProtocol::Ftp;
    std::vector<const SOperation*> operations;
    for (const auto& table : {bFtp ? FtpOperations : SftpOperations, ToolOperations,
                              bFtp ? ToolFtpOperations : ToolSftpOperations}) {
        for (const SOperation& operation : table())
            operations.push_back(&operation);
    }
    return operations;
}

// QEL_MATRIX_ONLY, a part of a title, chooses some of them for a run by hand.
std::vector<SResult> Planned(const SColumn& column) {
    const char* const pszOnly = std::getenv("QEL_MATRIX_ONLY");
    std::vector<SResult> results;
    for (const SOperation* pOperation : OperationsOf(column)) {
        const SDeviation* pDeviation = FindDeviation(column.pszId, pOperation->pszTitle);
        for (const bool bVerified : {false, true}) {
            if (bVerified && pOperation->eModes == EModes::Once) break;
            SResult result;
            result.pOperation = pOperation;
            result.bVerified = bVerified;
            result.strExpected = bVerified && pOperation->pszVerified != nullptr
                                     ? pOperation->pszVerified
                                     : pOperation->pszExpected;
            const char* const pszOther =
                pDeviation == nullptr ? nullptr : pDeviation->Given(bVerified);
            if (pszOther != nullptr) {
                result.strExpected = pszOther;
                result.strNote = pDeviation->pszNote;
            }
            if (pszOnly == nullptr || result.Title().find(pszOnly) != std::string::npos)
                results.push_back(result);
        }
    }
    return results;
}

void RunOne(const SColumn& column, const CServer& server, const std::string& strName,
            SResult& result) {
    CCell cell(column, server, strName, result.bVerified);
    const auto start = std::chrono::steady_clock::now();
    try {
        result.strActual = result.pOperation->run(cell);
    } catch (const std::exception& error) {
        result.strActual = std::string("exception: ") + error.what();
    }
    result.nMillis = std::chrono::duration_cast<std::chrono::milliseconds>(
                         std::chrono::steady_clock::now() - start)
                         .count();
    result.strDialogue = cell.Dialogue();
}

// The first ones are the slow ones, and start first.
void RunAll(const SColumn& column, const CServer& server, std::vector<SResult>& results) {
    std::atomic<std::size_t> uNext{0};
    std::vector<std::thread> threads;
    for (std::size_t n = 0; n < kThreads; ++n) {
        threads.emplace_back([&] {
            for (std::size_t u = uNext++; u < results.size(); u = uNext++)
                RunOne(column, server, fmt::format("c{}", u), results[u]);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

std::string LastLines(const std::string& strText, std::size_t uLines) {
    std::size_t n = strText.size();
    for (std::size_t u = 0; u <= uLines && n != std::string::npos && n != 0; ++u)
        n = strText.rfind('\n', n - 1);
    return n == std::string::npos || n == 0 ? strText : strText.substr(n + 1);
}

std::string Versions(const SColumn& column) {
    std::string strVersions =
        TestSupport::ReadFile((fs::path(QEL_TESTS_BUILD) / column.pszFolder / "versions").string());
    std::replace(strVersions.begin(), strVersions.end(), '\n', ';');
    return strVersions;
}

// For the document, which a test of its own compares with the committed one.
void WriteResults(const SColumn& column, const std::vector<SResult>& results) {
    nlohmann::ordered_json document;
    document["id"] = column.pszId;
    document["order"] = &column - Columns().data();
    document["columns"] = Columns().size();
    document["title"] = column.pszTitle;
    document["protocol"] = column.eProtocol == EProtocol::Ftp ? "ftp" : "sftp";
    document["versions"] = Versions(column);
    for (const SResult& result : results) {
        document["cells"].push_back({{"group", result.pOperation->pszGroup},
                                     {"operation", result.pOperation->pszTitle},
                                     {"modes", result.pOperation->eModes == EModes::Both ? 2 : 1},
                                     {"verified", result.bVerified},
                                     {"ok", result.IsAsExpected()},
                                     {"note", result.strNote},
                                     {"ms", result.nMillis},
                                     {"actual", result.strActual}});
    }
    for (const SNote& note : Notes())
        document["notes"].push_back({{"id", note.pszId}, {"text", note.pszText}});
    const fs::path folder(QEL_TESTS_RESULTS);
    fs::create_directories(folder);
    TestSupport::WriteFile((folder / (std::string(column.pszId) + ".json")).string(),
                           document.dump(1));
}

class CServerTest : public testing::Test {
public:
    explicit CServerTest(const SColumn& column) : m_column(column) {}

    void TestBody() override {
        const std::unique_ptr<CServer> pServer = m_column.make();
        std::vector<SResult> results = Planned(m_column);
        ASSERT_FALSE(results.empty());
        RunAll(m_column, *pServer, results);
        for (const SResult& result : results)
            Check(result);
        if (HasFailure()) {
            std::cout << "The end of the server's log:\n" << LastLines(pServer->Log(), kLogLines);
        }
        if (std::getenv("QEL_MATRIX_ONLY") == nullptr) WriteResults(m_column, results);
    }

private:
    void Check(const SResult& result) const {
        if (result.IsAsExpected()) return;
        ADD_FAILURE() << "server    " << m_column.pszTitle << "\noperation " << result.Title()
                      << "\nexpected  " << result.strExpected << "\nactual    " << result.strActual
                      << "\nby hand   QEL_MATRIX_ONLY='" << result.Title()
                      << "'\n--- dialogue ---\n"
                      << result.strDialogue << "---";
    }

    const SColumn& m_column;
};

// ServerMatrix.vsftpd and so on.
const bool g_bRegistered = [] {
    for (const SColumn& column : Columns()) {
        testing::RegisterTest("ServerMatrix", column.pszId, nullptr, nullptr, __FILE__, __LINE__,
                              [&column]() -> testing::Test* { return new CServerTest(column); });
    }
    return true;
}();

// ---- The tables themselves ----

bool HasOperation(const SColumn& column, const std::string& strTitle) {
    const std::vector<const SOperation*> operations = OperationsOf(column);
    return std::any_of(operations.begin(), operations.end(), [&](const SOperation* pOperation) {
        return pOperation->pszTitle == strTitle;
    });
}

TEST(MatrixTables, HaveATestForEachColumn) {
    EXPECT_TRUE(g_bRegistered);
    std::vector<std::string> ids;
    for (const SColumn& column : Columns())
        ids.emplace_back(column.pszId);
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
    EXPECT_FALSE(ids.empty());
}

TEST(MatrixTables, EachDeviationIsOfAnOperationOfItsColumnAndHasANote) {
    for (const SDeviation& deviation : Deviations()) {
        const auto column =
            std::find_if(Columns().begin(), Columns().end(), [&](const SColumn& candidate) {
                return candidate.pszId == std::string(deviation.pszColumn);
            });
        ASSERT_NE(column, Columns().end()) << deviation.pszColumn;
        EXPECT_TRUE(HasOperation(*column, deviation.pszOperation)) << deviation.pszOperation;
        EXPECT_TRUE(deviation.pszClassic != nullptr || deviation.pszVerified != nullptr)
            << deviation.pszOperation;
        EXPECT_EQ(FindDeviation(deviation.pszColumn, deviation.pszOperation), &deviation)
            << "twice: " << deviation.pszColumn << ", " << deviation.pszOperation;
        const auto note = std::find_if(Notes().begin(), Notes().end(), [&](const SNote& candidate) {
            return candidate.pszId == std::string(deviation.pszNote);
        });
        EXPECT_NE(note, Notes().end()) << deviation.pszNote;
    }
}

TEST(MatrixTables, EachNoteIsUsed) {
    for (const SNote& note : Notes()) {
        EXPECT_TRUE(std::any_of(Deviations().begin(), Deviations().end(),
                                [&](const SDeviation& deviation) {
                                    return deviation.pszNote == std::string(note.pszId);
                                }))
            << note.pszId;
    }
}

TEST(MatrixTables, EachTitleOccursOnceInAColumn) {
    for (const SColumn& column : Columns()) {
        std::vector<std::string> titles;
        for (const SOperation* pOperation : OperationsOf(column))
            titles.emplace_back(pOperation->pszTitle);
        std::sort(titles.begin(), titles.end());
        const auto twice = std::adjacent_find(titles.begin(), titles.end());
        EXPECT_EQ(twice, titles.end()) << column.pszTitle << ": " << *twice;
    }
}

}  // namespace
}  // namespace MatrixTest
