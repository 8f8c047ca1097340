#include "tests/load/memory.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "tests/load/descriptors.h"

namespace LoadTest {
namespace {

constexpr std::size_t kHeapMargin = 64U * 1024U;
constexpr std::size_t kResidentMargin = 8U * 1024U * 1024U;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kOwnAllocator = false;
#else
constexpr bool kOwnAllocator = true;
#endif

std::size_t Resident() {
    std::ifstream file("/proc/self/statm");
    std::size_t uPages = 0;
    file >> uPages >> uPages;
    return uPages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

}  // namespace

SHeld MeasureHeld() {
    ::malloc_trim(0);  // also merges freed small blocks, which count as in use until then
    const struct mallinfo2 info = ::mallinfo2();
    return {info.uordblks + info.hblkhd, Resident(), OpenDescriptors()};
}

void ExpectFlat(const std::vector<SHeld>& series, bool bWarm) {
    std::printf("%8s %12s %14s %12s\n", "measured", "heap, bytes", "resident, KiB", "descriptors");
    for (std::size_t n = 0; n < series.size(); ++n) {
        std::printf("%8zu %12zu %14zu %12zu\n", n + 1, series[n].uHeap, series[n].uResident / 1024,
                    series[n].uDescriptors);
    }
    if (!kOwnAllocator) std::printf("A sanitizer's allocator: its memory is not judged here.\n");
    if (!bWarm) std::printf("A short run: the resident memory is not judged.\n");
    ASSERT_GE(series.size(), 2U);
    const SHeld& first = series.front();
    for (const SHeld& later : series) {
        EXPECT_EQ(later.uDescriptors, first.uDescriptors);
        if (!kOwnAllocator) continue;
        EXPECT_GT(later.uHeap, 0U) << "mallinfo2() says nothing";
        EXPECT_LE(later.uHeap, first.uHeap + kHeapMargin);
        if (bWarm) {
            EXPECT_LE(later.uResident, first.uResident + kResidentMargin);
        }
    }
}

}  // namespace LoadTest
