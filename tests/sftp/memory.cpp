#include "tests/sftp/memory.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

namespace {

// No std::string: the operators below must not call themselves.
constexpr std::size_t kMaxText = 256;

struct SText {
    char bytes[kMaxText];
    std::size_t nSize = 0;

    void Set(const std::string& strText) {
        nSize = strText.size() < kMaxText ? strText.size() : kMaxText;
        std::memcpy(bytes, strText.data(), nSize);
    }
    bool IsIn(const void* pBlock, std::size_t nBlock) const {
        return nSize != 0 && memmem(pBlock, nBlock, bytes, nSize) != nullptr;
    }
};

std::atomic<long> g_nLive{0};
std::atomic<bool> g_bWatching{false};
std::mutex g_lock;
SText g_plain;
SText g_wiped;
TestSftp::SFreed g_freed;

void* Allocate(std::size_t nSize) {
    void* pBlock = std::malloc(nSize == 0 ? 1 : nSize);
    if (pBlock != nullptr) ++g_nLive;
    return pBlock;
}

void Free(void* pBlock) {
    if (pBlock == nullptr) return;
    --g_nLive;
    if (g_bWatching) {
        const std::lock_guard<std::mutex> guard(g_lock);
        const std::size_t nBlock = malloc_usable_size(pBlock);
        if (g_plain.IsIn(pBlock, nBlock)) ++g_freed.nPlain;
        if (g_wiped.IsIn(pBlock, nBlock)) ++g_freed.nWiped;
    }
    std::free(pBlock);
}

}  // namespace

namespace TestSftp {

long LiveBlocks() {
    return g_nLive;
}

void WatchFreed(const std::string& strPlain, const std::string& strWiped) {
    const std::lock_guard<std::mutex> guard(g_lock);
    g_plain.Set(strPlain);
    g_wiped.Set(strWiped);
    g_freed = SFreed();
    g_bWatching = true;
}

SFreed StopWatching() {
    g_bWatching = false;
    const std::lock_guard<std::mutex> guard(g_lock);
    return g_freed;
}

}  // namespace TestSftp

void* operator new(std::size_t nSize) {
    void* pBlock = Allocate(nSize);
    if (pBlock == nullptr) throw std::bad_alloc();
    return pBlock;
}
void* operator new[](std::size_t nSize) {
    return operator new(nSize);
}
void* operator new(std::size_t nSize, const std::nothrow_t&) noexcept {
    return Allocate(nSize);
}
void* operator new[](std::size_t nSize, const std::nothrow_t&) noexcept {
    return Allocate(nSize);
}
void operator delete(void* pBlock) noexcept {
    Free(pBlock);
}
void operator delete[](void* pBlock) noexcept {
    Free(pBlock);
}
void operator delete(void* pBlock, std::size_t) noexcept {
    Free(pBlock);
}
void operator delete[](void* pBlock, std::size_t) noexcept {
    Free(pBlock);
}
void operator delete(void* pBlock, const std::nothrow_t&) noexcept {
    Free(pBlock);
}
void operator delete[](void* pBlock, const std::nothrow_t&) noexcept {
    Free(pBlock);
}
