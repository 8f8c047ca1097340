#ifndef QEL_TESTS_SUPPORT_PAYLOAD_H
#define QEL_TESTS_SUPPORT_PAYLOAD_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace TestSupport {

// Bytes of all values; each follows from the seed and its position, so that a lost, doubled or
// swapped block shows.
std::string Payload(std::size_t nSize, std::uint64_t uSeed = 1);

// EXPECT_TRUE(SamePayload(expected, actual)): on failure names the sizes and the first offset that
// differs instead of printing both.
testing::AssertionResult SamePayload(const std::string& strExpected, const std::string& strActual);

}  // namespace TestSupport

#endif
