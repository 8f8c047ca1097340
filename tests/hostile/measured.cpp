#include "tests/hostile/measured.h"

#include <cstdio>
#include <stdexcept>

#include "tests/support/sockets.h"
#include "tests/tool/childprocess.h"

namespace HostileTest {

SMeasured RunMeasured(unsigned short usPort, const std::string& strOperation,
                      unsigned long long ullMaxListing, bool bVerify) {
    const auto start = TestSupport::Clock::now();
    // What was freed is to be free, not kept for a report.
    const ToolTest::SSurroundings frugal{{{"ASAN_OPTIONS", "quarantine_size_mb=1"}}, "", "", ""};
    ToolTest::ChildProcess client({HOSTILE_CLIENT, std::to_string(usPort), strOperation,
                                   std::to_string(ullMaxListing), bVerify ? "1" : "0"},
                                  frugal);
    const ToolTest::SRun run = client.Wait(TestSupport::Millis(60000));
    SMeasured measured;
    measured.nMs = TestSupport::MsSince(start);
    if (run.nExit == 0 && std::sscanf(run.strOut.c_str(), "%x %ld %zu", &measured.uResult,
                                      &measured.nGrowthKiB, &measured.nEntries) == 3) {
        return measured;
    }
    throw std::runtime_error("hostile_client ended with " + std::to_string(run.nExit) +
                             "; it wrote\n" + run.strOut + run.strErr);
}

}  // namespace HostileTest
