// A self-contained movie that was cut off is written anew from its media data and its raw files.

#include <QFileInfo>
#include <QLocale>
#include <QStorageInfo>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "capture/DVFrameParser.h"
#include "platform/movietoolbox/MovieToolbox.h"
#include "recovery/MediaDataScan.h"
#include "recovery/RawFiles.h"
#include "recovery/RecoverySteps.h"
#include "recovery/Replacement.h"
#include "storage/DVDescriptions.h"
#include "storage/QuickTimeMovie.h"

namespace takebox {

using namespace movietoolbox;
using Kind = RecoveryOutcome::Kind;

namespace {

constexpr std::int32_t kFrameDuration = 100;
constexpr std::int32_t kAudioTimeScale = 48000;
constexpr std::int16_t kFullVolume = 256;
// A movie atom takes less than a thousandth of what it describes.
constexpr std::uint64_t kRoomForMovieAtom = std::uint64_t{1} << 20U;

/// Samples and the file they are in.
struct Source {
    const ByteSource* file = nullptr;
    MediaPiece piece;
};

/// What the new movie is made of.
struct Plan {
    std::vector<Source> sources;
    bool isPAL = true;
    bool monoTracks = false;
    TimeCodeRecord startTimeCode;

    [[nodiscard]] std::uint64_t bytes() const {
        std::uint64_t sum = 0;
        for (const auto& source : sources) {
            sum += source.piece.bytes();
        }
        return sum;
    }
    [[nodiscard]] std::uint64_t samples(FourCharCode type) const {
        std::uint64_t sum = 0;
        for (const auto& source : sources) {
            sum += source.piece.type == type ? source.piece.samples() : 0;
        }
        return sum;
    }
    [[nodiscard]] const Source* firstPicture() const {
        const auto found = std::find_if(sources.begin(), sources.end(), [](const Source& source) {
            return source.piece.type == fourCC("vide");
        });
        return found != sources.end() ? &*found : nullptr;
    }
};

/// Reads the time code of one frame.
class FrameReader final : public DVFrameParser {
protected:
    void updatePreviewBounds() override {}
};

std::optional<TimeCodeRecord> timeCodeOfFrame(const Source& source) {
    std::vector<std::byte> frame(source.piece.sizes.front().size);
    if (source.file->readAt(source.piece.offset, frame) != 0) {
        return std::nullopt;
    }
    FrameReader reader;
    reader.extractTimeCode(reinterpret_cast<const std::uint8_t*>(frame.data()),
                           static_cast<std::uint32_t>(frame.size()));
    return reader.currentTimeCode();
}

std::optional<TimeCodeRecord> timeCodeOfReference(const QString& moviePath) {
    const QFileInfo movie(moviePath);
    const QString path =
        movie.path() + QLatin1Char('/') + movie.completeBaseName() + QStringLiteral(".ref");
    int error = 0;
    const auto file = FileBytes::open(pathOnDisk(path), error);
    MovieContents contents;
    return file && readMovie(*file, contents) == 0 ? startTimeCodeOf(*file, contents)
                                                   : std::nullopt;
}

void addRawFiles(const OpenedMovie& movie, const MediaDataScan& scan, const RawFiles& raw,
                 Plan& plan) {
    std::vector<MediaPiece> frames;
    std::vector<MediaPiece> sound;
    if (raw.pictures) {
        const Source* const first = plan.firstPicture();
        const std::uint32_t size =
            first != nullptr ? first->piece.sizes.front().size : frameSizeAt(*raw.pictures, 0);
        if (size != 0) {
            frames = furtherFrames(*raw.pictures, size, *movie.file, scan);
        }
    }
    if (raw.sound) {
        sound = furtherSound(*raw.sound, *movie.file, scan);
    }
    for (std::size_t i = 0; i < std::max(frames.size(), sound.size()); ++i) {
        if (i < frames.size()) {
            plan.sources.push_back({raw.pictures.get(), frames[i]});
        }
        if (i < sound.size()) {
            plan.sources.push_back({raw.sound.get(), sound[i]});
        }
    }
}

/// Settles what follows from the samples. @return false when there is no picture.
bool settle(const OpenedMovie& movie, const RecordingFacts& facts, Plan& plan) {
    const Source* const first = plan.firstPicture();
    if (first == nullptr) {
        return false;
    }
    const std::uint32_t byHeader = frameSizeAt(*first->file, first->piece.offset);
    const std::uint32_t size = byHeader != 0 ? byHeader : first->piece.sizes.front().size;
    plan.isPAL = size != kNTSCGeometry.frameSize;
    plan.monoTracks = facts.monoTracks;
    auto timeCode = facts.startTimeCode;
    timeCode = timeCode ? timeCode : timeCodeOfReference(movie.path);
    timeCode = timeCode ? timeCode : timeCodeOfFrame(*first);
    plan.startTimeCode = timeCode.value_or(TimeCodeRecord{});
    return true;
}

/// The new movie while it is being written. @see QuickTimeMovie, which writes recordings.
class NewMovie {
public:
    NewMovie(const QString& path, const Plan& plan) : mPlan(plan) {
        mError =
            statusOf(CreateMovieStorage(pathOnDisk(path), StorageMode::kGrowing, mHandler, mMovie));
        const ImageDescription picture =
            plan.isPAL ? createDVPALImageDescriptionHandle() : createDVNTSCImageDescriptionHandle();
        const auto scale = static_cast<std::int32_t>(
            (plan.isPAL ? kPALGeometry : kNTSCGeometry).framesPerSecond * kFrameDuration);
        mPictures = addTrack(Long2Fix(picture.width), Long2Fix(picture.height), 0, fourCC("vide"),
                             scale, picture);
        mSound = addTrack(0, 0, kFullVolume, fourCC("soun"), kAudioTimeScale,
                          createDVSoundDescriptionHandle());
    }

    /// errno of what failed first; 0 for none.
    [[nodiscard]] int error() const { return mError; }

    /// Copies samples. @return 0 or the errno value of a read that failed.
    int add(const Source& source) {
        mBuffer.resize(source.piece.bytes());
        if (const int error = source.file->readAt(source.piece.offset, mBuffer); error != 0) {
            return error;
        }
        const bool isPicture = source.piece.type == fourCC("vide");
        Media* const media = isPicture ? mPictures->media.get() : mSound->media.get();
        const SampleDescription description = media->descriptions.front();
        note(AddMediaSample(mMovie.get(), media, mBuffer, isPicture ? kFrameDuration : 1,
                            description, source.piece.sizes));
        return 0;
    }

    void finish() {
        for (Track* const track : {mPictures, mSound}) {
            note(EndMediaEdits(track->media.get()));
            note(InsertMediaIntoTrack(track, GetMediaDuration(track->media.get())));
        }
        const AudioChannelLayout layout = channelLayout();
        note(QuickTimeMovie::setTrackLayout(mSound, sizeof layout, &layout));
        const auto timeCode = QuickTimeMovie::make();
        timeCode->setIsPAL(mPlan.isPAL);
        timeCode->setMovie(mMovie);
        timeCode->setStartTimeCode(mPlan.startTimeCode);
        note(timeCode->addTimeCodeSample());
        note(AddMovieToStorage(mMovie.get()));
        note(CloseMovieStorage(mHandler.get()));
    }

private:
    int statusOf(Status status) const {
        const int error = mHandler ? mHandler->errorNumber() : 0;
        return status != kNoError && error != 0 ? error : errnoOfStatus(status);
    }
    void note(Status status) { mError = mError != 0 ? mError : statusOf(status); }

    Track* addTrack(Fixed width, Fixed height, std::int16_t volume, FourCharCode type,
                    std::int32_t scale, const SampleDescription& description) {
        if (mError != 0) {
            return nullptr;
        }
        Track* const track = NewMovieTrack(mMovie.get(), width, height, volume);
        Media* const media = NewTrackMedia(track, type, scale);
        note(AddMediaSampleDescription(media, description));
        note(BeginMediaEdits(mMovie.get(), media));
        return track;
    }

    [[nodiscard]] AudioChannelLayout channelLayout() const {
        AudioChannelLayout layout;
        layout.mNumberChannelDescriptions = 2;
        layout.mChannelDescriptions[0].mChannelLabel =
            mPlan.monoTracks ? AudioChannelLayout::kLabelMono : AudioChannelLayout::kLabelLeft;
        layout.mChannelDescriptions[1].mChannelLabel =
            mPlan.monoTracks ? AudioChannelLayout::kLabelMono : AudioChannelLayout::kLabelRight;
        layout.mChannelLayoutTag = tagForChannelDescriptions(layout).value_or(0);
        return layout;
    }

    const Plan& mPlan;
    std::shared_ptr<DataHandler> mHandler;
    std::shared_ptr<Movie> mMovie;
    int mError = 0;
    Track* mPictures = nullptr;
    Track* mSound = nullptr;
    std::vector<std::byte> mBuffer;
};

RecoveryOutcome noRoom(std::uint64_t bytes) {
    return outcome(Kind::kNoRoom,
                   QT_TRANSLATE_NOOP("QObject",
                                     "the disk has no room for the new movie: it takes %1. The "
                                     "original is as it was"),
                   {QLocale::c().formattedDataSize(static_cast<qint64>(bytes))});
}

/// All that is read and written is read once more.
std::uint64_t wholeWork(const Plan& plan) {
    return 2 * plan.bytes();
}

/// Writes the new movie whole. @return nothing when it is on the disk.
std::optional<RecoveryOutcome> write(const Plan& plan, const QString& path,
                                     const RecoveryProgress& progress) {
    NewMovie movie(path, plan);
    std::uint64_t done = 0;
    for (const Source& source : plan.sources) {
        if (movie.error() != 0) {
            break;
        }
        if (const int error = movie.add(source); error != 0) {
            return outcome(Kind::kUnreadable,
                           QT_TRANSLATE_NOOP("QObject", "the recording cannot be read: %1"),
                           {QString::fromLocal8Bit(strerror(error))});
        }
        done += source.piece.bytes();
        if (!progress(done, wholeWork(plan))) {
            return cancelled();
        }
    }
    if (movie.error() == 0) {
        movie.finish();
    }
    if (movie.error() != 0) {
        return cannotWrite(movie.error());
    }
    if (const int error = synchronizeMovieFile(pathOnDisk(path)); error != 0) {
        return cannotWrite(error);
    }
    return std::nullopt;
}

/// Whether a reader finds in the new movie the tracks that were to be written.
bool hasPlannedTracks(const Plan& plan, const FileBytes& file, const MovieContents& contents) {
    const TrackContents* const pictures = contents.track(fourCC("vide"));
    const TrackContents* const sound = contents.track(fourCC("soun"));
    return contents.hasMovie && pictures != nullptr && sound != nullptr &&
           contents.track(fourCC("tmcd")) != nullptr &&
           pictures->samples == plan.samples(fourCC("vide")) &&
           sound->samples == plan.samples(fourCC("soun")) &&
           pictures->sampleBytes + sound->sampleBytes == plan.bytes() &&
           pictures->endOfSamples <= file.size() && sound->endOfSamples <= file.size();
}

/// Reads the new movie again and compares every sample with what it was made of.
/// @return nothing when all is as it should be.
std::optional<RecoveryOutcome> verify(const Plan& plan, const QString& path,
                                      const RecoveryProgress& progress) {
    int error = 0;
    const auto file = FileBytes::open(pathOnDisk(path), error);
    MovieContents contents;
    if (!file || readMovie(*file, contents) != 0 || !hasPlannedTracks(plan, *file, contents)) {
        return notAsWritten();
    }
    // The media data has the samples in the order in which they were added, after their records.
    const MediaPiece& first = plan.sources.front().piece;
    std::uint64_t position = contents.track(first.type)->firstSample - first.recordSize();
    std::uint64_t done = plan.bytes();
    std::vector<std::byte> original;
    std::vector<std::byte> copy;
    for (const Source& source : plan.sources) {
        original.resize(source.piece.bytes());
        copy.resize(original.size());
        position += source.piece.recordSize();
        if (source.file->readAt(source.piece.offset, original) != 0 ||
            file->readAt(position, copy) != 0 || original != copy) {
            return notAsWritten();
        }
        position += copy.size();
        done += copy.size();
        if (!progress(done, wholeWork(plan))) {
            return cancelled();
        }
    }
    return std::nullopt;
}

}  // namespace

RecoveryOutcome recoverCutOffMovie(const OpenedMovie& movie, const RecordingFacts& facts,
                                   const RecoveryProgress& progress) {
    const RawFiles raw = openRawFilesOf(movie.path, facts);
    MediaDataScan scan;
    const std::uint64_t begin = movie.contents.mediaDataAt;
    if (begin != 0) {
        if (const int error =
                scanMediaData(*movie.file, begin, begin + movie.contents.mediaDataSize, scan);
            error != 0) {
            return unreadable(movie.path, error);
        }
    }
    Plan plan;
    for (const MediaPiece& piece : scan.pieces) {
        plan.sources.push_back({movie.file, piece});
    }
    addRawFiles(movie, scan, raw, plan);
    if (!settle(movie, facts, plan)) {
        return outcome(Kind::kNothingRecorded,
                       QT_TRANSLATE_NOOP("QObject", "%1 holds not a single whole frame"),
                       {movie.path});
    }
    const QStorageInfo disk(QFileInfo(movie.path).path());
    const std::uint64_t needed = plan.bytes() + kRoomForMovieAtom;
    if (disk.isValid() && static_cast<std::uint64_t>(disk.bytesAvailable()) < needed) {
        return noRoom(needed);
    }
    Replacement replacement(movie.path);
    if (const auto failure = write(plan, replacement.temporaryPath(), progress)) {
        return *failure;
    }
    if (const auto failure = verify(plan, replacement.temporaryPath(), progress)) {
        return *failure;
    }
    RecoveryOutcome result = putInPlace(replacement);
    if (result.kind != Kind::kRecovered) {
        return result;
    }
    result.frames = plan.samples(fourCC("vide"));
    result.audioSamples = plan.samples(fourCC("soun"));
    const double rate = (plan.isPAL ? kPALGeometry : kNTSCGeometry).framesPerSecond;
    tell(result,
         QT_TRANSLATE_NOOP("QObject", "%1 recovered: %2 frames (%3 s). The original is kept as %4"),
         {movie.path, QString::number(result.frames),
          QString::number(static_cast<double>(result.frames) / rate, 'f', 2),
          QFileInfo(result.original).fileName()});
    return result;
}

}  // namespace takebox
