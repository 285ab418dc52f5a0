#include "platform/avc/virtualdeck/FrameTimer.h"

#include <cerrno>
#include <ctime>

namespace takebox::avc {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

}  // namespace

FrameTimer::FrameTimer() {
    sem_init(&mWake, 0, 0);
}

FrameTimer::~FrameTimer() {
    sem_destroy(&mWake);
}

std::int64_t FrameTimer::now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * kSecond + time.tv_nsec;
}

bool FrameTimer::sleepUntil(std::int64_t time) {
    const timespec end{time / kSecond, time % kSecond};
    int result = 0;
    do {
        result = sem_clockwait(&mWake, CLOCK_MONOTONIC, &end);
    } while (result != 0 && errno == EINTR);
    if (result == 0) {
        forgetWakes();
    }
    return result != 0;
}

void FrameTimer::sleep() {
    while (sem_wait(&mWake) != 0 && errno == EINTR) {
    }
    forgetWakes();
}

void FrameTimer::wake() {
    sem_post(&mWake);
}

void FrameTimer::forgetWakes() {
    while (sem_trywait(&mWake) == 0) {
    }
}

}  // namespace takebox::avc
