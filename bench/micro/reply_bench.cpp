#include <benchmark/benchmark.h>

#include <string>

#include "src/ftp/closingreply.h"
#include "src/ftp/replyassembly.h"
#include "src/ftp/replyclass.h"

namespace {

using namespace RVN_FTP_CLIENT;

constexpr const char* kReply =
    "150 Opening BINARY mode data connection for may.csv (2048 bytes).\r\n";

void ReplyOfOnePiece(benchmark::State& state) {
    const int nSize = static_cast<int>(std::char_traits<char>::length(kReply));
    for (auto _ : state) {
        std::string strReply;
        CReplyAssembly assembly(strReply);
        assembly.Append(kReply, nSize);
        benchmark::DoNotOptimize(assembly.Advance());
    }
}
BENCHMARK(ReplyOfOnePiece);

void ReplyClassOf550(benchmark::State& state) {
    const std::string strReply = "550 may.csv: The system cannot find the file specified.\r\n";
    for (auto _ : state)
        benchmark::DoNotOptimize(ClassifyReply(550, strReply));
}
BENCHMARK(ReplyClassOf550);

void ReplyClosingLookup(benchmark::State& state) {
    const std::string strReply = std::string(kReply) + "226 Transfer complete.\r\n";
    for (auto _ : state)
        benchmark::DoNotOptimize(HoldsClosingReply(strReply));
}
BENCHMARK(ReplyClosingLookup);

}  // namespace
