#include "platform/avc/ieee1394/CycleCount.h"

namespace takebox::avc {
namespace {

constexpr unsigned kCyclesPerSecond = 8000;
constexpr int kCyclesPerMillisecond = 8;

}  // namespace

void CycleCount::caughtUp(std::int64_t now) {
    // After a gap the time is ahead of the count: the next packet is to show by how much.
    if (uncountedSeconds(now) != 0 && (!mIsBehind || mCount == mCountBehind)) {
        mIsBehind = true;
        mCountBehind = mCount;
        return;
    }
    mIsBehind = false;
    mTimeThen = now;
    mCountThen = mCount;
}

std::uint64_t CycleCount::at(unsigned cycle, std::int64_t now) {
    const unsigned step = (cycle + kCyclesPerSecond - mLastCycle) % kCyclesPerSecond;
    mLastCycle = cycle;
    mCount += step;
    // What lay in the ring while nobody looked is late as well, but has no gaps.
    if (step != 1) {
        mCount += uncountedSeconds(now) * kCyclesPerSecond;
    }
    return mCount;
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
