// Trees moved while data connections break off: whatever the end says must be so.

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

#include "tests/support/payload.h"
#include "tests/support/tempdir.h"
#include "tests/tool/breakingrelay.h"
#include "tests/tool/ftpserver.h"

using namespace TestSupport;
using namespace ToolTest;
namespace fs = std::filesystem;

namespace {

constexpr int kFiles = 500;
constexpr int kBreaks = 200;
constexpr int kMaxSize = 40000;

class Chaos : public testing::TestWithParam<unsigned int> {
protected:
    Chaos() { std::printf("seed %u\n", GetParam()); }

    BreakingRelay::SPlan Plan() const {
        BreakingRelay::SPlan plan;
        plan.uSeed = GetParam();
        plan.nBreaks = kBreaks;
        plan.nMaxBytes = kMaxSize;
        return plan;
    }

    // 500 files in 10 directories, of 0 to 40000 bytes.
    void MakeTree(const fs::path& root) {
        std::mt19937 random(GetParam());
        for (int n = 0; n < kFiles; ++n) {
            const fs::path directory = root / ("dir" + std::to_string(n % 10));
            fs::create_directories(directory);
            const int nSize = std::uniform_int_distribution<>(0, kMaxSize)(random);
            WriteFile((directory / ("file" + std::to_string(n))).string(),
                      Payload(static_cast<std::size_t>(nSize), static_cast<std::uint64_t>(n)));
        }
    }

    // Every file below the copy must be whole; returns how many there are.
    static int WholeFiles(const fs::path& source, const fs::path& copy) {
        int nFiles = 0;
        if (!fs::exists(copy)) return 0;
        for (const auto& entry : fs::recursive_directory_iterator(copy)) {
            if (!entry.is_regular_file()) continue;
            ++nFiles;
            const fs::path relative = fs::relative(entry.path(), copy);
            if (!fs::exists(source / relative)) {
                ADD_FAILURE() << "there is no such file in the source: " << relative;
                continue;
            }
            EXPECT_TRUE(SamePayload(ReadFile((source / relative).string()),
                                    ReadFile(entry.path().string())))
                << relative;
        }
        return nFiles;
    }

    static int Count(const std::string& strText, const std::string& strPart) {
        int nCount = 0;
        for (std::size_t n = 0; (n = strText.find(strPart, n)) != std::string::npos; ++n)
            ++nCount;
        return nCount;
    }

    void ExpectAll(const SRun& run, const BreakingRelay& relay, int nThere) {
        EXPECT_EQ(run.nExit, 0) << run.strErr;
        EXPECT_EQ(relay.Broken(), kBreaks);
        EXPECT_EQ(nThere, kFiles);
        EXPECT_NE(run.strErr.find("qelftp: 500 of 500 files\n"), std::string::npos) << run.strErr;
    }

    void ExpectSome(const SRun& run, const char* pszOperation, int nThere) {
        EXPECT_EQ(run.nExit, 1) << run.strErr;
        EXPECT_LT(nThere, kFiles);
        EXPECT_GT(nThere, 0);
        EXPECT_NE(run.strErr.find("qelftp: " + std::to_string(nThere) + " of 500 files, " +
                                  std::to_string(kFiles - nThere) + " failed\n"),
                  std::string::npos)
            << nThere << " are there; " << run.strErr;
        EXPECT_EQ(Count(run.strErr, std::string("qelftp: ") + pszOperation + " "), kFiles - nThere)
            << run.strErr;
    }

    SRun Run(Arguments arguments) const {
        arguments.insert(arguments.begin(), {"--connect-timeout", "2", "--connect-retries", "0"});
        return ChildProcess(ToolCommand(arguments), {{{"QELFTP_PASSWORD", kPassword}}, "", "", ""})
            .Wait(Millis(55000));
    }

    FtpServer m_server;
    TempDir m_local;
};

TEST_P(Chaos, GetWithEnoughRetriesBringsEveryFileWhole) {
    MakeTree(m_server.File(""));
    const BreakingRelay relay(m_server.Port(), Plan());
    const SRun run =
        Run({"get", "-r", "-j", "8", "--retries", "30", relay.Url("/"), m_local.File("copy")});
    ExpectAll(run, relay, WholeFiles(m_server.File(""), m_local.File("copy")));
}

TEST_P(Chaos, GetWithoutRetriesNamesEveryFileThatIsMissing) {
    MakeTree(m_server.File(""));
    BreakingRelay::SPlan plan = Plan();
    plan.bListings = false;
    const BreakingRelay relay(m_server.Port(), plan);
    const SRun run =
        Run({"get", "-r", "-j", "8", "--retries", "0", relay.Url("/"), m_local.File("copy")});
    ExpectSome(run, "get", WholeFiles(m_server.File(""), m_local.File("copy")));
}

TEST_P(Chaos, PutWithEnoughRetriesBringsEveryFileWhole) {
    MakeTree(m_local.File("source"));
    const BreakingRelay relay(m_server.Port(), Plan());
    const SRun run = Run(
        {"put", "-r", "-j", "8", "--retries", "30", m_local.File("source") + "/", relay.Url("/")});
    ExpectAll(run, relay, WholeFiles(m_local.File("source"), m_server.File("")));
}

TEST_P(Chaos, PutWithoutRetriesNamesEveryFileThatIsMissing) {
    MakeTree(m_local.File("source"));
    BreakingRelay::SPlan plan = Plan();
    plan.bListings = false;
    const BreakingRelay relay(m_server.Port(), plan);
    const SRun run = Run(
        {"put", "-r", "-j", "8", "--retries", "0", m_local.File("source") + "/", relay.Url("/")});
    ExpectSome(run, "put", WholeFiles(m_local.File("source"), m_server.File("")));
}

INSTANTIATE_TEST_SUITE_P(Seeds, Chaos, testing::Values(20231));

}  // namespace
