#include "recovery/Replacement.h"

#include <fcntl.h>
#include <unistd.h>

#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "platform/movietoolbox/MovieFile.h"

namespace takebox {
namespace {

constexpr int kLargestNumber = 999;

QByteArray onDisk(const QString& path) {
    return QFile::encodeName(path);
}

QString temporaryPathBeside(const QString& path) {
    return QFileInfo(path).path() + QStringLiteral("/.takebox-recovery-%1.part").arg(getpid());
}

/// "NAME (original).mov", "NAME (original 2).mov" and so on.
QString keptPath(const QString& original, int number) {
    const QFileInfo file(original);
    const QString mark =
        number == 1 ? QStringLiteral(" (original)") : QStringLiteral(" (original %1)").arg(number);
    const QString suffix = file.suffix().isEmpty() ? QString() : QLatin1Char('.') + file.suffix();
    return file.path() + QLatin1Char('/') + file.completeBaseName() + mark + suffix;
}

}  // namespace

Replacement::Replacement(QString original)
    : mOriginal(std::move(original)), mTemporaryPath(temporaryPathBeside(mOriginal)) {}

Replacement::~Replacement() {
    if (!mTemporaryPath.isEmpty()) {
        ::unlink(onDisk(mTemporaryPath).constData());
    }
}

int Replacement::replaceOriginal(QString& kept) {
    const QByteArray original = onDisk(mOriginal);
    const QByteArray temporary = onDisk(mTemporaryPath);
    for (int number = 1; number <= kLargestNumber; ++number) {
        const QString path = keptPath(mOriginal, number);
        // A second name first, so that the original's own is never without a file.
        if (::link(original.constData(), onDisk(path).constData()) == 0) {
            if (::rename(temporary.constData(), original.constData()) != 0) {
                const int error = errno;
                ::unlink(onDisk(path).constData());
                return error;
            }
        } else if (errno == EEXIST) {
            continue;
        } else if (::renameat2(AT_FDCWD, original.constData(), AT_FDCWD, onDisk(path).constData(),
                               RENAME_NOREPLACE) != 0) {
            if (errno == EEXIST) {
                continue;
            }
            return errno;
        } else if (::rename(temporary.constData(), original.constData()) != 0) {
            const int error = errno;
            ::rename(onDisk(path).constData(), original.constData());
            return error;
        }
        mTemporaryPath.clear();
        kept = path;
        return movietoolbox::synchronizeMovieFile(original.toStdString());
    }
    return EEXIST;
}

}  // namespace takebox
