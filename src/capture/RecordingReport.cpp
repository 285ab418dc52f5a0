#include "capture/RecordingReport.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace takebox {
namespace {

void addFileLosses(const std::shared_ptr<const BufferedFile>& file, const char* extension,
                   QStringList& losses) {
    if (!file) {
        losses << QStringLiteral("the %1 file could not be made").arg(QLatin1String(extension));
        return;
    }
    const QString name = file->path().section(QLatin1Char('/'), -1);
    const auto missing = file->droppedBlocks() + countFrames(file->refusedFrames());
    if (file->wasRemoved()) {
        losses << QStringLiteral("all of %1, somebody removed it").arg(name);
    }
    if (const int error = file->writeError(); error != 0) {
        losses << QStringLiteral("%1 frames of %2: %3")
                      .arg(missing)
                      .arg(name, QString::fromLocal8Bit(strerror(error)));
    } else if (missing != 0) {
        losses << QStringLiteral("%1 frames of %2, the disk was too slow").arg(missing).arg(name);
    }
}

void addMovieLosses(const QuickTimeMovie& movie, QStringList& losses) {
    const QuickTimeMovie::Losses lost = movie.losses();
    const QString name = movie.movieFilePath().section(QLatin1Char('/'), -1);
    if (movie.wasRemoved()) {
        losses << QStringLiteral("all of %1, somebody removed it").arg(name);
    }
    if (lost.areNone()) {
        return;
    }
    losses << (lost.errorNumber != 0
                   ? QStringLiteral("%1 frames of %2: %3")
                         .arg(lost.videoFrames)
                         .arg(name, QString::fromLocal8Bit(strerror(lost.errorNumber)))
                   : QStringLiteral("%1 frames and %2 sound samples of %3")
                         .arg(lost.videoFrames)
                         .arg(lost.audioSamples)
                         .arg(name));
}

/// Of frames that came, but are not in every file.
bool isOfFiles(LossKind kind) {
    return kind == LossKind::kRawFiles || kind == LossKind::kMovie || kind == LossKind::kBoth;
}

const char* phraseOf(LossKind kind) {
    switch (kind) {
        case LossKind::kNotReceived:
            return QT_TRANSLATE_NOOP("QObject", "frames that did not arrive: %1");
        case LossKind::kUnknown:
            return QT_TRANSLATE_NOOP("QObject", "problems on the way from the deck: %1");
        case LossKind::kWrongSize:
            return QT_TRANSLATE_NOOP("QObject", "frames of a wrong size: %1");
        case LossKind::kRawFiles:
            return QT_TRANSLATE_NOOP("QObject", "frames missing in the raw files: %1");
        case LossKind::kMovie:
            return QT_TRANSLATE_NOOP("QObject", "frames missing in the self-contained movie: %1");
        case LossKind::kBoth:
            break;
    }
    return QT_TRANSLATE_NOOP("QObject", "frames missing in all files: %1");
}

QString timeCodeText(const TimeCodeRecord& timeCode) {
    return QString::asprintf("%02i:%02i:%02i:%02i", timeCode.hours, timeCode.minutes,
                             timeCode.seconds, timeCode.frames);
}

}  // namespace

void RecordingReport::update() {
    if (tally) {
        frames = tally->receivedFrames();
        problems = tally->problemMessages();
        inconsistentFrames = tally->wrongSizeFrames();
        firstTimeCode = tally->firstTimeCode();
        lastTimeCode = tally->lastTimeCode();
    }
}

bool RecordingReport::isFinal() const {
    return (!tally || tally->hasEnded()) && (!dvFile || !dvFile->isOpen()) &&
           (!audioFile || !audioFile->isOpen()) && (!movie || movie->hasFinished());
}

std::uint64_t RecordingReport::recordedFrames() const {
    return frames - std::min(frames, framesNotWritten());
}

std::uint64_t RecordingReport::lostFrames() const {
    return (tally ? tally->notReceivedFrames() : 0) + inconsistentFrames + framesNotWritten();
}

std::uint64_t RecordingReport::framesNotWritten() const {
    if (!tally) {
        return 0;
    }
    // A frame may have found no room in one file and be refused by the disk of another.
    FrameRanges missing;
    std::uint64_t listed = 0;
    for (const Loss& loss : tally->losses()) {
        if (isOfFiles(loss.kind)) {
            missing.push_back({loss.firstFrame, loss.frames});
            listed += loss.frames;
        }
    }
    const std::uint64_t dropped = tally->droppedFrames();
    const auto add = [&missing](const FrameRanges& refused) {
        missing.insert(missing.end(), refused.begin(), refused.end());
    };
    for (const auto* file : {dvFile.get(), audioFile.get()}) {
        if (file != nullptr) {
            add(file->refusedFrames());
        }
    }
    if (movie) {
        add(movie->refusedFrames());
    }
    return countFrames(std::move(missing)) + (dropped - std::min(dropped, listed));
}

QStringList RecordingReport::lossesByTimeCode(Wording wording) const {
    QStringList lines;
    if (!tally) {
        return lines;
    }
    for (const Loss& loss : tally->losses()) {
        lines << timeCodeText(loss.timeCode) + QLatin1Char(' ') +
                     wording(phraseOf(loss.kind)).arg(loss.frames);
    }
    if (const auto further = tally->furtherLosses(); further != 0) {
        lines << wording(QT_TRANSLATE_NOOP("QObject", "and %1 more")).arg(further);
    }
    return lines;
}

QStringList RecordingReport::losses() const {
    QStringList losses;
    if (frames == 0) {
        losses << QStringLiteral("everything, no frame was received");
    }
    if (const auto missing = tally ? tally->notReceivedFrames() : 0; missing != 0) {
        losses << QStringLiteral("%1 frames on the way from the device").arg(missing);
    } else if (problems != 0) {
        losses << QStringLiteral("frames on the way from the device, %1 times").arg(problems);
    }
    if (inconsistentFrames != 0) {
        losses << QStringLiteral("%1 frames of a wrong size").arg(inconsistentFrames);
    }
    if (wantedRawFiles) {
        addFileLosses(dvFile, ".dv", losses);
        addFileLosses(audioFile, ".aud", losses);
    }
    if (movie) {
        addMovieLosses(*movie, losses);
    }
    return losses;
}

}  // namespace takebox
