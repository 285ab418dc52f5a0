#pragma once

#include <semaphore.h>

#include <cerrno>

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

private:
    sem_t mSemaphore{};
};

}  // namespace takebox
