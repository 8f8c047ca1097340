#include <benchmark/benchmark.h>

#include <string>

#include "bench/micro/allocations.h"
#include "src/ftp/listparser.h"

namespace {

using namespace RVN_FTP_CLIENT;

constexpr int kLines = 10000;

std::string UnixListing() {
    std::string strText;
    for (int n = 0; n < kLines; ++n) {
        strText += "-rw-r--r--    1 1000     1000      " + std::to_string(1000 + n * 37) +
                   " Mar 03 12:30 report-" + std::to_string(n) + ".csv\r\n";
    }
    return strText;
}

std::string DosListing() {
    std::string strText;
    for (int n = 0; n < kLines; ++n) {
        strText += "03-03-19  12:30PM             " + std::to_string(1000 + n * 37) + " report-" +
                   std::to_string(n) + ".csv\r\n";
    }
    return strText;
}

void Parse(benchmark::State& state, const std::string& strText) {
    const std::uint64_t uBefore = Allocations();
    for (auto _ : state) {
        CEntryList list;
        ParseListText(strText, ESelect::Readable, list.m_entries);
        benchmark::DoNotOptimize(list.m_entries.data());
    }
    const double dLines = static_cast<double>(state.iterations()) * kLines;
    state.counters["lines/s"] = benchmark::Counter(dLines, benchmark::Counter::kIsRate);
    state.counters["allocations/line"] = static_cast<double>(Allocations() - uBefore) / dLines;
}

void ListingUnix(benchmark::State& state) {
    Parse(state, UnixListing());
}
BENCHMARK(ListingUnix);

void ListingDos(benchmark::State& state) {
    Parse(state, DosListing());
}
BENCHMARK(ListingDos);

}  // namespace
