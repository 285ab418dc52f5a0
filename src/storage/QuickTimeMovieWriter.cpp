// The self-contained movie: what the receive thread queues and the writer thread appends.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

#include "platform/log/Log.h"
#include "storage/DVDescriptions.h"
#include "storage/QuickTimeMovie.h"
#include "storage/WriterThreads.h"

namespace takebox {

using namespace movietoolbox;

namespace {

constexpr std::int32_t kFrameDuration = 100;
constexpr std::int32_t kAudioTimeScale = 48000;
constexpr std::int16_t kFullVolume = 256;
// How often, and for how long, a chunk that the disk refuses is tried again: half of what can wait.
constexpr std::chrono::milliseconds kPause{50};
constexpr std::chrono::milliseconds kPatience{600};

/// How the message of an overflow begins.
const char* reasonOf(Status refusal) {
    switch (refusal) {
        case kNoError:
            return "The disk was too slow: the self-contained movie";
        case kDiskFull:
            return "The disk is full: the self-contained movie";
        default:
            return "The disk refused what was to be written: the self-contained movie";
    }
}

/// Says, while it exists, that a buffered add is under way.
class Adding {
public:
    explicit Adding(std::atomic<bool>& flag) : mFlag(flag) { mFlag.store(true); }
    ~Adding() { mFlag.store(false); }
    Adding(const Adding&) = delete;
    Adding& operator=(const Adding&) = delete;

private:
    std::atomic<bool>& mFlag;
};

}  // namespace

void QuickTimeMovie::startWriteMovieThread() {
    if (_isSelfContained) {
        return;
    }
    _isSelfContained = true;
    _videoChunksToWrite.reset();
    _audioChunksToWrite.reset();
    _mustGoOn.store(true);
    _isBeingWritten.store(true);
    WriterThreads::start("movie writer",
                         [self = shared_from_this()] { self->writeSelfContainedSamplesThread(); });
}

void QuickTimeMovie::stopWriteMovieThread() {
    _mustGoOn.store(false);
    _somethingToWrite.signal();
}

bool QuickTimeMovie::bufferedAddVideoSample(const void* bytes, std::uint32_t sizeInBytes) {
    const Adding adding(_isAdding);
    if (!_mustGoOn.load() || sizeInBytes == 0) {
        return false;
    }
    const auto added = _videoChunksToWrite.add(bytes, sizeInBytes, 1, sizeInBytes);
    if (!added.isKept) {
        logFromReceiveThread("Dropped video frame (buffer underrun).");
    }
    if (added.hasFilledChunk) {
        _somethingToWrite.signal();
    }
    return added.isForMovie;
}

bool QuickTimeMovie::bufferedAddAudioSample(const void* bytes, std::uint32_t sizeInBytes,
                                            std::uint32_t samplesCount) {
    const Adding adding(_isAdding);
    const std::uint32_t bytesPerFrame = bytesPerSampleFrame(_audioDescriptionHandle[0]);
    if (!_mustGoOn.load() || bytesPerFrame == 0) {
        return false;
    }
    // Whole sample frames only: with a part of one, the channels behind it would change places.
    const std::uint32_t samples = std::min(samplesCount, sizeInBytes / bytesPerFrame);
    if (samples == 0) {
        return true;
    }
    const auto added =
        _audioChunksToWrite.add(bytes, samples * bytesPerFrame, samples, bytesPerFrame);
    if (!added.isKept) {
        logFromReceiveThread("Dropped %i audio samples (buffer underrun).",
                             static_cast<int>(samplesCount));
    }
    if (added.hasFilledChunk) {
        _somethingToWrite.signal();
    }
    return added.isForMovie;
}

void QuickTimeMovie::writeSelfContainedSamplesThread() {
    // Each failure is logged and noted where it arises. The thread runs on regardless, so that the
    // chunks go on circulating.
    if (createMovie() == kNoError) {
        _sync = PeriodicSync::start(movieFilePathOnDisk());
    }
    [[maybe_unused]] const Status video = initializeVideoTrack();
    [[maybe_unused]] const Status audio = initializeAudioTracks();
    while (_mustGoOn.load()) {
        writeNextChunks();
        _somethingToWrite.wait();
    }
    while (_isAdding.load()) {
        std::this_thread::yield();
    }
    drainChunks();
    if (_sync) {
        _wasRemoved = _sync->isRemoved();
        _sync->stop();
        _sync = nullptr;
    }
    closeVideoTrack();
    closeAudioTracks();
    finishMovie();
    addTimeCodeSample();
    if (noted(UpdateMovieInStorage(_movie.get())) != kNoError) {
        _isRefused = true;
    }
    closeMovieFile();
    _isBeingWritten.store(false);
}

Status QuickTimeMovie::initializeVideoTrack() {
    _videoTrack = NewMovieTrack(_movie.get(), Long2Fix(_videoDescriptionHandle.width),
                                Long2Fix(_videoDescriptionHandle.height), 0);
    if (_videoTrack == nullptr) {
        const Status status = GetMoviesError();
        logMessage("NewMovieTrack (video) failed! (%i)", status);
        return noted(status);
    }
    _videoMedia = NewTrackMedia(_videoTrack, fourCC("vide"), _videoTimeScale);
    if (_videoMedia == nullptr) {
        const Status status = GetMoviesError();
        logMessage("NewTrackMedia (video) failed! (%i)", status);
        return noted(status);
    }
    noted(AddMediaSampleDescription(_videoMedia, _videoDescriptionHandle));
    const Status status = noted(BeginMediaEdits(_movie.get(), _videoMedia));
    if (status != kNoError) {
        logMessage("BeginMediaEdits (video) failed! (%i)", status);
    }
    return status;
}

Status QuickTimeMovie::initializeAudioTracks() {
    const auto count = static_cast<std::size_t>(usableAudioTracksCount());
    for (std::size_t index = 0; index < count; ++index) {
        _audioTrack[index] = NewMovieTrack(_movie.get(), 0, 0, kFullVolume);
        if (_audioTrack[index] == nullptr) {
            const Status status = GetMoviesError();
            logMessage("NewMovieTrack (audio) failed! (%i)", status);
            return noted(status);
        }
        _audioMedia[index] = NewTrackMedia(_audioTrack[index], fourCC("soun"), kAudioTimeScale);
        if (_audioMedia[index] == nullptr) {
            const Status status = GetMoviesError();
            logMessage("NewTrackMedia (audio) failed! (%i)", status);
            return noted(status);
        }
    }
    for (std::size_t index = 0; index < count; ++index) {
        noted(AddMediaSampleDescription(_audioMedia[index], _audioDescriptionHandle[index]));
        const Status status = noted(BeginMediaEdits(_movie.get(), _audioMedia[index]));
        if (status != kNoError) {
            logMessage("BeginMediaEdits (audio) failed! (%i)", status);
            return status;
        }
    }
    return kNoError;
}

void QuickTimeMovie::writeNextChunks() {
    reportUnderruns(kNoError);
    if (ChunkToWrite* const chunk = _videoChunksToWrite.nextFullChunk()) {
        writeChunk(_videoChunksToWrite, *chunk);
    }
    if (ChunkToWrite* const chunk = _audioChunksToWrite.nextFullChunk()) {
        writeChunk(_audioChunksToWrite, *chunk);
    }
}

void QuickTimeMovie::drainChunks() {
    reportUnderruns(kNoError);
    while (ChunkToWrite* const chunk = _videoChunksToWrite.nextChunkOfDrain()) {
        writeChunk(_videoChunksToWrite, *chunk);
    }
    while (ChunkToWrite* const chunk = _audioChunksToWrite.nextChunkOfDrain()) {
        writeChunk(_audioChunksToWrite, *chunk);
    }
}

void QuickTimeMovie::writeChunk(ChunkRing& ring, ChunkToWrite& chunk) {
    const bool isVideo = &ring == &_videoChunksToWrite;
    const std::uint32_t samples = chunk.sampleCount();
    const Status status = isVideo ? addVideoChunkToMovie(chunk) : addAudioChunkToMovie(chunk);
    auto& done = isVideo ? _framesDone : _samplesDone;
    if (status != kNoError) {
        countUnwritten(isVideo, done, samples);
    }
    done += samples;
    ring.chunkWasWritten(chunk);
}

void QuickTimeMovie::countUnwritten(bool isVideo, std::uint64_t first, std::uint32_t samples) {
    if (isVideo) {
        _unwrittenVideoFrames.fetch_add(samples, std::memory_order_relaxed);
        _refusedFrames.add({first, samples});
        return;
    }
    _unwrittenAudioSamples.fetch_add(samples, std::memory_order_relaxed);
    // The chunks hold the sound of whole frames, as far as a frame has a whole number of samples.
    const auto frameAt = [this](std::uint64_t sample) {
        return static_cast<std::uint64_t>(std::llround(
            static_cast<double>(sample) * _videoTimeScale / kFrameDuration / kAudioTimeScale));
    };
    _refusedFrames.add({frameAt(first), frameAt(first + samples) - frameAt(first)});
}

template <class Add>
Status QuickTimeMovie::addPatiently(Add add) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    Status status = noted(add());
    Status refusal = status;
    _isRefused = status != kNoError;
    // A full disk may be freed at any time; after another refusal the next chunk may fare better.
    while (status == kDiskFull ||
           (_isPatient && status == kInputOutputError && std::chrono::steady_clock::now() < end)) {
        if (!_mustGoOn.load()) {
            break;
        }
        reportUnderruns(refusal);
        std::this_thread::sleep_for(kPause);
        status = noted(add());
        refusal = status != kNoError ? status : refusal;
    }
    // What overflowed meanwhile did so because of the refusal, even if that is over now.
    reportUnderruns(refusal);
    _isPatient = status == kNoError;
    _isRefused = status != kNoError;
    return status;
}

Status QuickTimeMovie::addVideoChunkToMovie(const ChunkToWrite& chunk) {
    const Status status = addPatiently([&] {
        return AddMediaSample(_movie.get(), _videoMedia, chunk.bytes(), kFrameDuration,
                              _videoDescriptionHandle, chunk.sampleSizes());
    });
    if (status != kNoError) {
        logMessage("AddMediaSample (video) failed! (%i)", status);
    }
    return status;
}

Status QuickTimeMovie::addAudioChunkToMovie(const ChunkToWrite& chunk) {
    const Status status = addPatiently([&] {
        return AddMediaSample(_movie.get(), _audioMedia[0], chunk.bytes(), 1,
                              _audioDescriptionHandle[0], chunk.sampleSizes());
    });
    if (status != kNoError) {
        // Both kinds of chunk are reported in the same words.
        logMessage("AddMediaSample (video) failed! (%i)", status);
    }
    return status;
}

Status QuickTimeMovie::closeVideoTrack() {
    if (const Status status = noted(EndMediaEdits(_videoMedia)); status != kNoError) {
        logMessage("EndMediaEdits (video) failed! (%i)", status);
    }
    const Status status = noted(InsertMediaIntoTrack(_videoTrack, GetMediaDuration(_videoMedia)));
    if (status != kNoError) {
        logMessage("InsertMediaIntoTrack (video) failed!");
    }
    return status;
}

Status QuickTimeMovie::closeAudioTracks() {
    const std::int32_t count = usableAudioTracksCount();
    for (std::int32_t index = 0; index < count; ++index) {
        Media* const media = _audioMedia[static_cast<std::size_t>(index)];
        if (const Status status = noted(EndMediaEdits(media)); status != kNoError) {
            logMessage("EndMediaEdits (audio) failed! (%i)", status);
            return status;
        }
    }
    Status status = kNoError;
    for (std::int32_t index = 0; index < count; ++index) {
        Track* const track = _audioTrack[static_cast<std::size_t>(index)];
        status = noted(InsertMediaIntoTrack(
            track, GetMediaDuration(_audioMedia[static_cast<std::size_t>(index)])));
        if (status != kNoError) {
            logMessage("InsertMediaIntoTrack (audio) failed! (%i)", status);
            return status;
        }
        status = noted(setChannelLayout(track, index));
    }
    stopWriteMovieThread();
    return status;
}

/// @param refusal what the disk has last said to this chunk, for the reason of an overflow.
void QuickTimeMovie::reportUnderruns(Status refusal) {
    const char* const reason = reasonOf(refusal);
    if (_videoChunksToWrite.isFrozen() && !_hasReportedVideoUnderrun) {
        _hasReportedVideoUnderrun = true;
        logMessage("%s %s is complete up to frame %llu, and its picture ends there.", reason,
                   movieFilePathOnDisk().c_str(),
                   static_cast<unsigned long long>(_videoChunksToWrite.samplesBeforeUnderrun()));
    }
    if (_audioChunksToWrite.isFrozen() && !_hasReportedAudioUnderrun) {
        _hasReportedAudioUnderrun = true;
        logMessage("%s %s is complete up to audio sample %llu, and its sound ends there.", reason,
                   movieFilePathOnDisk().c_str(),
                   static_cast<unsigned long long>(_audioChunksToWrite.samplesBeforeUnderrun()));
    }
}

}  // namespace takebox
