#ifndef QEL_TESTS_PLATFORM_FREEDMEMORY_H
#define QEL_TESTS_PLATFORM_FREEDMEMORY_H

#include <cstddef>
#include <string>

// Looks into every block that operator delete is about to free, in the program and all its
// libraries: freedmemory.cpp replaces the operators. One thread only.

namespace PlatformTest {

// Counts the blocks that hold the text pszSecret at the moment they are freed, while the object
// lives.
class CFreedSecrets {
public:
    explicit CFreedSecrets(const char* pszSecret);  // borrowed
    ~CFreedSecrets();

    CFreedSecrets(const CFreedSecrets&) = delete;
    CFreedSecrets& operator=(const CFreedSecrets&) = delete;

    int Count() const;
};

// Keeps what one array holds at the moment it is freed.
class CFreedArray {
public:
    // Watches the nSize bytes at pArray; nSize is at most 64.
    CFreedArray(const void* pArray, std::size_t nSize);
    ~CFreedArray();

    CFreedArray(const CFreedArray&) = delete;
    CFreedArray& operator=(const CFreedArray&) = delete;

    bool IsFreed() const;
    std::string Bytes() const;  // "" while it is not freed
};

// While it lives, memory for exactly so many bytes cannot be had.
class CNoMemory {
public:
    explicit CNoMemory(std::size_t nSize);
    ~CNoMemory();

    CNoMemory(const CNoMemory&) = delete;
    CNoMemory& operator=(const CNoMemory&) = delete;
};

}  // namespace PlatformTest

#endif
