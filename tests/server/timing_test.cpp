// What a batch of small files may cost on a machine that does nothing else meanwhile.

#include <algorithm>
#include <chrono>
#include <iomanip>
#include <iostream>
#include <vector>

#include "tests/server/checksums.h"
#include "tests/server/filetree.h"
#include "tests/server/servertest.h"

namespace ServerTest {
namespace {

namespace fs = std::filesystem;
using namespace RVN_FTP_CLIENT;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kRuns = 20;
constexpr double kMedianBound = 1.0;  // seconds
constexpr double kRunBound = 3.0;

class Timing : public CServerTest {};

TEST_F(Timing, AThousandSmallFilesAreFetchedWithinASecond) {
    SServerOptions quiet;
    quiet.bLogCommands = false;
    Restart(quiet);
    const CFileTree tree;
    tree.MakeFiles(Served("tree"));
    const auto expected = ChecksumsBelow(Served("tree"));
    ASSERT_EQ(expected.size(), CFileTree::kFiles);

    std::vector<double> seconds;
    std::cout << "Fetching " << CFileTree::kFiles << " files of " << CFileTree::kFileSize
              << " bytes as one batch:\n";
    for (std::size_t nRun = 1; nRun <= kRuns; ++nRun) {
        const fs::path local = Local("tree" + std::to_string(nRun));
        tree.MakeDirectories(local);
        std::vector<Ftp_File_Pair> batch = tree.Batch("tree", local);
        CSession session(Server());
        const Clock::time_point begin = Clock::now();
        ASSERT_EQ(Code(session->GetFile(batch, false)), FTP_OK);
        seconds.push_back(std::chrono::duration<double>(Clock::now() - begin).count());
        ASSERT_EQ(ChecksumsBelow(local), expected);
        std::cout << "  run " << std::setw(2) << nRun << std::fixed << std::setprecision(3)
                  << std::setw(8) << seconds.back() << " s\n";
    }
    std::sort(seconds.begin(), seconds.end());
    const double dMedian = (seconds[kRuns / 2 - 1] + seconds[kRuns / 2]) / 2;
    std::cout << "  min " << seconds.front() << " s, median " << dMedian << " s, max "
              << seconds.back() << " s\n";
    EXPECT_LT(dMedian, kMedianBound);
    EXPECT_LT(seconds.back(), kRunBound);
}

}  // namespace
}  // namespace ServerTest
