#include "tests/support/payload.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

using namespace TestSupport;

TEST(Payload, IsTheSameForTheSameSeedOnly) {
    EXPECT_TRUE(SamePayload(Payload(1000, 3), Payload(1000, 3)));
    EXPECT_FALSE(SamePayload(Payload(1000, 3), Payload(1000, 4)));
}

TEST(Payload, BeginsTheSameWhateverItsLength) {
    EXPECT_TRUE(SamePayload(Payload(1000), Payload(5000).substr(0, 1000)));
}

TEST(Payload, HasNoTwoEqualBlocks) {
    const std::string strBytes = Payload(64 * 1024);
    std::set<std::string> blocks;
    for (std::size_t i = 0; i < strBytes.size(); i += 16)
        blocks.insert(strBytes.substr(i, 16));
    EXPECT_EQ(blocks.size(), strBytes.size() / 16);
}

TEST(Payload, HoldsAllByteValues) {
    const std::string strBytes = Payload(64 * 1024);
    EXPECT_EQ(std::set<char>(strBytes.begin(), strBytes.end()).size(), 256U);
}

TEST(Payload, NamesTheFirstDifference) {
    const std::string strExpected = "abcdef";
    EXPECT_STREQ(SamePayload(strExpected, "abXdef").message(),
                 "expected 6 bytes, got 6; first difference at offset 2: expected 99, got 88 "
                 "(-1: no byte there)");
    EXPECT_STREQ(SamePayload(strExpected, "abc").message(),
                 "expected 6 bytes, got 3; first difference at offset 3: expected 100, got -1 "
                 "(-1: no byte there)");
    EXPECT_TRUE(SamePayload(strExpected, "abcdef"));
}

}  // namespace
