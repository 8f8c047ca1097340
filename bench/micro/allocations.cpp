#include "bench/micro/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::uint64_t> g_uAllocations{0};

}  // namespace

std::uint64_t Allocations() {
    return g_uAllocations.load(std::memory_order_relaxed);
}

void* operator new(std::size_t nSize) {
    g_uAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* const pBlock = std::malloc(nSize == 0 ? 1 : nSize)) return pBlock;
    throw std::bad_alloc();
}

void operator delete(void* pBlock) noexcept {
    std::free(pBlock);
}

void operator delete(void* pBlock, std::size_t) noexcept {
    std::free(pBlock);
}
