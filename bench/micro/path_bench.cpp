#include <benchmark/benchmark.h>

#include <string>

#include "src/ftp/remotepath.h"

namespace {

using namespace RVN_FTP_CLIENT;

void PathJoin(benchmark::State& state) {
    const std::string strRoot = "/home/bob";
    const std::string strPath = "/reports/2024/may/overview.csv";
    for (auto _ : state)
        benchmark::DoNotOptimize(addRoodDir(strPath, strRoot));
}
BENCHMARK(PathJoin);

void PathSplit(benchmark::State& state) {
    const std::string strPath = "/home/bob/reports/2024/may/overview.csv";
    for (auto _ : state)
        benchmark::DoNotOptimize(SplitPath(strPath));
}
BENCHMARK(PathSplit);

}  // namespace
