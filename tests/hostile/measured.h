#ifndef QEL_TESTS_HOSTILE_MEASURED_H
#define QEL_TESTS_HOSTILE_MEASURED_H

#include <cstddef>
#include <string>

namespace HostileTest {

// The sanitizers have their own share of every block, and of all that was freed lately.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr long kMemoryFactor = 5;
#else
constexpr long kMemoryFactor = 1;
#endif

constexpr long kMiB = 1024;  // in KiB, as the system counts memory

// What an operation of the library gave in a process of its own.
struct SMeasured {
    unsigned int uResult = 0;
    long nGrowthKiB = 0;
    std::size_t nEntries = 0;
    long long nMs = 0;
};

// strOperation: login, list, get or put. Throws when the process does not end in order.
SMeasured RunMeasured(unsigned short usPort, const std::string& strOperation,
                      unsigned long long ullMaxListing = 0, bool bVerify = true);

}  // namespace HostileTest

#endif
