#include "support/Samples.h"

#include <QDir>
#include <QtGlobal>

namespace takebox::test {

QString samplesFolder() {
    if (const QString folder = qEnvironmentVariable("TAKEBOX_SAMPLES"); !folder.isEmpty()) {
        return folder;
    }
    const QDir source(QStringLiteral(TAKEBOX_SOURCE_FOLDER));
    const QString beside = QDir::cleanPath(source.filePath(QStringLiteral("../shared/samples")));
    return QDir(beside).exists() ? beside : QString();
}

}  // namespace takebox::test
