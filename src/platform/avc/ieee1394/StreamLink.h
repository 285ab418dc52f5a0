#pragma once

#include <sys/eventfd.h>

#include <unistd.h>
#include <atomic>
#include <chrono>
#include <cstdint>

#include "platform/avc/ieee1394/FileDescriptor.h"

namespace takebox::avc {

/// Milliseconds of the monotonic clock.
inline std::int64_t monotonicMilliseconds() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/// Where a receive thread finds its device. Fits one atomic word.
struct StreamTarget {
    static constexpr std::uint8_t kNoChannel = 0xFF;

    std::uint8_t channel = kNoChannel;
    bool isRefused = false;  ///< the device accepted no connection; the channel is a guess
    std::uint16_t card = 0;
    std::uint16_t number = 0;  ///< N of /dev/fwN
    std::uint16_t serial = 0;  ///< another one: start reception anew

    [[nodiscard]] bool isReceiving() const { return channel != kNoChannel; }
    bool operator==(const StreamTarget&) const = default;
};

/// What a stream shows of its sender's signal. Fits one atomic word.
struct SeenSignal {
    bool isNews = false;
    bool isDV25 = false;      ///< else nothing of it can be recorded
    std::uint8_t dvMode = 0;  ///< with isDV25
    std::uint8_t reserved = 0;
};

/// What a device's control thread and the receive thread of its stream tell each other. Shared by
/// both; neither ever waits for the other.
class StreamLink {
public:
    StreamLink() : mWake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

    /// Control thread.
    void setTarget(const StreamTarget& target) {
        // Release and acquire are not needed: the word is all there is to hand over.
        mTarget.store(target, std::memory_order_relaxed);
        wake();
    }
    [[nodiscard]] StreamTarget target() const { return mTarget.load(std::memory_order_relaxed); }

    /// Receive thread: data came now. The other side only compares it with the time.
    void setLastData(std::int64_t milliseconds) {
        mLastData.store(milliseconds, std::memory_order_relaxed);
    }
    [[nodiscard]] std::int64_t lastData() const {
        return mLastData.load(std::memory_order_relaxed);
    }

    /// Receive thread: the signal is another one than before, or has been asked for.
    void setSeenSignal(const SeenSignal& signal) {
        mSeenSignal.store(signal, std::memory_order_relaxed);
    }
    /// Control thread: each piece of news once.
    [[nodiscard]] SeenSignal takeSeenSignal() {
        return mSeenSignal.exchange(SeenSignal{}, std::memory_order_relaxed);
    }

    /// Control thread: what the device says may have changed; its stream is to tell what it shows.
    void askForSignal() { mIsSignalAsked.store(true, std::memory_order_relaxed); }
    /// Receive thread.
    [[nodiscard]] bool takeSignalQuestion() {
        return mIsSignalAsked.load(std::memory_order_relaxed) &&
               mIsSignalAsked.exchange(false, std::memory_order_relaxed);
    }

    /// Ends the receive thread's wait; it looks at its target then.
    void wake() const {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t ignored = write(mWake.get(), &one, sizeof one);
    }
    [[nodiscard]] int wakeDescriptor() const { return mWake.get(); }
    void clearWake() const {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t ignored = read(mWake.get(), &count, sizeof count);
    }

private:
    std::atomic<StreamTarget> mTarget{StreamTarget{}};
    std::atomic<std::int64_t> mLastData{0};
    std::atomic<SeenSignal> mSeenSignal{SeenSignal{}};
    std::atomic<bool> mIsSignalAsked{false};
    FileDescriptor mWake;

    static_assert(sizeof(StreamTarget) == sizeof(std::uint64_t) &&
                  std::atomic<StreamTarget>::is_always_lock_free);
    static_assert(std::atomic<SeenSignal>::is_always_lock_free);
};

}  // namespace takebox::avc
