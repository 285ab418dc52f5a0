#include "storage/QuickTimeMovie.h"

#include <QFile>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "platform/log/Log.h"
#include "storage/DVDescriptions.h"
#include "storage/WriterThreads.h"

namespace takebox {

using namespace movietoolbox;

namespace {

constexpr std::int32_t kDefaultAudioTimeScale = 48000;
constexpr std::uint32_t kDefaultAudioChunkSize = 480000;
constexpr std::uint32_t kVideoReferenceSize = 840000;
constexpr std::int32_t kFrameDuration = 100;
constexpr std::int16_t kFullVolume = 256;

std::string pathOnDisk(const QString& path) {
    return QFile::encodeName(path).toStdString();
}

std::uint32_t truncated(double value) {
    // Written so that what is no number becomes 0.
    if (!(value > 0)) {
        return 0;
    }
    constexpr double kLargest = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::min(value, kLargest));
}

/// How a media is covered by references of equal size and a shorter one at the end.
struct Coverage {
    SampleReference64Record reference;  ///< the first of the full ones
    std::uint32_t fullReferences = 0;
    SampleReference64Record remainder;  ///< its offset is set when its turn comes
    bool hasRemainder = false;
};

Status addReferences(Media* media, const SampleDescription& description, Coverage coverage) {
    auto& reference = coverage.reference;
    for (std::uint32_t i = 0; i < coverage.fullReferences; ++i) {
        if (const Status status = AddMediaSampleReferences64(media, description, reference);
            status != kNoError) {
            return status;
        }
        reference.dataOffset += reference.dataSize;
    }
    if (!coverage.hasRemainder) {
        return kNoError;
    }
    coverage.remainder.dataOffset = reference.dataOffset;
    return AddMediaSampleReferences64(media, description, coverage.remainder);
}

}  // namespace

std::shared_ptr<QuickTimeMovie> QuickTimeMovie::make() {
    return std::make_shared<QuickTimeMovie>(Private{});
}

QuickTimeMovie::QuickTimeMovie(Private)
    : _videoDescriptionHandle(createDVPALImageDescriptionHandle()) {
    _audioDescriptionHandle.fill(createDVSoundDescriptionHandle());
    _audioTimeScale.fill(kDefaultAudioTimeScale);
    _audioChunkSize.fill(kDefaultAudioChunkSize);
}

void QuickTimeMovie::setIsPAL(bool isPAL) {
    _isPAL = isPAL;
    _videoDescriptionHandle =
        isPAL ? createDVPALImageDescriptionHandle() : createDVNTSCImageDescriptionHandle();
}

std::int32_t QuickTimeMovie::usableAudioTracksCount() const {
    return std::clamp(_audioTracksCount, 0, kMaximumTracks);
}

std::string QuickTimeMovie::movieFilePathOnDisk() const {
    return pathOnDisk(_movieFilePath);
}

Status QuickTimeMovie::noted(Status status) {
    Status none = kNoError;
    _firstStatus.compare_exchange_strong(none, status, std::memory_order_relaxed);
    if (_movieDataHandler) {
        _errorNumber.store(_movieDataHandler->errorNumber(), std::memory_order_relaxed);
    }
    return status;
}

QuickTimeMovie::Losses QuickTimeMovie::losses() const {
    Losses losses;
    losses.videoFrames = _videoChunksToWrite.droppedSamples() +
                         _unwrittenVideoFrames.load(std::memory_order_relaxed);
    losses.audioSamples = _audioChunksToWrite.droppedSamples() +
                          _unwrittenAudioSamples.load(std::memory_order_relaxed);
    losses.errorNumber = _errorNumber.load(std::memory_order_relaxed);
    losses.status = _firstStatus.load(std::memory_order_relaxed);
    return losses;
}

Status QuickTimeMovie::createMovie() {
    if (_movieFilePath.isEmpty()) {
        return noted(-1);
    }
    _movieDataHandler = nullptr;
    _movie = nullptr;
    // A recording that grows for hours is there under its name from the start; a movie that is
    // written in one go appears complete, because a reader may open it the moment it is there.
    const StorageMode mode = _isSelfContained ? StorageMode::kGrowing : StorageMode::kWhenClosed;
    const Status status =
        CreateMovieStorage(movieFilePathOnDisk(), mode, _movieDataHandler, _movie);
    if (status != kNoError) {
        logMessage("Create reference movie failed: err = %i", status);
        return noted(status);
    }
    _isOpen.store(true, std::memory_order_relaxed);
    return kNoError;
}

Status QuickTimeMovie::pointTo(Media* media, const QString& path) const {
    AliasRecord alias;
    if (const Status status = QTNewAlias(pathOnDisk(path), movieFilePathOnDisk(), alias);
        status != kNoError) {
        return status;
    }
    if (!alias.canBeFollowed()) {
        logMessage(
            "The reference movie %s may not find %s in every program: its path contains a "
            "':'",
            alias.movie.c_str(), alias.target.c_str());
    }
    return AddMediaDataRef(media, alias);
}

Status QuickTimeMovie::addVideoSamples() {
    if (_videoFrameSize == 0) {
        logMessage("Video Frame Size is NULL");
        return noted(-1);
    }
    Track* const track = NewMovieTrack(_movie.get(), Long2Fix(_videoDescriptionHandle.width),
                                       Long2Fix(_videoDescriptionHandle.height), 0);
    Media* const media = NewTrackMedia(track, fourCC("vide"), _videoTimeScale);
    if (media == nullptr) {
        return noted(GetMoviesError());
    }
    _videoDescriptionHandle.resvd1 = 0;
    _videoDescriptionHandle.resvd2 = 0;
    if (const Status status = AddMediaSampleDescription(media, _videoDescriptionHandle);
        status != kNoError) {
        return noted(status);
    }
    if (const Status status = pointTo(media, _videoFilePath); status != kNoError) {
        return noted(status);
    }

    const std::uint32_t framesPerReference = std::max(1U, kVideoReferenceSize / _videoFrameSize);
    Coverage coverage;
    coverage.reference = {0, framesPerReference * _videoFrameSize, kFrameDuration,
                          framesPerReference, _videoFrameSize};
    const double timeScale = _videoTimeScale;
    const double referencesPerSecond = timeScale / (100.0 * framesPerReference);
    coverage.fullReferences = truncated(_duration * referencesPerSecond);
    const double remainderUnits =
        std::nearbyint(timeScale * (_duration - coverage.fullReferences / referencesPerSecond));
    const double remainderBytes = remainderUnits / 100.0 * _videoFrameSize;
    coverage.hasRemainder = remainderUnits != 0;
    coverage.remainder = coverage.reference;
    // A part of a frame is in the size but not in the count: it stays without a sample.
    coverage.remainder.dataSize = truncated(remainderBytes);
    coverage.remainder.numberOfSamples = coverage.remainder.dataSize / _videoFrameSize;

    const Status status = addReferences(media, _videoDescriptionHandle, coverage);
    if (status == kFormatLimit) {
        logMessage("The picture of %s is cut: a movie cannot hold so many references",
                   movieFilePathOnDisk().c_str());
    } else if (status != kNoError) {
        return noted(status);
    }
    return noted(InsertMediaIntoTrack(track, GetMediaDuration(media)));
}

Status QuickTimeMovie::addAudioSamples() {
    for (std::int32_t index = 0; index < usableAudioTracksCount(); ++index) {
        if (const Status status = addAudioReferences(index); status != kNoError) {
            return noted(status);
        }
    }
    return kNoError;
}

Status QuickTimeMovie::addAudioReferences(std::int32_t trackIndex) {
    const auto index = static_cast<std::size_t>(trackIndex);
    Track* const track = NewMovieTrack(_movie.get(), 0, 0, kFullVolume);
    Media* const media = NewTrackMedia(track, fourCC("soun"), _audioTimeScale[index]);
    if (media == nullptr) {
        return GetMoviesError();
    }
    if (const Status status = AddMediaSampleDescription(media, _audioDescriptionHandle[index]);
        status != kNoError) {
        return status;
    }
    if (const Status status = pointTo(media, _audioFilePath[index]); status != kNoError) {
        return status;
    }

    const std::uint32_t bytesPerFrame = bytesPerSampleFrame(_audioDescriptionHandle[index]);
    if (bytesPerFrame == 0 || _audioChunkSize[index] < bytesPerFrame) {
        return kParameterError;
    }
    const std::uint32_t samplesPerReference = _audioChunkSize[index] / bytesPerFrame;
    Coverage coverage;
    coverage.reference = {0, _audioChunkSize[index], 1, samplesPerReference, bytesPerFrame};
    const double timeScale = _audioTimeScale[index];
    const double referencesPerSecond = timeScale / samplesPerReference;
    coverage.fullReferences = truncated(referencesPerSecond * _duration);
    const double remainderSamples =
        std::nearbyint(timeScale * (_duration - coverage.fullReferences / referencesPerSecond));
    coverage.hasRemainder = remainderSamples != 0;
    coverage.remainder = coverage.reference;
    coverage.remainder.dataSize = truncated(remainderSamples * bytesPerFrame);
    coverage.remainder.numberOfSamples = coverage.remainder.dataSize / bytesPerFrame;

    Status status = addReferences(media, _audioDescriptionHandle[index], coverage);
    if (status == kFormatLimit) {
        logMessage("The sound of %s is cut: a movie cannot hold so many samples",
                   movieFilePathOnDisk().c_str());
    } else if (status != kNoError) {
        return status;
    }
    status = InsertMediaIntoTrack(track, GetMediaDuration(media));
    const Status layoutStatus = setChannelLayout(track, trackIndex);
    return status != kNoError ? status : layoutStatus;
}

Status QuickTimeMovie::setChannelLayout(Track* track, std::int32_t trackIndex) {
    const auto& sound = _audioDescriptionHandle[static_cast<std::size_t>(trackIndex)];
    AudioChannelLayout layout;
    layout.mNumberChannelDescriptions =
        static_cast<std::uint32_t>(layout.mChannelDescriptions.size());
    const auto channels = std::min<std::size_t>(
        layout.mChannelDescriptions.size(),
        static_cast<std::size_t>(std::max<std::int16_t>(sound.numChannels, 0)));
    for (std::size_t channel = 0; channel < channels; ++channel) {
        const std::uint32_t side =
            channel % 2 == 0 ? AudioChannelLayout::kLabelLeft : AudioChannelLayout::kLabelRight;
        layout.mChannelDescriptions[channel].mChannelLabel =
            _monoTracks ? AudioChannelLayout::kLabelMono : side;
    }
    layout.mChannelLayoutTag = tagForChannelDescriptions(layout).value_or(0);
    return setTrackLayout(track, sizeof layout, &layout);
}

Status QuickTimeMovie::setTrackLayout(Track* track, std::size_t layoutSize,
                                      const AudioChannelLayout* layout) {
    if (track == nullptr || layoutSize == 0 || layout == nullptr) {
        return kParameterError;
    }
    return QTSetTrackProperty(track, fourCC("audi"), fourCC("tlay"), layoutSize, layout);
}

void QuickTimeMovie::finishMovie() {
    if (const Status status = noted(AddMovieToStorage(_movie.get())); status != kNoError) {
        logMessage("AddMovieToStorage failed (%i)", status);
    }
}

void QuickTimeMovie::closeMovieFile() {
    if (!isOpen()) {
        return;
    }
    if (_movieDataHandler) {
        if (const Status status = noted(CloseMovieStorage(_movieDataHandler.get()));
            status != kNoError) {
            logMessage("CloseMovieStorage failed (%i)", status);
        }
        _movieDataHandler = nullptr;
        _isOpen.store(false, std::memory_order_relaxed);
        synchronizeClosedFile(movieFilePathOnDisk());
    }
    _movie = nullptr;
}

void QuickTimeMovie::synchronizeClosedFile(const std::string& path) const {
    const auto synchronize = [path] {
        // The file may have been moved or removed by now.
        const int error = synchronizeMovieFile(path);
        if (error != 0 && error != ENOENT) {
            logMessage("Cannot write the movie %s: %s", path.c_str(), strerror(error));
        }
    };
    if (_isSelfContained) {
        synchronize();
    } else {
        // A reference movie is made on the main thread, which must not wait for a busy disk.
        WriterThreads::start("movie sync", synchronize);
    }
}

}  // namespace takebox
