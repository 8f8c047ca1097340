#ifndef QEL_TESTS_LOAD_SETTINGS_H
#define QEL_TESTS_LOAD_SETTINGS_H

#include <chrono>
#include <cstdint>
#include <random>

namespace LoadTest {

using CRandom = std::mt19937_64;

// Evenly between the two, both included.
inline int Between(CRandom& random, int nLeast, int nMost) {
    return std::uniform_int_distribution<int>(nLeast, nMost)(random);
}

// How long a test moves data: QEL_LOAD_SECONDS, else what the test suite has time for.
std::chrono::seconds Duration(int nUsualSeconds);

// QEL_LOAD_SEED, else a new one each time; printed.
std::uint64_t Seed();

// The library tells its log about every broken connection; here they are broken by the thousand.
// Before anything is logged.
void SilenceLog();

}  // namespace LoadTest

#endif
