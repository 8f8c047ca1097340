#include "tests/failing/allocation.h"

#include <dlfcn.h>
#include <openssl/crypto.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "tests/failing/calls.h"

namespace FailingTest {
namespace {

struct SBlock {
    void* pBlock;
    std::size_t nSize;
};

constexpr std::size_t kSlots = std::size_t{1} << 16;  // many more than any operation has blocks

// Blocks by their address, in a table of its own: nothing here may allocate.
SBlock g_blocks[kSlots];
char g_removed;  // its address marks a slot whose block was freed
std::atomic_flag g_lock = ATOMIC_FLAG_INIT;
std::atomic<bool> g_bListing{false};
thread_local bool t_bListed = false;

class CSpin {
public:
    CSpin() {
        while (g_lock.test_and_set(std::memory_order_acquire)) {
        }
    }
    ~CSpin() { g_lock.clear(std::memory_order_release); }
    CSpin(const CSpin&) = delete;
    CSpin& operator=(const CSpin&) = delete;
};

std::size_t FirstSlot(const void* pBlock) {
    return (reinterpret_cast<std::uintptr_t>(pBlock) >> 4) * 0x9E3779B1U % kSlots;
}

void* Listed(void* pBlock, std::size_t nSize) {
    if (!t_bListed || pBlock == nullptr) return pBlock;
    const CSpin spin;
    std::size_t nSlot = FirstSlot(pBlock);
    while (g_blocks[nSlot].pBlock != nullptr && g_blocks[nSlot].pBlock != &g_removed)
        nSlot = (nSlot + 1) % kSlots;
    g_blocks[nSlot] = {pBlock, nSize};
    return pBlock;
}

void Unlist(const void* pBlock) {
    if (!g_bListing || pBlock == nullptr) return;
    const CSpin spin;
    for (std::size_t nSlot = FirstSlot(pBlock); g_blocks[nSlot].pBlock != nullptr;
         nSlot = (nSlot + 1) % kSlots) {
        if (g_blocks[nSlot].pBlock != pBlock) continue;
        g_blocks[nSlot].pBlock = &g_removed;
        return;
    }
}

// The next definitions behind these. Looked up all at once: dlsym() itself frees what it allocated
// when it failed before, while a sanitizer starts.
struct SNext {
    void* (*pfnMalloc)(std::size_t);
    void* (*pfnCalloc)(std::size_t, std::size_t);
    void* (*pfnRealloc)(void*, std::size_t);
    void (*pfnFree)(void*);
};

SNext g_next{};
bool g_bLookingUp = false;  // there is one thread then

template <typename T>
void LookUp(T& pfn, const char* pszName) {
    pfn = reinterpret_cast<T>(::dlsym(RTLD_NEXT, pszName));
}

const SNext& Next() {
    if (g_next.pfnFree != nullptr || g_bLookingUp) return g_next;
    g_bLookingUp = true;
    LookUp(g_next.pfnMalloc, "malloc");
    LookUp(g_next.pfnCalloc, "calloc");
    LookUp(g_next.pfnRealloc, "realloc");
    LookUp(g_next.pfnFree, "free");
    g_bLookingUp = false;
    return g_next;
}

// OpenSSL's allocations fail like all others, but are not listed: it keeps what it needs for its
// error texts with the thread, and not all of it is given back when an allocation fails inside.
class CUnlisted {
public:
    CUnlisted() : m_bBefore(t_bListed) { t_bListed = false; }
    ~CUnlisted() { t_bListed = m_bBefore; }
    CUnlisted(const CUnlisted&) = delete;
    CUnlisted& operator=(const CUnlisted&) = delete;

private:
    bool m_bBefore;
};

[[maybe_unused]] const bool g_bCryptoAsked = [] {
    const int nSet = CRYPTO_set_mem_functions(
        [](std::size_t nSize, const char*, int) {
            const CUnlisted unlisted;
            return std::malloc(nSize);
        },
        [](void* pBlock, std::size_t nSize, const char*, int) {
            const CUnlisted unlisted;
            return std::realloc(pBlock, nSize);
        },
        [](void* pBlock, const char*, int) { std::free(pBlock); });
    if (nSet != 1) std::abort();  // too late: it has allocated something
    return true;
}();

}  // namespace

CBlockList::CBlockList() {
    const CSpin spin;
    for (SBlock& block : g_blocks) {
        if (block.pBlock != nullptr) block.pBlock = nullptr;
    }
    g_bListing = true;
    t_bListed = true;
}

CBlockList::~CBlockList() {
    t_bListed = false;
    g_bListing = false;
}

SBlocks CBlockList::Live() const {
    const CSpin spin;
    SBlocks live;
    for (const SBlock& block : g_blocks) {
        if (block.pBlock == nullptr || block.pBlock == &g_removed) continue;
        ++live.nBlocks;
        live.nBytes += block.nSize;
    }
    return live;
}

}  // namespace FailingTest

using FailingTest::ECall;
using FailingTest::FailsNow;
using FailingTest::Listed;
using FailingTest::Next;
using FailingTest::Unlist;

extern "C" void* malloc(std::size_t nSize) {
    if (FailsNow(ECall::Allocate)) return nullptr;
    return Listed(Next().pfnMalloc(nSize), nSize);
}

extern "C" void* calloc(std::size_t nCount, std::size_t nSize) {
    if (FailsNow(ECall::Allocate)) return nullptr;
    return Listed(Next().pfnCalloc(nCount, nSize), nCount * nSize);
}

extern "C" void* realloc(void* pBlock, std::size_t nSize) {
    if (FailsNow(ECall::Allocate)) return nullptr;
    Unlist(pBlock);
    return Listed(Next().pfnRealloc(pBlock, nSize), nSize);
}

extern "C" void free(void* pBlock) {
    Unlist(pBlock);
    if (Next().pfnFree != nullptr) Next().pfnFree(pBlock);
}

// A sanitizer's operators do not call malloc().

void* operator new(std::size_t nSize) {
    void* pBlock = std::malloc(nSize == 0 ? 1 : nSize);
    if (pBlock == nullptr) throw std::bad_alloc();
    return pBlock;
}
void* operator new[](std::size_t nSize) {
    return operator new(nSize);
}
// ACE's alone, and never failing: what it has for shared libraries (ACE 7.0.8: ACE::strnew(),
// ACE::ldname(), its arrays and the table of open libraries) goes on without looking at the result.
void* operator new(std::size_t nSize, const std::nothrow_t&) noexcept {
    const FailingTest::CUncounted uncounted;
    return std::malloc(nSize == 0 ? 1 : nSize);
}
void* operator new[](std::size_t nSize, const std::nothrow_t&) noexcept {
    const FailingTest::CUncounted uncounted;
    return std::malloc(nSize == 0 ? 1 : nSize);
}
void operator delete(void* pBlock) noexcept {
    std::free(pBlock);
}
void operator delete[](void* pBlock) noexcept {
    std::free(pBlock);
}
void operator delete(void* pBlock, std::size_t) noexcept {
    std::free(pBlock);
}
void operator delete[](void* pBlock, std::size_t) noexcept {
    std::free(pBlock);
}
void operator delete(void* pBlock, const std::nothrow_t&) noexcept {
    std::free(pBlock);
}
void operator delete[](void* pBlock, const std::nothrow_t&) noexcept {
    std::free(pBlock);
}
