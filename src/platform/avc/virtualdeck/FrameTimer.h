#pragma once

#include <semaphore.h>

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
    void forgetWakes();

    sem_t mWake{};
};

}  // namespace takebox::avc
