#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include "src/support/log.h"

namespace {

using namespace RVN_FTP_CLIENT;

// As in a host that wants errors only.
void LogInfoThatIsOff(benchmark::State& state) {
    ::setenv("QEL_LOG_LEVEL", "off", 1);
    const std::string strMessage = "GetRetCode msg begin:226 Transfer complete.\r\n :end";
    for (auto _ : state)
        LogInfo(strMessage, LocationInfo("ftpcommand", "GetRetCode", 1));
}
BENCHMARK(LogInfoThatIsOff);

}  // namespace
