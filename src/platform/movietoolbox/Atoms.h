#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "platform/movietoolbox/FourCharCode.h"
#include "platform/movietoolbox/Movie.h"

/// The atoms of a movie, one plain type each, nested as in the file. Times are seconds since 1904.
/// @see QuickTime File Format, "Movie Atoms" and "Media Data Atom Types".
namespace takebox::movietoolbox {

struct MovieHeaderAtom {
    static constexpr FourCharCode kType = fourCC("mvhd");
    std::uint32_t time = 0;
    std::uint32_t timeScale = 0;
    std::uint64_t duration = 0;
    std::uint32_t nextTrackID = 0;
};

struct TrackHeaderAtom {
    static constexpr FourCharCode kType = fourCC("tkhd");
    static constexpr std::uint32_t kEnabled = 1;
    static constexpr std::uint32_t kInMoviePreviewAndPoster = 0x0E;
    std::uint32_t flags = 0;
    std::uint32_t time = 0;
    std::uint32_t trackID = 0;
    std::uint64_t duration = 0;  ///< in the movie's time scale
    std::int16_t volume = 0;
    Fixed verticalPosition = 0;
    Fixed width = 0;
    Fixed height = 0;
};

struct EditListAtom {
    static constexpr FourCharCode kType = fourCC("elst");
    std::uint64_t duration = 0;  ///< in the movie's time scale
};

struct EditAtom {
    static constexpr FourCharCode kType = fourCC("edts");
    EditListAtom list;
};

struct TrackReferenceAtom {
    static constexpr FourCharCode kType = fourCC("tref");
    std::span<const Track::Reference> references;
};

struct MediaHeaderAtom {
    static constexpr FourCharCode kType = fourCC("mdhd");
    std::uint32_t time = 0;
    std::uint32_t timeScale = 0;
    std::uint64_t duration = 0;
};

struct HandlerReferenceAtom {
    static constexpr FourCharCode kType = fourCC("hdlr");
    FourCharCode componentType = 0;
    FourCharCode componentSubtype = 0;
};

struct VideoMediaHeaderAtom {
    static constexpr FourCharCode kType = fourCC("vmhd");
};

struct SoundMediaHeaderAtom {
    static constexpr FourCharCode kType = fourCC("smhd");
};

struct BaseMediaInfoAtom {
    static constexpr FourCharCode kType = fourCC("gmin");
};

struct TimeCodeMediaInfoAtom {
    static constexpr FourCharCode kType = fourCC("tcmi");
    std::string fontName;
};

struct TimeCodeMediaAtom {
    static constexpr FourCharCode kType = fourCC("tmcd");
    TimeCodeMediaInfoAtom info;
};

struct BaseMediaHeaderAtom {
    static constexpr FourCharCode kType = fourCC("gmhd");
    BaseMediaInfoAtom info;
    TimeCodeMediaAtom timeCode;
};

using MediaTypeHeaderAtom =
    std::variant<VideoMediaHeaderAtom, SoundMediaHeaderAtom, BaseMediaHeaderAtom>;

struct AliasAtom {
    static constexpr FourCharCode kType = fourCC("alis");
    std::optional<AliasRecord> alias;  ///< none: the movie file itself
};

struct DataReferenceAtom {
    static constexpr FourCharCode kType = fourCC("dref");
    std::vector<AliasAtom> references;
};

struct DataInformationAtom {
    static constexpr FourCharCode kType = fourCC("dinf");
    DataReferenceAtom references;
};

struct ChannelLayoutAtom {
    static constexpr FourCharCode kType = fourCC("chan");
    AudioChannelLayout layout;
};

struct SampleDescriptionAtom {
    static constexpr FourCharCode kType = fourCC("stsd");
    std::span<const SampleDescription> descriptions;
    std::optional<ChannelLayoutAtom> channelLayout;  ///< in each sound description
};

struct TimeToSampleAtom {
    static constexpr FourCharCode kType = fourCC("stts");
    std::span<const SampleTable::DurationRun> runs;
};

struct SampleToChunkAtom {
    static constexpr FourCharCode kType = fourCC("stsc");
    std::span<const SampleTable::ChunkRun> runs;
};

struct SampleSizeAtom {
    static constexpr FourCharCode kType = fourCC("stsz");
    std::span<const SampleSizeRun> runs;
    std::uint32_t count = 0;
};

struct ChunkOffsetAtom {
    static constexpr FourCharCode kType = fourCC("stco");
    std::span<const std::uint64_t> offsets;
};

struct ChunkOffset64Atom {
    static constexpr FourCharCode kType = fourCC("co64");
    std::span<const std::uint64_t> offsets;
};

struct SampleTableAtom {
    static constexpr FourCharCode kType = fourCC("stbl");
    SampleDescriptionAtom descriptions;
    TimeToSampleAtom durations;
    SampleToChunkAtom chunks;
    SampleSizeAtom sizes;
    std::variant<ChunkOffsetAtom, ChunkOffset64Atom> offsets;
};

struct MediaInformationAtom {
    static constexpr FourCharCode kType = fourCC("minf");
    MediaTypeHeaderAtom header;
    HandlerReferenceAtom handler;
    DataInformationAtom data;
    SampleTableAtom samples;
};

struct MediaAtom {
    static constexpr FourCharCode kType = fourCC("mdia");
    MediaHeaderAtom header;
    HandlerReferenceAtom handler;
    MediaInformationAtom information;
};

struct TrackAtom {
    static constexpr FourCharCode kType = fourCC("trak");
    TrackHeaderAtom header;
    std::optional<EditAtom> edit;
    std::optional<TrackReferenceAtom> references;
    MediaAtom media;
};

struct MovieAtom {
    static constexpr FourCharCode kType = fourCC("moov");
    MovieHeaderAtom header;
    std::vector<TrackAtom> tracks;
};

/// The atoms of a movie. They refer to its tables: valid while the movie does not change.
/// @param time now, in seconds since 1904.
[[nodiscard]] MovieAtom atomsOf(const Movie& movie, std::uint32_t time);

/// The bytes of a movie atom; none when it takes 4 GiB or more, which its size cannot say.
[[nodiscard]] std::vector<std::byte> encoded(const MovieAtom& movie);

}  // namespace takebox::movietoolbox
