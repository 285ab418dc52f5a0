#include "platform/movietoolbox/Atoms.h"

#include <algorithm>
#include <limits>

namespace takebox::movietoolbox {
namespace {

constexpr std::uint32_t kMovieTimeScale = 600;

/// Rounded up: a reader that stops at the track's end must not lose the last samples.
std::uint64_t inMovieTime(std::uint64_t duration, std::int32_t timeScale) {
    const auto scale = static_cast<std::uint64_t>(timeScale);
    const std::uint64_t seconds = duration / scale;
    const std::uint64_t rest = duration % scale;
    constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (seconds >= kLargest / kMovieTimeScale) {
        return kLargest;
    }
    return seconds * kMovieTimeScale + (rest * kMovieTimeScale + scale - 1) / scale;
}

MediaTypeHeaderAtom typeHeaderOf(const Media& media) {
    switch (media.type) {
        case fourCC("vide"):
            return VideoMediaHeaderAtom{};
        case fourCC("soun"):
            return SoundMediaHeaderAtom{};
        default:
            return BaseMediaHeaderAtom{{}, {{media.displayFont}}};
    }
}

DataInformationAtom dataReferencesOf(const Media& media) {
    DataInformationAtom atom;
    for (const auto& alias : media.dataReferences) {
        atom.references.references.push_back({alias});
    }
    if (media.dataReferences.empty()) {
        atom.references.references.emplace_back();
    }
    return atom;
}

SampleTableAtom sampleTableOf(const Track& track) {
    const SampleTable& samples = track.media->samples;
    SampleTableAtom atom;
    atom.descriptions.descriptions = track.media->descriptions;
    if (track.audioChannelLayout) {
        atom.descriptions.channelLayout = {*track.audioChannelLayout};
    }
    atom.durations.runs = samples.durations();
    atom.chunks.runs = samples.chunks();
    atom.sizes.runs = samples.sizes();
    atom.sizes.count = samples.sampleCount();
    const bool is64Bit = std::any_of(
        samples.offsets().begin(), samples.offsets().end(),
        [](std::uint64_t offset) { return offset > std::numeric_limits<std::uint32_t>::max(); });
    if (is64Bit) {
        atom.offsets = ChunkOffset64Atom{samples.offsets()};
    } else {
        atom.offsets = ChunkOffsetAtom{samples.offsets()};
    }
    return atom;
}

TrackAtom atomsOf(const Track& track, std::uint32_t time) {
    const Media& media = *track.media;
    const std::uint64_t duration = inMovieTime(track.insertedDuration.value_or(0), media.timeScale);
    TrackAtom atom;
    atom.header.flags = TrackHeaderAtom::kInMoviePreviewAndPoster |
                        (track.isEnabled ? TrackHeaderAtom::kEnabled : 0);
    atom.header.time = time;
    atom.header.trackID = track.id;
    atom.header.duration = duration;
    atom.header.volume = track.volume;
    atom.header.verticalPosition = track.verticalPosition;
    atom.header.width = track.width;
    atom.header.height = track.height;
    if (track.insertedDuration) {
        atom.edit = {{duration}};
    }
    if (!track.references.empty()) {
        atom.references = {track.references};
    }
    atom.media.header = {time, static_cast<std::uint32_t>(media.timeScale),
                         media.samples.duration()};
    atom.media.handler = {fourCC("mhlr"), media.type};
    atom.media.information = {typeHeaderOf(media),
                              {fourCC("dhlr"), fourCC("alis")},
                              dataReferencesOf(media),
                              sampleTableOf(track)};
    return atom;
}

}  // namespace

MovieAtom atomsOf(const Movie& movie, std::uint32_t time) {
    MovieAtom atom;
    atom.header.time = time;
    atom.header.timeScale = kMovieTimeScale;
    atom.header.nextTrackID = static_cast<std::uint32_t>(movie.tracks.size() + 1);
    for (const auto& track : movie.tracks) {
        // Readers refuse a whole movie for one track that does not say what it holds, as the time
        // code's does when the disk had no room for it.
        if (track->media && !track->media->descriptions.empty()) {
            atom.tracks.push_back(atomsOf(*track, time));
            atom.header.duration =
                std::max(atom.header.duration, atom.tracks.back().header.duration);
        }
    }
    return atom;
}

}  // namespace takebox::movietoolbox
