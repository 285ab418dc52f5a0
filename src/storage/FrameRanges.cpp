#include "storage/FrameRanges.h"

#include <algorithm>

namespace takebox {

std::uint64_t countFrames(FrameRanges ranges) {
    std::sort(ranges.begin(), ranges.end(),
              [](const FrameRange& a, const FrameRange& b) { return a.first < b.first; });
    std::uint64_t count = 0;
    std::uint64_t counted = 0;  // all below have been looked at
    for (const FrameRange& range : ranges) {
        const std::uint64_t first = std::max(range.first, counted);
        const std::uint64_t end = range.first + range.count;
        count += end - std::min(first, end);
        counted = std::max(counted, end);
    }
    return count;
}

void RefusedFrames::add(const FrameRange& range) {
    if (range.count == 0) {
        return;
    }
    const std::lock_guard lock(mMutex);
    if (!mRanges.empty() && mRanges.back().first + mRanges.back().count == range.first) {
        mRanges.back().count += range.count;
    } else {
        mRanges.push_back(range);
    }
}

void RefusedFrames::clear() {
    const std::lock_guard lock(mMutex);
    mRanges.clear();
}

FrameRanges RefusedFrames::ranges() const {
    const std::lock_guard lock(mMutex);
    return mRanges;
}

}  // namespace takebox
