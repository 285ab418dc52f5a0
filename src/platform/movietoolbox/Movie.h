#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/movietoolbox/AliasRecord.h"
#include "platform/movietoolbox/DataHandler.h"
#include "platform/movietoolbox/FourCharCode.h"
#include "platform/movietoolbox/SampleDescriptions.h"
#include "platform/movietoolbox/SampleTable.h"

/// What a movie consists of in memory, until AddMovieToStorage() writes it. Changed through the
/// operations of MovieToolbox.h; read by whoever wants to know.
namespace takebox::movietoolbox {

struct Media {
    FourCharCode type = 0;       ///< 'vide', 'soun' or 'tmcd'
    std::int32_t timeScale = 0;  ///< units per second
    /// Files that hold the samples; empty when that is the movie file itself.
    std::vector<AliasRecord> dataReferences;
    std::vector<SampleDescription> descriptions;
    SampleTable samples;
    /// Bytes that sample references of other files cover, samples or not.
    std::uint64_t referencedBytes = 0;
    bool isBeingEdited = false;
    std::string displayFont;  ///< 'tmcd' only
};

/// A track shows its media from the beginning, at its own pace, from the beginning of the movie on.
struct Track {
    struct Reference {
        FourCharCode type = 0;
        std::uint32_t trackID = 0;
    };

    std::uint32_t id = 0;  ///< counted from 1
    Fixed width = 0;
    Fixed height = 0;
    std::int16_t volume = 0;     ///< 256 is full
    Fixed verticalPosition = 0;  ///< of the top edge, downwards
    bool isEnabled = true;
    std::unique_ptr<Media> media;  ///< none until NewTrackMedia()
    /// How much of the media is in the track, in media units; none before InsertMediaIntoTrack().
    std::optional<std::uint64_t> insertedDuration;
    std::vector<Reference> references;
    std::optional<AudioChannelLayout> audioChannelLayout;
};

struct Movie {
    std::shared_ptr<DataHandler> storage;
    std::vector<std::unique_ptr<Track>> tracks;
};

}  // namespace takebox::movietoolbox
