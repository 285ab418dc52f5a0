#pragma once

#include <cstdint>

namespace takebox::avc {

/// Lets one thread sleep until a time of the monotonic clock, or for ever, and any other thread
/// wake it at once.
class FrameTimer {
public:
    FrameTimer();
    ~FrameTimer();
    FrameTimer(const FrameTimer&) = delete;
    FrameTimer& operator=(const FrameTimer&) = delete;

    /// False when the system had no descriptors left; then it must not be used.
    [[nodiscard]] bool isValid() const { return mTimer >= 0 && mWake >= 0; }

    /// Nanoseconds of the monotonic clock.
    [[nodiscard]] static std::int64_t now();

    /// Sleeping thread only. @return true when the time has come, false when woken before.
    [[nodiscard]] bool sleepUntil(std::int64_t time);
    /// Sleeping thread only. Returns when woken.
    void sleep();
    /// Any thread. Ends the sleep under way, or the next one. What was written before is seen by
    /// the thread that wakes.
    void wake();

private:
    /// @return whether wake() was called, in which case it is forgotten.
    [[nodiscard]] bool takeWake();

    int mTimer;
    int mWake;
};

}  // namespace takebox::avc
