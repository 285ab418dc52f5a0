#pragma once

#include <QString>
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/movietoolbox/MovieToolbox.h"
#include "platform/movietoolbox/TimeCodeRecord.h"
#include "platform/runloop/WakeUp.h"
#include "storage/ChunkRing.h"
#include "storage/FrameRanges.h"
#include "storage/PeriodicSync.h"

namespace takebox {

/// Writes the two kinds of movie that a recording can have.
///
/// - The reference movie holds no media. Its tracks point into the raw DV and audio files, for a
///   preset duration: createMovie(), addVideoSamples(), addAudioSamples(), addTimeCodeSample(),
///   finishMovie(), closeMovieFile(), all on one thread, in one go.
/// - The self-contained movie holds its own copy of every frame and sample. startWriteMovieThread()
///   starts a writer thread, which creates the movie, appends what the buffered adds have queued,
///   and writes and closes it after stopWriteMovieThread().
///
/// Threads. Everything is set before the movie is built or its writer thread started, and not
/// changed afterwards. The buffered adds run on one receive thread: they only copy, into memory
/// that exists already, and drop what finds no room. From startWriteMovieThread() on all else
/// belongs to the writer thread, except stopWriteMovieThread(), losses() and isOpen(), which any
/// thread may call.
///
/// Ownership. The writer thread keeps the movie alive until the file is closed, whoever else lets
/// go of it; it must be stopped before. WriterThreads::waitUntilFinished() waits for it.
///
/// Errors. A status is 0 or a code of the movie toolbox, and is logged where it arises. A failure
/// leaves a partial or empty file. When the disk is full the movie ends there, but plays.
class QuickTimeMovie : public std::enable_shared_from_this<QuickTimeMovie> {
    struct Private {};

public:
    using Status = movietoolbox::Status;

    static constexpr std::int32_t kMaximumTracks = 16;
    static constexpr std::size_t kTrackSlots = 128;
    static constexpr std::uint32_t kVideoChunkSize = 840000;
    static constexpr std::uint32_t kAudioChunkSize = 96000;

    [[nodiscard]] static std::shared_ptr<QuickTimeMovie> make();
    explicit QuickTimeMovie(Private);  ///< make() calls it.

    // Building
    /// Creates the file and an empty movie. @return -1 without a path.
    Status createMovie();
    /// Builds the video track from references into the raw DV file.
    Status addVideoSamples();
    /// Builds the audio tracks from references into their raw audio files.
    Status addAudioSamples();
    /// Adds the time code track of the first frame, as long as the video track.
    Status addTimeCodeSample();
    /// Writes the movie into its file.
    void finishMovie();
    /// Closes the file and forgets the movie. Nothing when the movie is not open.
    void closeMovieFile();
    /// Says which speaker each channel of a track is for. @return -50 when an argument is missing.
    static Status setTrackLayout(movietoolbox::Track* track, std::size_t layoutSize,
                                 const movietoolbox::AudioChannelLayout* layout);

    // Self-contained movie
    /// Once per movie.
    void startWriteMovieThread();
    /// The writer thread writes what is queued, and closes the movie. Does not wait for it.
    void stopWriteMovieThread();
    /// Receive thread: queues one DV frame of any size up to kVideoChunkSize.
    /// @return whether the movie will have it, if the disk takes it.
    bool bufferedAddVideoSample(const void* bytes, std::uint32_t sizeInBytes);
    /// Receive thread: queues sound of so many sample frames. @return as above.
    bool bufferedAddAudioSample(const void* bytes, std::uint32_t sizeInBytes,
                                std::uint32_t samplesCount);

    /// What the movie lacks.
    struct Losses {
        std::uint64_t videoFrames = 0;   ///< offered, but not in the movie
        std::uint64_t audioSamples = 0;  ///< sample frames, likewise
        int errorNumber = 0;             ///< errno of the first write that failed, 0 for none
        Status status = 0;               ///< of the first operation that failed, 0 for none

        [[nodiscard]] bool areNone() const {
            return videoFrames == 0 && audioSamples == 0 && errorNumber == 0 && status == 0;
        }
    };
    /// Final once the writer thread has finished or closeMovieFile() has returned. Any thread.
    [[nodiscard]] Losses losses() const;
    /// Frames whose picture or sound the disk refused for good. Any thread.
    [[nodiscard]] FrameRanges refusedFrames() const { return _refusedFrames.ranges(); }
    /// The disk does not take the data at present; once the movie is closed, not even at its end.
    /// Any thread.
    [[nodiscard]] bool isRefused() const { return _isRefused; }

    // Fields
    void setMovieFilePath(const QString& path) { _movieFilePath = path; }
    [[nodiscard]] QString movieFilePath() const { return _movieFilePath; }
    void setVideoFilePath(const QString& path) { _videoFilePath = path; }
    [[nodiscard]] QString videoFilePath() const { return _videoFilePath; }
    void setAudioFilePath(const QString& path, std::size_t forTrackIndex) {
        _audioFilePath.at(forTrackIndex) = path;
    }
    [[nodiscard]] QString audioFilePathForTrackIndex(std::size_t index) const {
        return _audioFilePath.at(index);
    }
    void setQuickTimeTitle(const QString& title) { _quickTimeTitle = title; }
    [[nodiscard]] QString quickTimeTitle() const { return _quickTimeTitle; }
    /// Seconds that a reference movie covers.
    void setDuration(double duration) { _duration = duration; }
    [[nodiscard]] double duration() const { return _duration; }
    /// Stored only: the raw audio file has no header.
    void setAiffHeaderSize(std::int64_t size) { _aiffHeaderSize = size; }
    [[nodiscard]] std::int64_t aiffHeaderSize() const { return _aiffHeaderSize; }
    /// Of the first frame.
    void setStartTimeCode(const TimeCodeRecord& timeCode) { _startTimeCode = timeCode; }
    [[nodiscard]] TimeCodeRecord startTimeCode() const { return _startTimeCode; }
    void setVideoDescriptionHandle(const movietoolbox::ImageDescription& description) {
        _videoDescriptionHandle = description;
    }
    [[nodiscard]] const movietoolbox::ImageDescription& videoDescriptionHandle() const {
        return _videoDescriptionHandle;
    }
    void setAudioDescriptionHandle(const movietoolbox::SoundDescription& description,
                                   std::size_t forTrackIndex) {
        _audioDescriptionHandle.at(forTrackIndex) = description;
    }
    [[nodiscard]] const movietoolbox::SoundDescription& audioDescriptionHandleForTrackIndex(
        std::size_t index) const {
        return _audioDescriptionHandle.at(index);
    }
    /// Also replaces the image description by a fresh one of this kind.
    void setIsPAL(bool isPAL);
    [[nodiscard]] bool isPAL() const { return _isPAL; }
    void setAudioTracksCount(std::int32_t count) { _audioTracksCount = count; }
    [[nodiscard]] std::int32_t audioTracksCount() const { return _audioTracksCount; }
    void setVideoTimeScale(std::int32_t scale) { _videoTimeScale = scale; }
    [[nodiscard]] std::int32_t videoTimeScale() const { return _videoTimeScale; }
    void setAudioTimeScale(std::int32_t scale, std::size_t forTrackIndex) {
        _audioTimeScale.at(forTrackIndex) = scale;
    }
    [[nodiscard]] std::int32_t audioTimeScaleForTrackIndex(std::size_t index) const {
        return _audioTimeScale.at(index);
    }
    void setVideoFrameSize(std::uint32_t size) { _videoFrameSize = size; }
    [[nodiscard]] std::uint32_t videoFrameSize() const { return _videoFrameSize; }
    /// Bytes that one audio sample reference covers.
    void setAudioChunkSize(std::uint32_t size, std::size_t forTrackIndex) {
        _audioChunkSize.at(forTrackIndex) = size;
    }
    [[nodiscard]] std::uint32_t audioChunkSizeForTrackIndex(std::size_t index) const {
        return _audioChunkSize.at(index);
    }
    void setDropFrame(bool dropFrame) { _dropFrame = dropFrame; }
    [[nodiscard]] bool dropFrame() const { return _dropFrame; }
    /// Label both channels of the sound as mono.
    void setMonoTracks(bool monoTracks) { _monoTracks = monoTracks; }
    [[nodiscard]] bool monoTracks() const { return _monoTracks; }
    void setMovie(std::shared_ptr<movietoolbox::Movie> movie) { _movie = std::move(movie); }
    [[nodiscard]] const std::shared_ptr<movietoolbox::Movie>& movie() const { return _movie; }
    /// Somebody removed the file before the writer thread closed it. Any thread.
    [[nodiscard]] bool wasRemoved() const { return _wasRemoved; }
    /// The writer thread has closed the movie; before it was started, too. Any thread.
    [[nodiscard]] bool hasFinished() const { return !_isBeingWritten.load(); }
    [[nodiscard]] bool isOpen() const { return _isOpen.load(std::memory_order_relaxed); }

private:
    [[nodiscard]] std::int32_t usableAudioTracksCount() const;
    [[nodiscard]] std::string movieFilePathOnDisk() const;
    Status pointTo(movietoolbox::Media* media, const QString& path) const;
    Status setChannelLayout(movietoolbox::Track* track, std::int32_t trackIndex);
    Status addAudioReferences(std::int32_t trackIndex);
    Status noted(Status status);
    void synchronizeClosedFile(const std::string& path) const;

    // Time code track
    [[nodiscard]] movietoolbox::TimeCodeDescription timeCodeDescription(
        std::int32_t videoTimeScale) const;
    Status addTimeCodeToMedia(movietoolbox::Track* videoTrack, movietoolbox::Track* timeCodeTrack,
                              movietoolbox::Media* timeCodeMedia,
                              const movietoolbox::TimeCodeDescription& description);

    // Writer thread
    void writeSelfContainedSamplesThread();
    Status initializeVideoTrack();
    Status initializeAudioTracks();
    void writeNextChunks();
    void drainChunks();
    void writeChunk(ChunkRing& ring, ChunkToWrite& chunk);
    void countUnwritten(bool isVideo, std::uint64_t first, std::uint32_t samples);
    template <class Add>
    Status addPatiently(Add add);
    Status addVideoChunkToMovie(const ChunkToWrite& chunk);
    Status addAudioChunkToMovie(const ChunkToWrite& chunk);
    Status closeVideoTrack();
    Status closeAudioTracks();
    void reportUnderruns(Status refusal);

    QString _movieFilePath;
    std::array<QString, kTrackSlots> _audioFilePath;
    QString _videoFilePath;
    QString _quickTimeTitle;
    std::shared_ptr<movietoolbox::Movie> _movie;
    double _duration = 0;
    std::int64_t _aiffHeaderSize = 0;
    TimeCodeRecord _startTimeCode;
    movietoolbox::ImageDescription _videoDescriptionHandle;
    std::array<movietoolbox::SoundDescription, kTrackSlots> _audioDescriptionHandle;
    bool _isPAL = true;
    bool _monoTracks = false;
    bool _dropFrame = false;
    std::int32_t _videoTimeScale = 0;
    std::array<std::int32_t, kTrackSlots> _audioTimeScale{};
    std::uint32_t _videoFrameSize = 144000;
    std::array<std::uint32_t, kTrackSlots> _audioChunkSize{};
    std::int32_t _audioTracksCount = 0;
    std::shared_ptr<movietoolbox::DataHandler> _movieDataHandler;
    bool _isSelfContained = false;  // its writer thread has been started

    // Writer thread. Tracks and media belong to _movie.
    std::array<movietoolbox::Track*, kMaximumTracks> _audioTrack{};
    std::array<movietoolbox::Media*, kMaximumTracks> _audioMedia{};
    std::shared_ptr<PeriodicSync> _sync;  // null when the movie could not be created
    movietoolbox::Track* _videoTrack = nullptr;
    movietoolbox::Media* _videoMedia = nullptr;
    bool _isPatient = true;          // the disk has not refused to the last
    std::uint64_t _framesDone = 0;   // written or refused
    std::uint64_t _samplesDone = 0;  // sample frames, likewise
    bool _hasReportedVideoUnderrun = false;
    bool _hasReportedAudioUnderrun = false;

    // Receive thread and writer thread
    ChunkRing _videoChunksToWrite{kVideoChunkSize};
    ChunkRing _audioChunksToWrite{kAudioChunkSize};
    WakeUp _somethingToWrite;
    // The drain must not meet a buffered add that is still copying. An add first says that it is
    // under way and then looks whether it may go on; the writer first sees that nothing may go on
    // and then waits until nothing is under way. All four accesses are sequentially consistent:
    // with less, each side could miss what the other has just said.
    std::atomic<bool> _mustGoOn{false};
    std::atomic<bool> _isAdding{false};

    // Any thread
    std::atomic<bool> _isOpen{false};
    std::atomic<bool> _isBeingWritten{false};
    std::atomic<bool> _isRefused{false};
    std::atomic<bool> _wasRemoved{false};
    std::atomic<std::uint64_t> _unwrittenVideoFrames{0};
    std::atomic<std::uint64_t> _unwrittenAudioSamples{0};
    RefusedFrames _refusedFrames;
    std::atomic<int> _errorNumber{0};
    std::atomic<Status> _firstStatus{0};
};

}  // namespace takebox
