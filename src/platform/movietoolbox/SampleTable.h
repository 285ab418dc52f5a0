#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "platform/movietoolbox/Status.h"

namespace takebox::movietoolbox {

/// So many samples in a row with the same number of bytes each.
struct SampleSizeRun {
    std::uint32_t count = 0;
    std::uint32_t size = 0;

    friend bool operator==(const SampleSizeRun&, const SampleSizeRun&) = default;
};

/// Where the samples of a media lie, how long and how large they are, in decode order. Run-length
/// coded: a day of DV takes a few megabytes here, nearly all of it one offset per chunk.
/// @see QuickTime File Format, sample table atoms (stts, stsz, stsc, stco, co64).
class SampleTable {
public:
    struct DurationRun {
        std::uint32_t count = 0;
        std::uint32_t duration = 0;  ///< of one sample, in units of the media's time scale
    };
    /// Chunks from firstChunk (counted from 1) up to the next run have so many samples each.
    struct ChunkRun {
        std::uint32_t firstChunk = 0;
        std::uint32_t samplesPerChunk = 0;
        std::uint32_t description = 0;  ///< counted from 1
    };

    /// As many chunks as a table holds: six weeks of DV, 128 MB of offsets.
    static constexpr std::uint32_t kMaximumChunks = 1U << 24;

    /// Adds one chunk: samples that follow one another in the file from `offset` on.
    ///
    /// @param sizes  of its samples; no samples at all change nothing.
    /// @param duration of each sample, in units of the media's time scale.
    /// @return kFormatLimit when a number of the table would grow beyond what the format holds
    ///         (samples: 4294967295). On failure the table is as it was before.
    [[nodiscard]] Status addChunk(std::uint64_t offset, std::uint32_t description,
                                  std::span<const SampleSizeRun> sizes, std::uint32_t duration);

    /// False: a chunk of so many samples would be refused.
    [[nodiscard]] bool hasRoomFor(std::uint64_t samples) const {
        return samples <= std::numeric_limits<std::uint32_t>::max() - mSampleCount &&
               mOffsets.size() < kMaximumChunks;
    }

    [[nodiscard]] std::uint32_t sampleCount() const { return mSampleCount; }
    /// Of all samples, in units of the media's time scale.
    [[nodiscard]] std::uint64_t duration() const { return mDuration; }
    [[nodiscard]] const std::vector<DurationRun>& durations() const { return mDurations; }
    [[nodiscard]] const std::vector<SampleSizeRun>& sizes() const { return mSizes; }
    [[nodiscard]] const std::vector<ChunkRun>& chunks() const { return mChunks; }
    [[nodiscard]] const std::vector<std::uint64_t>& offsets() const { return mOffsets; }
    /// Not less than the bytes that the table takes in a movie file; cheap.
    [[nodiscard]] std::uint64_t largestEncodedSize() const;

private:
    std::vector<DurationRun> mDurations;
    std::vector<SampleSizeRun> mSizes;
    std::vector<ChunkRun> mChunks;
    std::vector<std::uint64_t> mOffsets;
    std::uint32_t mSampleCount = 0;
    std::uint64_t mDuration = 0;
};

}  // namespace takebox::movietoolbox
