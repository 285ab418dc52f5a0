#include "capture/RecordingReport.h"

#include <QObject>
#include <algorithm>
#include <cstring>

namespace takebox {
namespace {

void addFileLosses(const std::shared_ptr<const BufferedFile>& file, QStringList& losses) {
    if (!file) {
        losses << QObject::tr("a raw file could not be made");
        return;
    }
    const QString name = file->path().section(QLatin1Char('/'), -1);
    const auto dropped = file->droppedBlocks();
    if (file->wasRemoved()) {
        losses << QObject::tr("all of %1, somebody removed it").arg(name);
    }
    if (const int error = file->writeError(); error != 0) {
        losses << QObject::tr("%1 frames and %2 bytes of %3: %4")
                      .arg(dropped)
                      .arg(file->refusedBytes())
                      .arg(name, QString::fromLocal8Bit(strerror(error)));
    } else if (dropped != 0) {
        losses << QObject::tr("%1 frames of %2, the disk was too slow").arg(dropped).arg(name);
    }
}

void addMovieLosses(const QuickTimeMovie& movie, QStringList& losses) {
    const QuickTimeMovie::Losses lost = movie.losses();
    const QString name = movie.movieFilePath().section(QLatin1Char('/'), -1);
    if (movie.wasRemoved()) {
        losses << QObject::tr("all of %1, somebody removed it").arg(name);
    }
    if (lost.areNone()) {
        return;
    }
    losses << (lost.errorNumber != 0
                   ? QObject::tr("%1 frames of %2: %3")
                         .arg(lost.videoFrames)
                         .arg(name, QString::fromLocal8Bit(strerror(lost.errorNumber)))
                   : QObject::tr("%1 frames and %2 sound samples of %3")
                         .arg(lost.videoFrames)
                         .arg(lost.audioSamples)
                         .arg(name));
}

QString phraseOf(LossKind kind) {
    switch (kind) {
        case LossKind::kNotReceived:
            return QObject::tr("frames that did not arrive: %1");
        case LossKind::kUnknown:
            return QObject::tr("problems on the way from the deck: %1");
        case LossKind::kWrongSize:
            return QObject::tr("frames of a wrong size: %1");
        case LossKind::kRawFiles:
            return QObject::tr("frames missing in the raw files: %1");
        case LossKind::kMovie:
            return QObject::tr("frames missing in the self-contained movie: %1");
        case LossKind::kBoth:
            break;
    }
    return QObject::tr("frames missing in all files: %1");
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
    // What the disk refused later on may be the same frames in both kinds of file.
    const std::uint64_t refusedByRawFile =
        dvFile && dvFile->blockSize() != 0
            ? (dvFile->refusedBytes() + dvFile->blockSize() - 1) / dvFile->blockSize()
            : 0;
    const std::uint64_t missingInMovie = movie ? movie->losses().videoFrames : 0;
    const std::uint64_t dropped = tally->droppedOfMovie();
    const std::uint64_t unwritten = missingInMovie - std::min(missingInMovie, dropped);
    return tally->droppedFrames() + std::max(refusedByRawFile, unwritten);
}

QStringList RecordingReport::lossesByTimeCode() const {
    QStringList lines;
    if (!tally) {
        return lines;
    }
    for (const Loss& loss : tally->losses()) {
        lines << timeCodeText(loss.timeCode) + QLatin1Char(' ') +
                     phraseOf(loss.kind).arg(loss.frames);
    }
    if (const auto further = tally->furtherLosses(); further != 0) {
        lines << QObject::tr("and %1 more").arg(further);
    }
    return lines;
}

QStringList RecordingReport::losses() const {
    QStringList losses;
    if (frames == 0) {
        losses << QObject::tr("everything, no frame was received");
    }
    if (const auto missing = tally ? tally->notReceivedFrames() : 0; missing != 0) {
        losses << QObject::tr("%1 frames on the way from the device").arg(missing);
    } else if (problems != 0) {
        losses << QObject::tr("frames on the way from the device, %1 times").arg(problems);
    }
    if (inconsistentFrames != 0) {
        losses << QObject::tr("%1 frames of a wrong size").arg(inconsistentFrames);
    }
    if (wantedRawFiles) {
        addFileLosses(dvFile, losses);
        addFileLosses(audioFile, losses);
    }
    if (movie) {
        addMovieLosses(*movie, losses);
    }
    return losses;
}

}  // namespace takebox
