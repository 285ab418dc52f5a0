#include "platform/avc/ieee1394/CycleCount.h"

#include <gtest/gtest.h>

namespace takebox::avc {
namespace {

constexpr std::int64_t kStart = 50000;  // ms

/// A count at the given cycle that is not late.
class CycleCountTest : public testing::Test {
protected:
    std::uint64_t begin(unsigned cycle) {
        const auto first = count.at(cycle, kStart);
        count.caughtUp(kStart);
        return first;
    }

    CycleCount count;
};

TEST_F(CycleCountTest, goesOnOverTheTurnOfASecond) {
    const auto first = begin(7998);
    EXPECT_EQ(count.at(7999, kStart) - first, 1U);
    EXPECT_EQ(count.at(0, kStart) - first, 2U);
    EXPECT_EQ(count.at(320, kStart + 40) - first, 322U);
}

TEST_F(CycleCountTest, severalPacketsOfOneCycleAreNoTurn) {
    const auto first = begin(100);
    EXPECT_EQ(count.at(100, kStart + 25), first);
}

TEST_F(CycleCountTest, aGapOfSecondsIsCountedWhole) {
    const auto first = begin(100);
    EXPECT_EQ(count.at(180, kStart + 3010) - first, 3U * 8000 + 80);
    EXPECT_EQ(count.at(181, kStart + 3010) - first, 3U * 8000 + 81);
}

TEST_F(CycleCountTest, aGapOfSecondsIsCountedWholeBehindWhatTheRingHeld) {
    const auto first = begin(0);
    std::uint64_t last = first;
    for (unsigned cycle = 1; cycle <= 4800; ++cycle) {
        last = count.at(cycle, kStart + 2700);
    }
    EXPECT_EQ(last - first, 4800U);
    EXPECT_EQ(count.at(2700 * 8 % 8000, kStart + 2705) - first, 2700U * 8);
}

TEST_F(CycleCountTest, aGapOfSecondsIsCountedWholeAfterTheRingWasEmptied) {
    const auto first = begin(0);
    count.at(1, kStart + 3000);
    count.caughtUp(kStart + 3010);  // before anything that was sent after the gap has come
    EXPECT_EQ(count.at(100, kStart + 3020) - first, 3U * 8000 + 100);
}

TEST_F(CycleCountTest, aSenderThatDoesNotKeepTimeIsNotHeldAgainstTheNextLostPacket) {
    const auto first = begin(0);
    count.caughtUp(kStart + 3000);
    count.at(1, kStart + 3010);
    count.caughtUp(kStart + 3025);
    EXPECT_EQ(count.at(3, kStart + 3050) - first, 3U);
}

TEST_F(CycleCountTest, aPacketThatWasLostInWhatTheRingHeldIsOneCycle) {
    const auto first = begin(0);
    EXPECT_EQ(count.at(2, kStart + 600) - first, 2U);
}

TEST_F(CycleCountTest, whatWasSentBeforeTheRingWasFoundEmptyDoesNotHideASecond) {
    const auto first = begin(0);
    // The 200 packets of an interrupt are on their way when the time is taken.
    EXPECT_EQ(count.at(200, kStart + 2000) - first, 2U * 8000 + 200);
}

TEST_F(CycleCountTest, whereNobodyWaitedTheClockAddsNothingThatWasCounted) {
    const auto first = begin(0);
    std::uint64_t last = first;
    for (unsigned i = 1; i <= 80000; ++i) {
        last = count.at(i % 8000, kStart + i / 8);
    }
    EXPECT_EQ(last - first, 80000U);
    EXPECT_EQ(count.at(2, kStart + 10000) - first, 80002U);
}

}  // namespace
}  // namespace takebox::avc
