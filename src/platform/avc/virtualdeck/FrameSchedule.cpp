#include "platform/avc/virtualdeck/FrameSchedule.h"

namespace takebox::avc {

void FrameSchedule::restart(std::int64_t time) {
    mBase = time;
    mFrames = 0;
}

std::int64_t FrameSchedule::due() const {
    return mBase + duration(mStandard, mFrames, mSpeed);
}

void FrameSchedule::advance(DVStandard standard) {
    if (standard != mStandard) {
        mBase = due();
        mFrames = 0;
        mStandard = standard;
    }
    ++mFrames;
}

std::int64_t FrameSchedule::duration(DVStandard standard, std::int64_t frames, std::int64_t speed) {
    // One frame lasts numerator / denominator nanoseconds. Whole multiples of the denominator are
    // taken out first, so that the product fits for as long as the process can run.
    const bool isPAL = standard == DVStandard::kPAL;
    const std::int64_t numerator = (isPAL ? 40'000'000 : 100'100'000) * kRealTime;
    const std::int64_t denominator = (isPAL ? 1 : 3) * speed;
    return frames / denominator * numerator + frames % denominator * numerator / denominator;
}

}  // namespace takebox::avc
