#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/movietoolbox/ByteSource.h"
#include "platform/movietoolbox/FourCharCode.h"

namespace takebox::movietoolbox {

/// One track of a movie file, as its atoms describe it.
struct TrackContents {
    FourCharCode mediaType = 0;  ///< 'vide', 'soun', 'tmcd' or another
    std::uint32_t timeScale = 0;
    std::uint64_t duration = 0;      ///< of the media, in its time scale
    FourCharCode format = 0;         ///< of the first sample description
    std::uint32_t channelLabel = 0;  ///< of the first sound channel; 0 when there is none
    std::string target;              ///< path that the media points to; empty: the movie itself
    std::uint64_t samples = 0;
    std::uint64_t sampleBytes = 0;   ///< of all samples
    std::uint32_t sampleSize = 0;    ///< of each; 0 when they differ
    std::uint64_t firstSample = 0;   ///< offset of it, with at least one
    std::uint64_t endOfSamples = 0;  ///< offset behind the farthest sample
};

/// What a movie file consists of.
struct MovieContents {
    bool isMovieFile = false;         ///< begins as one does
    bool hasMovie = false;            ///< has a movie atom that could be read
    std::uint64_t mediaDataAt = 0;    ///< content of the first media data atom; 0: none
    std::uint64_t mediaDataSize = 0;  ///< of that content, as far as the file goes
    std::vector<TrackContents> tracks;

    /// The first track of a type, or null.
    [[nodiscard]] const TrackContents* track(FourCharCode mediaType) const;
};

/// Reads the structure of any file; what contradicts itself counts as not there. Any thread.
/// @return 0, or the errno value of a read that failed.
[[nodiscard]] int readMovie(const ByteSource& file, MovieContents& contents);

}  // namespace takebox::movietoolbox
