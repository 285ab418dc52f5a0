#include "platform/avc/ieee1394/CycleCount.h"

#include <algorithm>

namespace takebox::avc {
namespace {

constexpr unsigned kCyclesPerSecond = 8000;
constexpr int kCyclesPerMillisecond = 8;

}  // namespace

CycleCount::CycleCount(std::uint32_t packetsOfRing, std::uint32_t packetsOfTurn)
    : mSlack(std::min(2 * packetsOfTurn, packetsOfRing / 2)), mFull(packetsOfRing - mSlack) {}

void CycleCount::caughtUp(std::int64_t now) {
    if (mTaken >= mFull) {
        mAfterFull = mSlack;
    }
    mTaken = 0;
    // The packet after the gap may be yet to come: it is to show how much was lost.
    if (mAfterFull == 0) {
        mTimeThen = now;
        mCountThen = mCount;
    }
}

PacketTime CycleCount::take(unsigned cycle, std::int64_t now) {
    if (!mHasBegun) {
        mHasBegun = true;
        mLastCycle = cycle;
        mTimeThen = now;
    }
    const unsigned step = (cycle + kCyclesPerSecond - mLastCycle) % kCyclesPerSecond;
    const bool wasFull = mTaken >= mFull || mAfterFull > 0;
    mLastCycle = cycle;
    mCount += step;
    if (step > 1 && wasFull) {
        mCount += uncountedSeconds(now) * kCyclesPerSecond;
    }
    mAfterFull -= mAfterFull > 0 ? 1 : 0;
    ++mTaken;
    return {mCount, wasFull};
}

/// Whole seconds by which the time is ahead of the count. What was sent between the last packet and
/// caughtUp() makes the time look shorter.
std::uint64_t CycleCount::uncountedSeconds(std::int64_t now) const {
    constexpr int kTolerance = kCyclesPerSecond / 8;
    const std::int64_t passed = (now - mTimeThen) * kCyclesPerMillisecond;
    const std::int64_t uncounted = passed - static_cast<std::int64_t>(mCount - mCountThen);
    return uncounted > 0 ? static_cast<std::uint64_t>(uncounted + kTolerance) / kCyclesPerSecond
                         : 0;
}

}  // namespace takebox::avc
