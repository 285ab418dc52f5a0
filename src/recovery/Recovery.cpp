#include "recovery/Recovery.h"

#include <QFile>
#include <QFileInfo>
#include <array>
#include <cerrno>
#include <cstring>

#include "display/Wording.h"
#include "recovery/RecoverySteps.h"

namespace takebox {

using namespace movietoolbox;
using Kind = RecoveryOutcome::Kind;

namespace {

// Less than this is a movie that was cut off before its first frame.
constexpr std::uint64_t kMediaDataOffset = 36;

bool isSelfContained(const MovieContents& contents) {
    return contents.hasMovie && contents.track(fourCC("vide")) != nullptr &&
           contents.track(fourCC("vide"))->target.empty();
}

bool isReference(const MovieContents& contents) {
    const TrackContents* const pictures = contents.track(fourCC("vide"));
    return contents.hasMovie && pictures != nullptr && !pictures->target.empty();
}

/// Whether every sample of a self-contained movie lies in the file.
bool isComplete(const MovieContents& contents, std::uint64_t fileSize) {
    for (const TrackContents& track : contents.tracks) {
        if (track.endOfSamples > fileSize) {
            return false;
        }
    }
    return isSelfContained(contents);
}

}  // namespace

RecoveryOutcome outcome(Kind kind, const char* message, const QStringList& arguments) {
    RecoveryOutcome result;
    result.kind = kind;
    tell(result, message, arguments);
    return result;
}

void tell(RecoveryOutcome& outcome, const char* message, const QStringList& arguments) {
    outcome.message = withArguments(inEnglish(message), arguments);
    outcome.localMessage = withArguments(inDesktopLanguage(message), arguments);
}

RecoveryOutcome unreadable(const QString& path, int error) {
    return outcome(Kind::kUnreadable, QT_TRANSLATE_NOOP("QObject", "%1 cannot be read: %2"),
                   {path, QString::fromLocal8Bit(strerror(error))});
}

RecoveryOutcome cannotWrite(int error) {
    if (error == ENOSPC || error == EDQUOT) {
        return outcome(Kind::kNoRoom,
                       QT_TRANSLATE_NOOP("QObject",
                                         "the disk is full; make room and try again. The original "
                                         "is as it was"));
    }
    return outcome(Kind::kFailed,
                   QT_TRANSLATE_NOOP("QObject",
                                     "the new movie cannot be written: %1. The original is as it "
                                     "was"),
                   {QString::fromLocal8Bit(strerror(error))});
}

RecoveryOutcome notAsWritten() {
    return outcome(Kind::kFailed,
                   QT_TRANSLATE_NOOP("QObject",
                                     "the new movie is not as it was written; the original is "
                                     "as it was"));
}

RecoveryOutcome cancelled() {
    return outcome(Kind::kCancelled,
                   QT_TRANSLATE_NOOP("QObject", "cancelled; the original is as it was"));
}

RecoveryOutcome putInPlace(Replacement& replacement) {
    RecoveryOutcome result;
    if (const int error = replacement.replaceOriginal(result.original); error != 0) {
        return cannotWrite(error);
    }
    result.kind = Kind::kRecovered;
    return result;
}

std::string pathOnDisk(const QString& path) {
    return QFile::encodeName(path).toStdString();
}

std::optional<TimeCodeRecord> startTimeCodeOf(const ByteSource& file,
                                              const MovieContents& contents) {
    const TrackContents* const timeCode = contents.track(fourCC("tmcd"));
    std::array<std::byte, 4> number{};
    if (timeCode == nullptr || timeCode->samples == 0 || timeCode->timeScale < 100 ||
        file.readAt(timeCode->firstSample, number) != 0) {
        return std::nullopt;
    }
    std::uint32_t frame = 0;
    for (const std::byte byte : number) {
        frame = frame << 8U | std::to_integer<std::uint32_t>(byte);
    }
    const std::uint32_t rate = (timeCode->timeScale + 50) / 100;
    const std::uint32_t seconds = frame / rate;
    return TimeCodeRecord{static_cast<std::uint8_t>(seconds / 3600 % 24),
                          static_cast<std::uint8_t>(seconds / 60 % 60),
                          static_cast<std::uint8_t>(seconds % 60),
                          static_cast<std::uint8_t>(frame % rate)};
}

RecoveryOutcome recoverFile(const QString& path, const RecordingFacts& facts,
                            const RecoveryProgress& progress) {
    OpenedMovie movie;
    movie.path = QFileInfo(path).absoluteFilePath();
    int error = 0;
    const auto file = FileBytes::open(pathOnDisk(movie.path), error);
    if (!file) {
        return unreadable(path, error);
    }
    movie.file = file.get();
    if (file->isBeingRecorded()) {
        return outcome(
            Kind::kBeingRecorded,
            QT_TRANSLATE_NOOP("QObject", "%1 is being recorded; stop the recording first"), {path});
    }
    if (error = readMovie(*file, movie.contents); error != 0) {
        return unreadable(path, error);
    }
    if (isReference(movie.contents)) {
        return fitReferenceMovie(movie);
    }
    if (isComplete(movie.contents, file->size())) {
        return outcome(Kind::kNothingToDo,
                       QT_TRANSLATE_NOOP("QObject", "%1 is complete; there is nothing to do"),
                       {path});
    }
    const bool isCutOff = movie.contents.isMovieFile || file->size() < kMediaDataOffset;
    if (!isCutOff || QFileInfo(movie.path).suffix() == QLatin1String("ref")) {
        return outcome(Kind::kNotAMovie,
                       QT_TRANSLATE_NOOP("QObject", "%1 is no movie of this program"), {path});
    }
    return recoverCutOffMovie(movie, facts, progress);
}

}  // namespace takebox
