#include "platform/avc/ieee1394/CycleCount.h"

#include <gtest/gtest.h>

namespace takebox::avc {
namespace {

constexpr std::int64_t kStart = 50000;  // ms
constexpr unsigned kRing = 4800;
constexpr unsigned kTurn = 200;

/// A count that has taken the packet of cycle 0 and is not late.
class CycleCountTest : public testing::Test {
protected:
    CycleCountTest() {
        mFirst = count.take(0, kStart).cycle;
        count.caughtUp(kStart);
    }
    /// Cycles since the first one.
    std::uint64_t take(unsigned cycle, std::int64_t after) {
        const PacketTime time = count.take(cycle, kStart + after);
        ringWasFull = time.ringWasFull;
        return time.cycle - mFirst;
    }
    /// Takes what a full ring held, up to cycle 4800, so long after it came.
    void takeFullRing(std::int64_t after) {
        for (unsigned cycle = 1; cycle <= 4800; ++cycle) {
            EXPECT_EQ(take(cycle, after), cycle);
        }
    }

    CycleCount count{kRing, kTurn};
    bool ringWasFull = false;

private:
    std::uint64_t mFirst = 0;
};

TEST_F(CycleCountTest, goesOnOverTheTurnOfASecond) {
    EXPECT_EQ(take(7999, 1000), 7999U);
    EXPECT_EQ(take(0, 1000), 8000U);
    EXPECT_EQ(take(320, 1040), 8320U);
    EXPECT_FALSE(ringWasFull);
}

TEST_F(CycleCountTest, severalPacketsOfOneCycleAreNoTurn) {
    EXPECT_EQ(take(0, 25), 0U);
    takeFullRing(3000);
    EXPECT_EQ(take(4800, 3000), 4800U);
}

TEST_F(CycleCountTest, aGapOfSecondsBehindAFullRingIsCountedWhole) {
    takeFullRing(3600);
    EXPECT_EQ(take(3605 * 8 % 8000, 3605), 3605U * 8);
    EXPECT_TRUE(ringWasFull);
    EXPECT_EQ(take(3605 * 8 % 8000 + 1, 3605), 3605U * 8 + 1);
}

TEST_F(CycleCountTest, aGapThatShowsAfterTheRingWasEmptiedIsCountedWhole) {
    takeFullRing(3600);
    count.caughtUp(kStart + 3610);  // before anything has come that was sent after the gap
    count.caughtUp(kStart + 3615);
    EXPECT_EQ(take(4801, 3620), 4801U) << "for which there was room yet";
    EXPECT_EQ(take(3620 * 8 % 8000, 3620), 3620U * 8);
    EXPECT_TRUE(ringWasFull);
    for (std::uint64_t cycle = 3620 * 8 + 1; cycle <= 3620 * 8 + 2 * kTurn; ++cycle) {
        EXPECT_EQ(take(static_cast<unsigned>(cycle % 8000), 3650), cycle);
    }
    EXPECT_FALSE(ringWasFull);
}

TEST_F(CycleCountTest, aPacketThatWasLostInWhatTheRingHeldIsOneCycle) {
    EXPECT_EQ(take(2, 3600), 2U);
    EXPECT_FALSE(ringWasFull);
    for (unsigned cycle = 3; cycle <= 4800; ++cycle) {
        EXPECT_EQ(take(cycle, 3600), cycle);
    }
    EXPECT_EQ(take(3605 * 8 % 8000, 3605), 3605U * 8);
}

TEST_F(CycleCountTest, whatWasSentBeforeTheRingWasFoundEmptyDoesNotHideASecond) {
    // The 200 packets of an interrupt are on their way when the time is taken.
    for (unsigned cycle = 1; cycle <= 5000; ++cycle) {
        take(cycle, 2700);
    }
    EXPECT_EQ(take(2700 * 8 % 8000 + 200, 2700), 2700U * 8 + 200);
}

TEST_F(CycleCountTest, aSenderThatDoesNotKeepTimeIsNotHeldAgainstALostPacket) {
    take(1, 3000);
    count.caughtUp(kStart + 3025);
    EXPECT_EQ(take(3, 3050), 3U);
    EXPECT_FALSE(ringWasFull);
}

TEST_F(CycleCountTest, whereNobodyCaughtUpTheClockAddsNothingThatWasCounted) {
    for (unsigned i = 1; i <= 80000; ++i) {
        EXPECT_EQ(take(i % 8000, i / 8), i);
    }
    EXPECT_EQ(take(2, 10000), 80002U);
}

}  // namespace
}  // namespace takebox::avc
