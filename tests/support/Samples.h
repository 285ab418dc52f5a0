#pragma once

#include <QDir>
#include <QString>
#include <QtGlobal>

namespace takebox::test {

/// The folder with DV samples from real devices: the environment variable TAKEBOX_SAMPLES, else the
/// usual place beside the checkout. Empty when there is none; tests then use generated material.
inline QString samplesFolder() {
    if (const QString folder = qEnvironmentVariable("TAKEBOX_SAMPLES"); !folder.isEmpty()) {
        return folder;
    }
    const QDir tests = QDir(QString::fromUtf8(__FILE__) + QStringLiteral("/../.."));
    const QString beside = QDir::cleanPath(tests.filePath(
        QStringLiteral("../../") + QStringLiteral("shared") + QStringLiteral("/samples")));
    return QDir(beside).exists() ? beside : QString();
}

}  // namespace takebox::test
