#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

namespace takebox {

/// Frames of a recording in a row, by their place among all that were offered to its files, from 0.
struct FrameRange {
    std::uint64_t first = 0;
    std::uint64_t count = 0;
};

using FrameRanges = std::vector<FrameRange>;

/// How many frames are in at least one of the ranges.
[[nodiscard]] std::uint64_t countFrames(FrameRanges ranges);

/// The frames that a disk refused for good. A writer thread adds, any other may look.
class RefusedFrames {
public:
    /// What touches the range before is joined with it.
    void add(const FrameRange& range);
    void clear();
    [[nodiscard]] FrameRanges ranges() const;

private:
    mutable std::mutex mMutex;  // guards mRanges
    FrameRanges mRanges;
};

}  // namespace takebox
