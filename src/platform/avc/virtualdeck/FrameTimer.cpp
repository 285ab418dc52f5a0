#include "platform/avc/virtualdeck/FrameTimer.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>
#include <ctime>

namespace takebox::avc {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

}  // namespace

FrameTimer::FrameTimer()
    : mTimer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)),
      mWake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

FrameTimer::~FrameTimer() {
    close(mTimer);
    close(mWake);
}

std::int64_t FrameTimer::now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * kSecond + time.tv_nsec;
}

bool FrameTimer::sleepUntil(std::int64_t time) {
    // Also arms anew what has run out, which makes the descriptor unreadable again.
    itimerspec setting{};
    setting.it_value = {time / kSecond, time % kSecond};
    timerfd_settime(mTimer, TFD_TIMER_ABSTIME, &setting, nullptr);
    std::array<pollfd, 2> events{pollfd{mTimer, POLLIN, 0}, pollfd{mWake, POLLIN, 0}};
    while (poll(events.data(), events.size(), -1) < 0) {
        // Interrupted by a signal.
    }
    return !takeWake();
}

void FrameTimer::sleep() {
    pollfd event{mWake, POLLIN, 0};
    while (poll(&event, 1, -1) < 0) {
        // Interrupted by a signal.
    }
    [[maybe_unused]] const bool woken = takeWake();
}

void FrameTimer::wake() {
    const std::uint64_t one = 1;
    // It fails only when the counter is full, and then the thread is about to wake.
    [[maybe_unused]] const ssize_t ignored = write(mWake, &one, sizeof one);
}

bool FrameTimer::takeWake() {
    std::uint64_t count = 0;
    return read(mWake, &count, sizeof count) == static_cast<ssize_t>(sizeof count);
}

}  // namespace takebox::avc
