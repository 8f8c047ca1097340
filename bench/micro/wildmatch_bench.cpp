#include <benchmark/benchmark.h>

#include <string>

#include "src/ftp/wildmatch.h"

namespace {

using namespace RVN_FTP_CLIENT;

void WildMatchFound(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(WildMatch("550 /reports/may.csv: No such file or directory.\r\n",
                                           "*No such file or directory*"));
    }
}
BENCHMARK(WildMatchFound);

// Time grows as text times pattern: what a server can make of a long line.
void WildMatchWorstCase(benchmark::State& state) {
    const std::string strText(static_cast<std::size_t>(state.range(0)), 'a');
    for (auto _ : state)
        benchmark::DoNotOptimize(WildMatch(strText.c_str(), "*aaaaaaaab*"));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(WildMatchWorstCase)->Range(1024, 65536)->Complexity(benchmark::oN);

}  // namespace
