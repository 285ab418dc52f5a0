#pragma once

#include <semaphore.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <ctime>

namespace takebox {

/// Wakes a thread that sleeps until there is something to do. A signal that comes before the wait
/// is not lost. signal() neither waits nor allocates: receive threads may call it.
class WakeUp {
public:
    WakeUp() { sem_init(&mSemaphore, 0, 0); }
    ~WakeUp() { sem_destroy(&mSemaphore); }
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    void signal() { sem_post(&mSemaphore); }
    /// Returns once for every signal().
    void wait() {
        while (sem_wait(&mSemaphore) != 0 && errno == EINTR) {
        }
    }
    /// The same, but for no longer than the time given; the signal may still come afterwards.
    void waitFor(std::chrono::milliseconds time) {
        static_cast<void>(waitUntil(now() + std::chrono::nanoseconds(time).count()));
    }
    /// The same, until a time of now(). @return whether there was a signal.
    [[nodiscard]] bool waitUntil(std::int64_t time) {
        const timespec end{time / kSecond, time % kSecond};
        int result = 0;
        do {
            result = sem_clockwait(&mSemaphore, CLOCK_MONOTONIC, &end);
        } while (result != 0 && errno == EINTR);
        return result == 0;
    }

    /// Nanoseconds of a clock that never jumps.
    [[nodiscard]] static std::int64_t now() {
        timespec time{};
        clock_gettime(CLOCK_MONOTONIC, &time);
        return time.tv_sec * kSecond + time.tv_nsec;
    }

private:
    static constexpr std::int64_t kSecond = 1'000'000'000;

    sem_t mSemaphore{};
};

}  // namespace takebox
