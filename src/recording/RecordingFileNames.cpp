// File names of a recording: free ones, or old files removed, as the preferences say.

#include <QFile>
#include <QFileInfo>

#include "recording/CDVDeviceWindowController.h"
#include "recording/RecordingPaths.h"

namespace takebox {
namespace {

constexpr int kOldAudioTracks = 16;

/// Whether a device is just recording into a file of this name: such a file is neither removed nor
/// written over, even before it is on the disk.
bool isBeingRecorded(const QString& path) {
    if (!gDVDevicesController) {
        return false;
    }
    for (const auto& entry : gDVDevicesController->devices()) {
        const auto device = entry->device();
        if (device && device->isRecording() &&
            ((device->shouldCreateSelfContainedMovie() &&
              device->selfContainedCapturePath() == path) ||
             (device->shouldCreateReferenceMovie() &&
              (device->referenceCapturePath() == path ||
               device->rawCapturePath() + QStringLiteral(".dv") == path)))) {
            return true;
        }
    }
    return false;
}

}  // namespace

QString fileNameOf(QString name) {
    constexpr qsizetype kLongest = 230;  // bytes
    name.replace(QLatin1Char('/'), QLatin1Char('-'));
    name.remove(QChar::Null);
    while (name.toUtf8().size() > kLongest) {
        name.chop(name.back().isLowSurrogate() ? 2 : 1);
    }
    const bool isNothing =
        name.isEmpty() || name == QLatin1String(".") || name == QLatin1String("..");
    return isNothing ? QStringLiteral("Untitled") : name;
}

void CDVDeviceWindowController::removeOrRecycle(const QString& path, const QString& pathToRecycle) {
    if (!QFileInfo::exists(path)) {
        return;
    }
    if (!QFile::remove(path)) {
        mServices.recycle(pathToRecycle);
    }
}

QString CDVDeviceWindowController::generateMoviePath(const QString& folder, const QString& name,
                                                     const QString& extension, bool eraseExisting) {
    QString path = pathIn(folder, name) + extension;
    for (int counter = 1; isBeingRecorded(path) || (!eraseExisting && QFileInfo::exists(path));
         ++counter) {
        path = pathIn(folder, numberedName(name, counter)) + extension;
    }
    if (eraseExisting) {
        removeOrRecycle(path, path);
    }
    return QFileInfo::exists(path) ? QString() : path;
}

QString CDVDeviceWindowController::generateSelfContainedFilePathForRecording(const QString& name,
                                                                             bool eraseExisting) {
    return generateMoviePath(_settings->selfContainedRecordingFolderPath(), name,
                             QStringLiteral(".mov"), eraseExisting);
}

QString CDVDeviceWindowController::generateReferenceFilePathForRecording(const QString& name,
                                                                         bool eraseExisting) {
    return generateMoviePath(_settings->referenceMovieFolderPath(), name, QStringLiteral(".ref"),
                             eraseExisting);
}

QString CDVDeviceWindowController::generateRawFilePathForRecording(const QString& name,
                                                                   const QString& atPath,
                                                                   bool eraseExisting) {
    const QString video = QStringLiteral(".dv");
    const QString audio = QStringLiteral(".aud");
    const QString oldVideo = QStringLiteral(".vid");
    QString base = pathIn(atPath, name);
    for (int counter = 1;
         isBeingRecorded(base + video) ||
         (!eraseExisting && (QFileInfo::exists(base + video) || QFileInfo::exists(base + audio)));
         ++counter) {
        base = pathIn(atPath, numberedName(name, counter));
    }
    if (eraseExisting) {
        // A video file that cannot be removed stays; only one under the older name is put away, and
        // so makes room for the check below.
        removeOrRecycle(base + video, base + oldVideo);
        for (int track = 0; track < kOldAudioTracks; ++track) {
            const QString path = base + QStringLiteral(".aud%1").arg(track);
            removeOrRecycle(path, path);
        }
    }
    return QFileInfo::exists(base + oldVideo) ? QString() : base;
}

}  // namespace takebox
