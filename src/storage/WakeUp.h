#pragma once

#include <semaphore.h>

#include <cerrno>
#include <chrono>
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
        timespec end{};
        clock_gettime(CLOCK_MONOTONIC, &end);
        const auto nanoseconds = end.tv_nsec + std::chrono::nanoseconds(time).count();
        end.tv_sec += nanoseconds / 1000000000;
        end.tv_nsec = nanoseconds % 1000000000;
        while (sem_clockwait(&mSemaphore, CLOCK_MONOTONIC, &end) != 0 && errno == EINTR) {
        }
    }

private:
    sem_t mSemaphore{};
};

}  // namespace takebox
