#include "app/Trash.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include "recording/RecordingPaths.h"

namespace takebox {
namespace {

const QString kHoldingFolder = QStringLiteral("Removed Recordings");

/// Makes the user's trash where there is none yet. Qt would take the working directory for it when
/// it could not be made.
bool isTrashUsable() {
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    const QString trash = data + QStringLiteral("/Trash");
    if (QFileInfo(trash).isDir()) {
        return true;
    }
    return QDir().mkpath(data) && QDir().mkdir(trash) &&
           QFile::setPermissions(trash, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

bool moveToHoldingFolder(const QString& path) {
    const QFileInfo file(path);
    QDir folder = file.dir();
    folder.mkdir(kHoldingFolder);
    if (!folder.cd(kHoldingFolder)) {
        return false;
    }
    QString name = file.fileName();
    for (int counter = 1; folder.exists(name); ++counter) {
        name = numberedName(file.completeBaseName(), counter) + QLatin1Char('.') + file.suffix();
    }
    return QFile::rename(path, folder.filePath(name));
}

}  // namespace

bool moveToTrash(const QString& path) {
    if (!QFileInfo::exists(path)) {
        return false;
    }
    return (isTrashUsable() && QFile::moveToTrash(path)) || moveToHoldingFolder(path);
}

}  // namespace takebox
