#pragma once

#include <cstdint>

#include "platform/avc/virtualdeck/DIFFrame.h"

namespace takebox::avc {

/// How fast a deck plays, in thousandths of real time: 1 to a million.
inline constexpr std::int64_t kRealTime = 1000;
inline constexpr std::int64_t kFastest = 1000 * kRealTime;

/// When each frame of a stream is due, by a clock in nanoseconds. Reckoned in whole numbers from
/// the first frame on, so that rounding never adds up: 30000 frames in 1001 seconds, or 25 in one.
class FrameSchedule {
public:
    explicit FrameSchedule(std::int64_t speed) : mSpeed(speed) {}

    /// The next frame is due at this time.
    void restart(std::int64_t time);
    [[nodiscard]] std::int64_t due() const;
    /// The frame that was due has been sent and was of this standard: the next one is due when it
    /// has lasted its time.
    void advance(DVStandard standard);
    /// Puts everything from the next frame on off by this much.
    void delay(std::int64_t nanoseconds) { mBase += nanoseconds; }

    /// How long so many frames last.
    [[nodiscard]] static std::int64_t duration(DVStandard standard, std::int64_t frames,
                                               std::int64_t speed);

private:
    std::int64_t mSpeed;
    std::int64_t mBase = 0;    // when the first frame counted was due
    std::int64_t mFrames = 0;  // sent since then, all of one standard
    DVStandard mStandard = DVStandard::kNTSC;
};

}  // namespace takebox::avc
