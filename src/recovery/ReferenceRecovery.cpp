// A reference movie is written anew for as many frames and samples as its raw files hold.

#include <QFileInfo>

#include "capture/DVFrameParser.h"
#include "platform/movietoolbox/MovieFile.h"
#include "platform/movietoolbox/SampleDescriptions.h"
#include "platform/movietoolbox/Status.h"
#include "recovery/RawFiles.h"
#include "recovery/RecoverySteps.h"
#include "recovery/Replacement.h"
#include "storage/DVDescriptions.h"
#include "storage/QuickTimeMovie.h"

namespace takebox {

using namespace movietoolbox;
using Kind = RecoveryOutcome::Kind;

namespace {

constexpr double kAudioSampleRate = 48000.0;
constexpr std::uint32_t kAudioReferenceSize = 96000;

/// What the raw files of a reference movie hold.
struct RawLength {
    std::string picturesPath;
    std::string soundPath;
    std::uint64_t frames = 0;
    std::uint64_t audioSamples = 0;
    bool isPAL = true;
};

/// @return a failure, or nothing.
std::optional<RecoveryOutcome> openRawFile(const TrackContents* track, const QString& moviePath,
                                           std::string& path, std::unique_ptr<FileBytes>& file) {
    const std::string target = track != nullptr ? track->target : std::string();
    path = findTarget(target, pathOnDisk(moviePath));
    int error = 0;
    file = FileBytes::open(path.empty() ? target : path, error);
    if (!file) {
        return unreadable(QString::fromStdString(target), error);
    }
    if (file->isBeingRecorded()) {
        return outcome(
            Kind::kBeingRecorded,
            QT_TRANSLATE_NOOP("QObject", "%1 is being recorded; stop the recording first"),
            {QString::fromStdString(path)});
    }
    return std::nullopt;
}

std::optional<RecoveryOutcome> measure(const OpenedMovie& movie, RawLength& raw) {
    const TrackContents* const pictures = movie.contents.track(fourCC("vide"));
    std::unique_ptr<FileBytes> file;
    if (auto failure = openRawFile(pictures, movie.path, raw.picturesPath, file)) {
        return failure;
    }
    raw.isPAL = pictures->format != createDVNTSCImageDescriptionHandle().cType;
    raw.frames = file->size() / (raw.isPAL ? kPALGeometry : kNTSCGeometry).frameSize;
    if (auto failure =
            openRawFile(movie.contents.track(fourCC("soun")), movie.path, raw.soundPath, file)) {
        return failure;
    }
    raw.audioSamples = file->size() / kBytesPerSampleFrame;
    return std::nullopt;
}

bool fits(const MovieContents& contents, const RawLength& raw) {
    return contents.track(fourCC("vide"))->samples == raw.frames &&
           contents.track(fourCC("soun"))->samples == raw.audioSamples;
}

/// Writes the movie. @return errno of the first failure, or 0.
int write(const OpenedMovie& movie, const RawLength& raw, const QString& path) {
    const auto& geometry = raw.isPAL ? kPALGeometry : kNTSCGeometry;
    const auto reference = QuickTimeMovie::make();
    reference->setIsPAL(raw.isPAL);
    reference->setMovieFilePath(path);
    reference->setVideoFilePath(QString::fromStdString(raw.picturesPath));
    reference->setAudioFilePath(QString::fromStdString(raw.soundPath), 0);
    reference->setAudioChunkSize(kAudioReferenceSize, 0);
    reference->setAudioTracksCount(1);
    reference->setVideoFrameSize(geometry.frameSize);
    reference->setVideoTimeScale(static_cast<std::int32_t>(geometry.framesPerSecond * 100));
    reference->setMonoTracks(movie.contents.track(fourCC("soun"))->channelLabel ==
                             AudioChannelLayout::kLabelMono);
    reference->setStartTimeCode(
        startTimeCodeOf(*movie.file, movie.contents).value_or(TimeCodeRecord{}));
    if (const Status status = reference->createMovie(); status != kNoError) {
        return errnoOfStatus(status);
    }
    // Picture and sound need not be of one length.
    reference->setDuration(static_cast<double>(raw.frames) / geometry.framesPerSecond);
    static_cast<void>(reference->addVideoSamples());
    reference->setDuration(static_cast<double>(raw.audioSamples) / kAudioSampleRate);
    static_cast<void>(reference->addAudioSamples());
    static_cast<void>(reference->addTimeCodeSample());
    reference->finishMovie();
    reference->closeMovieFile();
    const QuickTimeMovie::Losses losses = reference->losses();
    if (losses.errorNumber != 0 || losses.status != 0) {
        return losses.errorNumber != 0 ? losses.errorNumber : errnoOfStatus(losses.status);
    }
    return synchronizeMovieFile(pathOnDisk(path));
}

bool isAsPlanned(const RawLength& raw, const QString& path) {
    int error = 0;
    const auto file = FileBytes::open(pathOnDisk(path), error);
    MovieContents contents;
    return file && readMovie(*file, contents) == 0 && contents.track(fourCC("vide")) != nullptr &&
           contents.track(fourCC("soun")) != nullptr && fits(contents, raw) &&
           contents.track(fourCC("vide"))->target == raw.picturesPath;
}

}  // namespace

RecoveryOutcome fitReferenceMovie(const OpenedMovie& movie) {
    if (movie.contents.track(fourCC("soun")) == nullptr) {
        return outcome(Kind::kNotAMovie,
                       QT_TRANSLATE_NOOP("QObject", "%1 is no movie of this program"),
                       {movie.path});
    }
    RawLength raw;
    if (const auto failure = measure(movie, raw)) {
        return *failure;
    }
    if (fits(movie.contents, raw)) {
        return outcome(
            Kind::kNothingToDo,
            QT_TRANSLATE_NOOP("QObject", "%1 fits its raw files; there is nothing to do"),
            {movie.path});
    }
    if (raw.frames == 0) {
        return outcome(
            Kind::kNothingRecorded,
            QT_TRANSLATE_NOOP("QObject", "the raw files of %1 hold not a single whole frame"),
            {movie.path});
    }
    Replacement replacement(movie.path);
    if (const int error = write(movie, raw, replacement.temporaryPath()); error != 0) {
        return cannotWrite(error);
    }
    if (!isAsPlanned(raw, replacement.temporaryPath())) {
        return notAsWritten();
    }
    RecoveryOutcome result = putInPlace(replacement);
    if (result.kind != Kind::kRecovered) {
        return result;
    }
    result.frames = raw.frames;
    result.audioSamples = raw.audioSamples;
    tell(result,
         QT_TRANSLATE_NOOP("QObject",
                           "%1 fits its raw files now: %2 frames. The original is kept as %3"),
         {movie.path, QString::number(raw.frames), QFileInfo(result.original).fileName()});
    return result;
}

}  // namespace takebox
