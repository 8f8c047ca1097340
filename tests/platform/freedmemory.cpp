#include "tests/platform/freedmemory.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// Plain memory: nothing here may allocate.
const char* g_pSecret = nullptr;
std::size_t g_nSecret = 0;
int g_nFound = 0;

const void* g_pArray = nullptr;
std::size_t g_nArray = 0;
bool g_bArrayFreed = false;
char g_arrayBytes[64];

std::size_t g_nRefused = 0;

void* Allocate(std::size_t nSize) {
    if (nSize != 0 && nSize == g_nRefused) throw std::bad_alloc();
    void* const pBlock = std::malloc(nSize == 0 ? 1 : nSize);
    if (pBlock == nullptr) throw std::bad_alloc();
    return pBlock;
}

void Free(void* pBlock) {
    if (pBlock != nullptr && g_pSecret != nullptr &&
        memmem(pBlock, malloc_usable_size(pBlock), g_pSecret, g_nSecret) != nullptr)
        ++g_nFound;
    if (pBlock != nullptr && pBlock == g_pArray) {
        std::memcpy(g_arrayBytes, pBlock, g_nArray);
        g_bArrayFreed = true;
        g_pArray = nullptr;
    }
    std::free(pBlock);
}

}  // namespace

void* operator new(std::size_t nSize) {
    return Allocate(nSize);
}
void* operator new[](std::size_t nSize) {
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

namespace PlatformTest {

CFreedSecrets::CFreedSecrets(const char* pszSecret) {
    g_nFound = 0;
    g_nSecret = std::strlen(pszSecret);
    g_pSecret = pszSecret;
}

CFreedSecrets::~CFreedSecrets() {
    g_pSecret = nullptr;
}

int CFreedSecrets::Count() const {
    return g_nFound;
}

CFreedArray::CFreedArray(const void* pArray, std::size_t nSize) {
    g_bArrayFreed = false;
    g_nArray = std::min(nSize, sizeof(g_arrayBytes));
    g_pArray = pArray;
}

CFreedArray::~CFreedArray() {
    g_pArray = nullptr;
}

bool CFreedArray::IsFreed() const {
    return g_bArrayFreed;
}

std::string CFreedArray::Bytes() const {
    return g_bArrayFreed ? std::string(g_arrayBytes, g_nArray) : std::string();
}

CNoMemory::CNoMemory(std::size_t nSize) {
    g_nRefused = nSize;
}

CNoMemory::~CNoMemory() {
    g_nRefused = 0;
}

}  // namespace PlatformTest
