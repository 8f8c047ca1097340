#include "tools/ratemeter.h"

#include <gtest/gtest.h>

using namespace qelftp;
using namespace std::chrono_literals;

namespace {

const TimePoint kStart{};

TEST(RateMeter, HasNoRateAtTheStart) {
    CRateMeter meter(kStart);
    EXPECT_EQ(meter.BytesPerSecond(kStart), 0);
    meter.Add(kStart, 1000);
    EXPECT_EQ(meter.BytesPerSecond(kStart), 0);  // no time has passed
    EXPECT_EQ(CRateMeter(kStart).BytesPerSecond(kStart + 1h), 0);
}

TEST(RateMeter, IsTheMeanSinceTheStartOfAShortRun) {
    CRateMeter meter(kStart);
    meter.Add(kStart + 100ms, 1000);
    meter.Add(kStart + 500ms, 1000);
    EXPECT_DOUBLE_EQ(meter.BytesPerSecond(kStart + 500ms), 4000);
    EXPECT_DOUBLE_EQ(meter.BytesPerSecond(kStart + 2s), 1000);
}

TEST(RateMeter, IsTheMeanOfTheLastSecondsAfterThat) {
    CRateMeter meter(kStart);
    for (int n = 1; n <= 100; ++n)
        meter.Add(kStart + n * 100ms, n <= 50 ? 100000 : 100);  // fast, then slow
    EXPECT_DOUBLE_EQ(meter.BytesPerSecond(kStart + 10s), 1000);
}

TEST(RateMeter, IsSteadyWhenBytesComeInBursts) {
    CRateMeter meter(kStart);
    for (int n = 1; n <= 20; ++n)
        meter.Add(kStart + n * 1s, 1000);
    EXPECT_DOUBLE_EQ(meter.BytesPerSecond(kStart + 20s), 1000);
    EXPECT_DOUBLE_EQ(meter.BytesPerSecond(kStart + 20s + 900ms), 1000);
}

TEST(RateMeter, FallsToNothingWhenNothingMoves) {
    CRateMeter meter(kStart);
    for (int n = 1; n <= 20; ++n)
        meter.Add(kStart + n * 500ms, 500);
    EXPECT_DOUBLE_EQ(meter.BytesPerSecond(kStart + 12s), 600);
    EXPECT_EQ(meter.BytesPerSecond(kStart + 15s), 0);
}

TEST(RateMeter, CountsAllOfManySmallBlocks) {
    CRateMeter meter(kStart);
    for (int n = 1; n <= 4000; ++n)
        meter.Add(kStart + n * 1ms, 10);
    EXPECT_DOUBLE_EQ(meter.BytesPerSecond(kStart + 4s), 10000);
}

TEST(TimeLeft, IsRoundedUp) {
    EXPECT_EQ(TimeLeft(1000, 100.0), 10s);
    EXPECT_EQ(TimeLeft(1001, 100.0), 11s);
    EXPECT_EQ(TimeLeft(1, 100.0), 1s);
    EXPECT_EQ(TimeLeft(0, 100.0), 0s);
}

TEST(TimeLeft, IsNotKnownWhenNothingMovesOrNobodyWouldWait) {
    EXPECT_EQ(TimeLeft(1000, 0.0), std::nullopt);
    EXPECT_EQ(TimeLeft(359999, 1.0), 359999s);
    EXPECT_EQ(TimeLeft(360000, 1.0), std::nullopt);
    EXPECT_EQ(TimeLeft(~0ULL, 1e-300), std::nullopt);
}

}  // namespace
