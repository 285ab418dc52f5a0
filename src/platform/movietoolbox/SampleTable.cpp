#include "platform/movietoolbox/SampleTable.h"

#include <limits>

namespace takebox::movietoolbox {

Status SampleTable::addChunk(std::uint64_t offset, std::uint32_t description,
                             std::span<const SampleSizeRun> sizes, std::uint32_t duration) {
    std::uint64_t count = 0;
    std::uint64_t bytes = 0;
    for (const auto& run : sizes) {
        count += run.count;
        bytes += std::uint64_t{run.count} * run.size;
    }
    if (count == 0) {
        return kNoError;
    }
    constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (!hasRoomFor(count) || offset > kLargest || bytes > kLargest - offset ||
        count * duration > kLargest - mDuration) {
        return kFormatLimit;
    }

    mOffsets.push_back(offset);
    if (mChunks.empty() || mChunks.back().samplesPerChunk != count ||
        mChunks.back().description != description) {
        mChunks.push_back({static_cast<std::uint32_t>(mOffsets.size()),
                           static_cast<std::uint32_t>(count), description});
    }
    if (mDurations.empty() || mDurations.back().duration != duration) {
        mDurations.push_back({0, duration});
    }
    mDurations.back().count += static_cast<std::uint32_t>(count);
    for (const auto& run : sizes) {
        if (run.count == 0) {
            continue;
        }
        if (mSizes.empty() || mSizes.back().size != run.size) {
            mSizes.push_back({0, run.size});
        }
        mSizes.back().count += run.count;
    }
    mSampleCount += static_cast<std::uint32_t>(count);
    mDuration += count * duration;
    return kNoError;
}

std::uint64_t SampleTable::largestEncodedSize() const {
    constexpr std::uint64_t kHeaders = 128;
    const std::uint64_t sizes = mSizes.size() > 1 ? std::uint64_t{mSampleCount} * 4 : 0;
    return kHeaders + mDurations.size() * 8 + sizes + mChunks.size() * 12 + mOffsets.size() * 8;
}

}  // namespace takebox::movietoolbox
