#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/movietoolbox/TimeCodeRecord.h"

namespace takebox {

/// Why a recording lacks frames.
enum class LossKind : std::uint8_t {
    kNotReceived,  ///< did not arrive, or not all of them
    kUnknown,      ///< the device or the bus told of a problem that cost nobody knows how much
    kWrongSize,    ///< arrived, but not as a whole frame
    kRawFiles,     ///< the disk of the raw files was too slow, or they could not be made
    kMovie,        ///< the disk of the self-contained movie was too slow
    kBoth,         ///< the last two at once
};

/// Losses of one kind in a row.
struct Loss {
    LossKind kind = LossKind::kNotReceived;
    TimeCodeRecord timeCode;  ///< of the first frame; of the last good one before it when it is not
                              ///< known: for the first three kinds
    std::uint32_t frames = 0;      ///< for kUnknown: messages
    std::uint64_t firstFrame = 0;  ///< place of the first among the frames offered to the files
};

/// Counts what one recording receives, records and loses, as it happens.
///
/// Threads. The receive thread of the device counts: no allocation, lock or wait. Everything else
/// may be asked on any thread and is up to date. Held by the device, its reports and whoever shows
/// the counts.
class RecordingTally {
public:
    /// Of further losses only the number is known.
    static constexpr std::size_t kMaximumLosses = 100;

    /// What the recording is to have.
    RecordingTally(bool wantsRawFiles, bool wantsMovie)
        : mWantsRawFiles(wantsRawFiles), mWantsMovie(wantsMovie) {}

    // Receive thread
    /// A frame was offered to the files. What is not wanted counts as kept.
    void frameRecorded(std::int32_t timeCode, bool isInRawFiles, bool isInMovie);
    void frameOfWrongSize(std::int32_t timeCode);
    /// The receiver told of a problem that cost so many frames; 0 when nobody knows how many.
    void problemMessage(std::uint32_t frames, std::int32_t timeCode);
    /// Frames did not come in a gap that has been told as a problem.
    void framesNotReceived(std::uint32_t frames, std::int32_t timeCode);
    /// Whether frames have been recorded since the start or the last hold(): then a gap in time is
    /// one in the recording.
    [[nodiscard]] bool isRunning() const { return mIsRunning; }

    // Main thread
    void hold() { mIsRunning = false; }
    /// Nothing is counted any more.
    void end() { mHasEnded.store(true, std::memory_order_release); }

    [[nodiscard]] bool wantsRawFiles() const { return mWantsRawFiles; }
    [[nodiscard]] bool wantsMovie() const { return mWantsMovie; }
    [[nodiscard]] bool hasEnded() const { return mHasEnded.load(std::memory_order_acquire); }
    /// Whole frames that came while recording was on and not held.
    [[nodiscard]] std::uint64_t receivedFrames() const { return mReceivedFrames; }
    [[nodiscard]] std::uint64_t wrongSizeFrames() const { return mWrongSizeFrames; }
    /// Times that the receiver told of missing or broken frames.
    [[nodiscard]] std::uint64_t problemMessages() const { return mProblemMessages; }
    /// Frames that did not arrive, or not all of them. What nobody knows of is not in it.
    [[nodiscard]] std::uint64_t notReceivedFrames() const { return mNotReceivedFrames; }
    /// Frames that came and that no longer fitted into what waits for a disk.
    [[nodiscard]] std::uint64_t droppedFrames() const { return mDroppedFrames; }
    [[nodiscard]] TimeCodeRecord firstTimeCode() const {
        return TimeCodeRecord::fromCounter(mFirstTimeCode);
    }
    [[nodiscard]] TimeCodeRecord lastTimeCode() const {
        return TimeCodeRecord::fromCounter(mLastTimeCode);
    }
    /// The first kMaximumLosses, in their order.
    [[nodiscard]] std::vector<Loss> losses() const;
    /// Rows of losses that losses() has no room for.
    [[nodiscard]] std::uint64_t furtherLosses() const { return mFurtherLosses; }

private:
    struct Entry {
        std::atomic<LossKind> kind{LossKind::kNotReceived};
        std::atomic<std::int32_t> timeCode{0};
        std::atomic<std::uint32_t> frames{0};
        std::atomic<std::uint64_t> firstFrame{0};
    };

    void addLoss(LossKind kind, std::int32_t timeCode, std::uint32_t frames = 1);

    const bool mWantsRawFiles;
    const bool mWantsMovie;

    // Receive thread.
    std::uint64_t mFrameOfLastLoss = 0;

    // Each stands for itself.
    std::atomic<std::uint64_t> mReceivedFrames{0};
    std::atomic<std::uint64_t> mWrongSizeFrames{0};
    std::atomic<std::uint64_t> mProblemMessages{0};
    std::atomic<std::uint64_t> mNotReceivedFrames{0};
    std::atomic<std::uint64_t> mDroppedFrames{0};
    std::atomic<std::uint64_t> mFurtherLosses{0};
    std::atomic<std::int32_t> mFirstTimeCode{0};
    std::atomic<std::int32_t> mLastTimeCode{0};
    std::atomic<bool> mIsRunning{false};
    std::atomic<bool> mHasEnded{false};

    std::array<Entry, kMaximumLosses> mLosses;
    std::atomic<std::size_t> mLossCount{0};  // release: publishes the entries below it
};

}  // namespace takebox
