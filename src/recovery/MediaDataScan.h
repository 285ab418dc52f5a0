#pragma once

#include <cstdint>
#include <vector>

#include "platform/movietoolbox/ByteSource.h"
#include "platform/movietoolbox/FourCharCode.h"
#include "platform/movietoolbox/SampleTable.h"

namespace takebox {

/// Samples of one track that lie one behind the other in a file.
struct MediaPiece {
    movietoolbox::FourCharCode type = 0;  ///< 'vide' or 'soun'
    std::uint64_t offset = 0;             ///< of the first sample
    std::vector<movietoolbox::SampleSizeRun> sizes;

    [[nodiscard]] std::uint64_t bytes() const;
    [[nodiscard]] std::uint64_t samples() const;
    /// Bytes of the record that stands before the samples in media data.
    [[nodiscard]] std::uint64_t recordSize() const;
    /// Leaves out the last sample.
    void dropLast();
    /// Bytes of the last sample; 0 when there is none.
    [[nodiscard]] std::uint32_t lastSize() const { return sizes.empty() ? 0 : sizes.back().size; }
};

/// What the media data of a self-contained movie holds, by the records in it (docs/files.md).
struct MediaDataScan {
    std::vector<MediaPiece> pieces;  ///< in the order of the file, each with at least one sample
};

/// Follows the records from `begin` on, up to `end` or to where no record stands. Samples that do
/// not lie wholly before `end` are left out, and so are frames at the end of the picture with holes
/// in them: they were promised to the disk and never reached it.
/// @return 0 or the errno value of a read that failed.
[[nodiscard]] int scanMediaData(const movietoolbox::ByteSource& file, std::uint64_t begin,
                                std::uint64_t end, MediaDataScan& scan);

/// Whether the bytes at the offset are a DV frame of this size as far as its headers tell: each of
/// its DIF sequences begins with its header block.
[[nodiscard]] bool isDVFrame(const movietoolbox::ByteSource& file, std::uint64_t offset,
                             std::uint32_t size);

}  // namespace takebox
