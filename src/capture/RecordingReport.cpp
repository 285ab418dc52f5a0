// What a recording lost, in words.

#include <QObject>
#include <cstring>

#include "capture/CDVDevice.h"

namespace takebox {
namespace {

void addFileLosses(const std::shared_ptr<const BufferedFile>& file, QStringList& losses) {
    if (!file) {
        losses << QObject::tr("a raw file could not be made");
        return;
    }
    const QString name = file->path().section(QLatin1Char('/'), -1);
    const auto dropped = file->droppedBlocks();
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
    if (lost.areNone()) {
        return;
    }
    const QString name = movie.movieFilePath().section(QLatin1Char('/'), -1);
    losses << (lost.errorNumber != 0
                   ? QObject::tr("%1 frames of %2: %3")
                         .arg(lost.videoFrames)
                         .arg(name, QString::fromLocal8Bit(strerror(lost.errorNumber)))
                   : QObject::tr("%1 frames and %2 sound samples of %3")
                         .arg(lost.videoFrames)
                         .arg(lost.audioSamples)
                         .arg(name));
}

}  // namespace

QStringList RecordingReport::losses() const {
    QStringList losses;
    if (frames == 0) {
        losses << QObject::tr("everything, no frame was received");
    }
    if (problems != 0) {
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
