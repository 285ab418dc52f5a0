#include "capture/RecordingTally.h"

#include <algorithm>

namespace takebox {

void RecordingTally::frameRecorded(std::int32_t timeCode, bool isInRawFiles, bool isInMovie) {
    if (mReceivedFrames.fetch_add(1, std::memory_order_relaxed) == 0) {
        mFirstTimeCode.store(timeCode, std::memory_order_relaxed);
    }
    mLastTimeCode.store(timeCode, std::memory_order_relaxed);
    mIsRunning.store(true, std::memory_order_relaxed);
    const bool isMissingInRawFiles = mWantsRawFiles && !isInRawFiles;
    const bool isMissingInMovie = mWantsMovie && !isInMovie;
    if (!isMissingInRawFiles && !isMissingInMovie) {
        return;
    }
    mDroppedFrames.fetch_add(1, std::memory_order_relaxed);
    if (isMissingInRawFiles && isMissingInMovie) {
        addLoss(LossKind::kBoth, timeCode);
    } else {
        addLoss(isMissingInMovie ? LossKind::kMovie : LossKind::kRawFiles, timeCode);
    }
}

void RecordingTally::frameOfWrongSize(std::int32_t timeCode) {
    mWrongSizeFrames.fetch_add(1, std::memory_order_relaxed);
    addLoss(LossKind::kWrongSize, timeCode);
}

void RecordingTally::problemMessage(std::uint32_t frames, std::int32_t timeCode) {
    mProblemMessages.fetch_add(1, std::memory_order_relaxed);
    if (frames == 0) {
        addLoss(LossKind::kUnknown, timeCode);
    } else {
        framesNotReceived(frames, timeCode);
    }
}

void RecordingTally::framesNotReceived(std::uint32_t frames, std::int32_t timeCode) {
    if (frames != 0) {
        mNotReceivedFrames.fetch_add(frames, std::memory_order_relaxed);
        addLoss(LossKind::kNotReceived, timeCode, frames);
    }
}

void RecordingTally::addLoss(LossKind kind, std::int32_t timeCode, std::uint32_t frames) {
    const std::uint64_t frame = mReceivedFrames.load(std::memory_order_relaxed);
    const std::size_t count = mLossCount.load(std::memory_order_relaxed);
    const bool isInARow = count != 0 && frame - mFrameOfLastLoss <= 1 &&
                          mLosses[count - 1].kind.load(std::memory_order_relaxed) == kind;
    mFrameOfLastLoss = frame;
    if (isInARow) {
        mLosses[count - 1].frames.fetch_add(frames, std::memory_order_relaxed);
        return;
    }
    if (count == kMaximumLosses) {
        mFurtherLosses.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    mLosses[count].kind.store(kind, std::memory_order_relaxed);
    mLosses[count].timeCode.store(timeCode, std::memory_order_relaxed);
    mLosses[count].frames.store(frames, std::memory_order_relaxed);
    mLosses[count].firstFrame.store(frame - std::min<std::uint64_t>(frame, 1),
                                    std::memory_order_relaxed);
    mLossCount.store(count + 1, std::memory_order_release);
}

std::vector<Loss> RecordingTally::losses() const {
    std::vector<Loss> losses(mLossCount.load(std::memory_order_acquire));
    for (std::size_t i = 0; i < losses.size(); ++i) {
        losses[i].kind = mLosses[i].kind.load(std::memory_order_relaxed);
        losses[i].timeCode =
            TimeCodeRecord::fromCounter(mLosses[i].timeCode.load(std::memory_order_relaxed));
        losses[i].frames = mLosses[i].frames.load(std::memory_order_relaxed);
        losses[i].firstFrame = mLosses[i].firstFrame.load(std::memory_order_relaxed);
    }
    return losses;
}

}  // namespace takebox
