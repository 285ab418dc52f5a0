#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/movietoolbox/Movie.h"
#include "platform/movietoolbox/Status.h"

/// Writes QuickTime movies, as the QuickTime File Format describes them.
///
/// A movie is built from tracks, each with one media; a media's samples either lie in the movie
/// file (AddMediaSample) or in another file that the movie points to (AddMediaSampleReferences64).
///
/// Threads. Needs no set-up. A movie and what belongs to it is used by one thread at a time;
/// different movies may be used at the same time.
///
/// Ownership. Tracks and media belong to their movie and are valid as long as it.
///
/// Errors. Every operation takes null for an object whose creation failed, and returns
/// kInvalidMovie, kInvalidTrack, kInvalidMedia or kInvalidDataReference for it. A failed operation
/// leaves its object as it was.
namespace takebox::movietoolbox {

/// The status of the calling thread's last toolbox operation.
[[nodiscard]] Status GetMoviesError();

/// Creates the file of a movie and the empty movie. An existing file is replaced.
/// @return also any status that stands for an errno value; it is logged with the reason.
[[nodiscard]] Status CreateMovieStorage(const std::string& path, StorageMode mode,
                                        std::shared_ptr<DataHandler>& handler,
                                        std::shared_ptr<Movie>& movie);

/// @param volume 256 is full; 0 for what makes no sound.
/// @return null on failure; GetMoviesError() says why.
[[nodiscard]] Track* NewMovieTrack(Movie* movie, Fixed width, Fixed height, std::int16_t volume);

/// Gives a track its media, whose samples lie in the movie file unless a data reference is added.
/// @param type      'vide', 'soun' or 'tmcd'.
/// @param timeScale units per second, at least 1.
/// @return null on failure (also for a track that has one); GetMoviesError() says why.
[[nodiscard]] Media* NewTrackMedia(Track* track, FourCharCode type, std::int32_t timeScale);

/// Says what the samples of a media are, before there is one: readers want to know it also of a
/// media that remains without samples.
[[nodiscard]] Status AddMediaSampleDescription(Media* media, const SampleDescription& description);

/// Makes the samples of a media lie in another file. Before its first sample, and once.
[[nodiscard]] Status AddMediaDataRef(Media* media, const AliasRecord& alias);

/// Samples that lie one behind the other in the file that a media points to.
struct SampleReference64Record {
    std::uint64_t dataOffset = 0;        ///< from the start of that file
    std::uint32_t dataSize = 0;          ///< bytes that the reference covers
    std::int32_t durationPerSample = 0;  ///< media units; at least 0
    std::uint32_t numberOfSamples = 0;   ///< with 0 of them nothing is added to the media
    /// Bytes of one sample; 0: dataSize divided by numberOfSamples. Bytes that the reference covers
    /// and that belong to no sample remain without one.
    std::uint32_t sampleSize = 0;
};

/// Appends one sample reference to a media with a data reference.
/// @return kParameterError when the samples do not fit the size or the description the media;
///         kFormatLimit when the format cannot count so many.
[[nodiscard]] Status AddMediaSampleReferences64(Media* media, const SampleDescription& description,
                                                const SampleReference64Record& reference);

/// Between these two, samples may be added to a media of the movie file.
[[nodiscard]] Status BeginMediaEdits(Movie* movie, Media* media);
[[nodiscard]] Status EndMediaEdits(Media* media);

/// Appends samples, in one piece, to the movie file and to a media that is being edited.
/// @param sizes  bytes of each sample, one behind the other from the start of `data`; together not
///               more than `data` has.
/// @param durationPerSample media units; at least 0.
/// @return also any status that stands for an errno value. On failure nothing of it is in the file.
[[nodiscard]] Status AddMediaSample(Movie* movie, Media* media, std::span<const std::byte> data,
                                    std::int64_t durationPerSample,
                                    const SampleDescription& description,
                                    std::span<const SampleSizeRun> sizes);

/// In media units; 0 for no media.
[[nodiscard]] std::uint64_t GetMediaDuration(const Media* media);

/// Shows the first `mediaDuration` units of a track's media at its normal rate from the start of
/// the movie on. Once per track.
/// @return kInvalidDuration when the media is not as long.
[[nodiscard]] Status InsertMediaIntoTrack(Track* track, std::uint64_t mediaDuration);

/// The first track of the movie with a media of this type, or null and kTrackNotInMovie.
[[nodiscard]] Track* GetMovieIndTrackType(Movie* movie, FourCharCode mediaType);

/// Says that `from` uses `to` for a purpose, e.g. 'tmcd'. Both belong to the same movie.
[[nodiscard]] Status AddTrackReference(Track* from, const Track* to, FourCharCode type);

/// Stores a property of a track. There is one: class 'audi', property 'tlay', the audio channel
/// layout.
[[nodiscard]] Status QTSetTrackProperty(Track* track, FourCharCode propertyClass,
                                        FourCharCode property, std::size_t size,
                                        const AudioChannelLayout* layout);

/// Writes the movie into its storage; the second also in place of one written before. Tracks
/// without a media, or whose media has no description, are left out.
[[nodiscard]] Status AddMovieToStorage(Movie* movie);
[[nodiscard]] Status UpdateMovieInStorage(Movie* movie);

/// Closes the movie's file.
[[nodiscard]] Status CloseMovieStorage(DataHandler* handler);

}  // namespace takebox::movietoolbox
