#include "platform/movietoolbox/MovieToolbox.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <limits>
#include <utility>

#include "platform/movietoolbox/Atoms.h"
#include "platform/movietoolbox/ByteBuffer.h"

namespace takebox::movietoolbox {
namespace {

constexpr std::size_t kMaximumTracks = 256;

thread_local Status gMoviesError = kNoError;

Status remember(Status status) {
    gMoviesError = status;
    return status;
}

bool describes(const SampleDescription& description, FourCharCode mediaType) {
    switch (mediaType) {
        case fourCC("vide"):
            return std::holds_alternative<ImageDescription>(description);
        case fourCC("soun"):
            return std::holds_alternative<SoundDescription>(description);
        default:
            return std::holds_alternative<TimeCodeDescription>(description);
    }
}

/// The description's number in the media, counted from 1.
std::uint32_t indexOf(Media& media, const SampleDescription& description) {
    auto& known = media.descriptions;
    // Nearly always the one used last.
    const auto found = std::find(known.rbegin(), known.rend(), description);
    if (found != known.rend()) {
        return static_cast<std::uint32_t>(known.rend() - found);
    }
    known.push_back(description);
    return static_cast<std::uint32_t>(known.size());
}

/// What stands before samples in the file; see docs/files.md.
ByteBuffer chunkRecord(FourCharCode mediaType, std::size_t dataSize,
                       std::span<const SampleSizeRun> sizes) {
    std::uint32_t count = 0;
    for (const auto& run : sizes) {
        count += run.count;
    }
    ByteBuffer record;
    record.u32(mediaType);
    record.u32(static_cast<std::uint32_t>(dataSize));
    record.u32(count);
    if (sizes.size() == 1) {
        record.u32(sizes.front().size);
        return record;
    }
    record.u32(0);
    for (const auto& run : sizes) {
        for (std::uint32_t i = 0; i < run.count; ++i) {
            record.u32(run.size);
        }
    }
    return record;
}

/// Not less than the movie's atom takes; cheap.
std::uint64_t largestEncodedSize(const Movie& movie) {
    constexpr std::uint64_t kFixedPart = 64 * 1024;  // headers, descriptions, the time code track
    std::uint64_t size = kFixedPart;
    for (const auto& track : movie.tracks) {
        size += track->media ? track->media->samples.largestEncodedSize() : 0;
    }
    return size;
}

std::uint32_t secondsSince1904() {
    constexpr std::int64_t kUnixEpoch = 2082844800;
    return static_cast<std::uint32_t>(std::time(nullptr) + kUnixEpoch);
}

Status writeMovieAtom(Movie* movie) {
    if (movie == nullptr || !movie->storage) {
        return kInvalidMovie;
    }
    if (largestEncodedSize(*movie) > std::numeric_limits<std::uint32_t>::max()) {
        return kFormatLimit;
    }
    const std::vector<std::byte> bytes = encoded(atomsOf(*movie, secondsSince1904()));
    if (bytes.empty()) {
        return kFormatLimit;
    }
    return movie->storage->writeMovie(bytes);
}

/// Adds the chunk; the description only stays in the media when its samples do.
Status addChunk(Media& media, std::uint64_t offset, const SampleDescription& description,
                std::span<const SampleSizeRun> sizes, std::uint32_t duration) {
    const std::size_t known = media.descriptions.size();
    const Status status =
        media.samples.addChunk(offset, indexOf(media, description), sizes, duration);
    if (status != kNoError) {
        media.descriptions.resize(known);
    }
    return status;
}

}  // namespace

Status GetMoviesError() {
    return gMoviesError;
}

Status CreateMovieStorage(const std::string& path, StorageMode mode,
                          std::shared_ptr<DataHandler>& handler, std::shared_ptr<Movie>& movie) {
    movie = nullptr;
    if (const Status status = DataHandler::create(path, mode, handler); status != kNoError) {
        return remember(status);
    }
    movie = std::make_shared<Movie>();
    movie->storage = handler;
    return remember(kNoError);
}

Track* NewMovieTrack(Movie* movie, Fixed width, Fixed height, std::int16_t volume) {
    if (movie == nullptr) {
        remember(kInvalidMovie);
        return nullptr;
    }
    if (movie->tracks.size() >= kMaximumTracks || width < 0 || height < 0 || volume < 0) {
        remember(kParameterError);
        return nullptr;
    }
    auto track = std::make_unique<Track>();
    track->id = static_cast<std::uint32_t>(movie->tracks.size() + 1);
    track->width = width;
    track->height = height;
    track->volume = volume;
    movie->tracks.push_back(std::move(track));
    remember(kNoError);
    return movie->tracks.back().get();
}

Media* NewTrackMedia(Track* track, FourCharCode type, std::int32_t timeScale) {
    if (track == nullptr) {
        remember(kInvalidTrack);
        return nullptr;
    }
    const bool isKnown = type == fourCC("vide") || type == fourCC("soun") || type == fourCC("tmcd");
    if (track->media || !isKnown || timeScale < 1) {
        remember(kParameterError);
        return nullptr;
    }
    track->media = std::make_unique<Media>();
    track->media->type = type;
    track->media->timeScale = timeScale;
    remember(kNoError);
    return track->media.get();
}

Status AddMediaSampleDescription(Media* media, const SampleDescription& description) {
    if (media == nullptr) {
        return remember(kInvalidMedia);
    }
    if (!describes(description, media->type)) {
        return remember(kParameterError);
    }
    [[maybe_unused]] const std::uint32_t index = indexOf(*media, description);
    return remember(kNoError);
}

Status AddMediaDataRef(Media* media, const AliasRecord& alias) {
    if (media == nullptr) {
        return remember(kInvalidMedia);
    }
    const bool isUsable = !alias.target.empty() && alias.target.front() == '/';
    if (!media->dataReferences.empty() || media->samples.sampleCount() != 0 || !isUsable) {
        return remember(kInvalidDataReference);
    }
    media->dataReferences.push_back(alias);
    return remember(kNoError);
}

Status AddMediaSampleReferences64(Media* media, const SampleDescription& description,
                                  const SampleReference64Record& reference) {
    if (media == nullptr) {
        return remember(kInvalidMedia);
    }
    if (media->dataReferences.empty()) {
        return remember(kInvalidDataReference);
    }
    if (reference.durationPerSample < 0) {
        return remember(kInvalidDuration);
    }
    SampleSizeRun run{reference.numberOfSamples, reference.sampleSize};
    if (run.count != 0 && run.size == 0) {
        run.size = reference.dataSize / run.count;
    }
    if (std::uint64_t{run.count} * run.size > reference.dataSize ||
        (run.count != 0 && run.size == 0) || !describes(description, media->type)) {
        return remember(kParameterError);
    }
    const Status status = addChunk(*media, reference.dataOffset, description, {&run, 1},
                                   static_cast<std::uint32_t>(reference.durationPerSample));
    if (status == kNoError) {
        media->referencedBytes += reference.dataSize;
    }
    return remember(status);
}

Status BeginMediaEdits(Movie* movie, Media* media) {
    if (movie == nullptr || !movie->storage) {
        return remember(kInvalidMovie);
    }
    if (media == nullptr || media->isBeingEdited) {
        return remember(kInvalidMedia);
    }
    if (!media->dataReferences.empty()) {
        return remember(kInvalidDataReference);
    }
    media->isBeingEdited = true;
    return remember(kNoError);
}

Status EndMediaEdits(Media* media) {
    if (media == nullptr || !media->isBeingEdited) {
        return remember(kInvalidMedia);
    }
    media->isBeingEdited = false;
    return remember(kNoError);
}

Status AddMediaSample(Movie* movie, Media* media, std::span<const std::byte> data,
                      std::int64_t durationPerSample, const SampleDescription& description,
                      std::span<const SampleSizeRun> sizes) {
    constexpr auto kLargest = std::numeric_limits<std::uint32_t>::max();
    if (movie == nullptr || !movie->storage) {
        return remember(kInvalidMovie);
    }
    if (media == nullptr || !media->isBeingEdited) {
        return remember(kInvalidMedia);
    }
    if (durationPerSample < 0 || durationPerSample > kLargest) {
        return remember(kInvalidDuration);
    }
    std::uint64_t samples = 0;
    std::uint64_t bytes = 0;
    bool hasEmptyRun = false;
    for (const auto& run : sizes) {
        samples += run.count;
        bytes += std::uint64_t{run.count} * run.size;
        hasEmptyRun = hasEmptyRun || run.count == 0 || run.size == 0;
    }
    if (samples == 0 || hasEmptyRun || bytes > data.size() || data.size() > kLargest ||
        !describes(description, media->type)) {
        return remember(kParameterError);
    }
    if (!media->samples.hasRoomFor(samples)) {
        return remember(kFormatLimit);
    }
    std::uint64_t offset = 0;
    ByteBuffer record = chunkRecord(media->type, data.size(), sizes);
    // A second movie atom takes the place of the first only once it is whole.
    const std::uint64_t atomsToCome = movie->storage->hasMovie() ? 1 : 2;
    const std::uint64_t room = atomsToCome * largestEncodedSize(*movie);
    if (const Status status = movie->storage->appendMediaData(record.bytes(), data, room, offset);
        status != kNoError) {
        return remember(status);
    }
    return remember(addChunk(*media, offset, description, sizes,
                             static_cast<std::uint32_t>(durationPerSample)));
}

std::uint64_t GetMediaDuration(const Media* media) {
    return media == nullptr ? 0 : media->samples.duration();
}

Status InsertMediaIntoTrack(Track* track, std::uint64_t mediaDuration) {
    if (track == nullptr) {
        return remember(kInvalidTrack);
    }
    if (!track->media) {
        return remember(kInvalidMedia);
    }
    if (track->insertedDuration || mediaDuration > track->media->samples.duration()) {
        return remember(kInvalidDuration);
    }
    track->insertedDuration = mediaDuration;
    return remember(kNoError);
}

Track* GetMovieIndTrackType(Movie* movie, FourCharCode mediaType) {
    if (movie != nullptr) {
        for (const auto& track : movie->tracks) {
            if (track->media && track->media->type == mediaType) {
                remember(kNoError);
                return track.get();
            }
        }
    }
    remember(kTrackNotInMovie);
    return nullptr;
}

Status AddTrackReference(Track* from, const Track* to, FourCharCode type) {
    if (from == nullptr || to == nullptr) {
        return remember(kInvalidTrack);
    }
    from->references.push_back({type, to->id});
    return remember(kNoError);
}

Status QTSetTrackProperty(Track* track, FourCharCode propertyClass, FourCharCode property,
                          std::size_t size, const AudioChannelLayout* layout) {
    if (track == nullptr) {
        return remember(kInvalidTrack);
    }
    if (propertyClass != fourCC("audi") || property != fourCC("tlay") || layout == nullptr ||
        size != sizeof(AudioChannelLayout) ||
        layout->mNumberChannelDescriptions > layout->mChannelDescriptions.size()) {
        return remember(kParameterError);
    }
    track->audioChannelLayout = *layout;
    return remember(kNoError);
}

Status AddMovieToStorage(Movie* movie) {
    return remember(writeMovieAtom(movie));
}

Status UpdateMovieInStorage(Movie* movie) {
    return remember(writeMovieAtom(movie));
}

Status CloseMovieStorage(DataHandler* handler) {
    return remember(handler == nullptr ? kInvalidDataReference : handler->close());
}

}  // namespace takebox::movietoolbox
