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

/// Renames a file unless the new name is taken. @return 0 or an errno value; EEXIST: it is.
int renameToFreeName(const char* from, const char* to) {
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL) {
        return errno;
    }
    // Some network shares do not know that flag: there a look must do.
    if (::faccessat(AT_FDCWD, to, F_OK, AT_SYMLINK_NOFOLLOW) == 0) {
        return EEXIST;
    }
    return errno == ENOENT && ::rename(from, to) == 0 ? 0 : errno;
}

/// Gives a file a second name, so that its own is never without a file; where files have one name
/// only, another one. @return as renameToFreeName().
int keepAs(const char* original, const char* kept) {
    if (::link(original, kept) == 0) {
        return 0;
    }
    return errno == EEXIST ? EEXIST : renameToFreeName(original, kept);
}

void takeBack(const char* kept, const char* original) {
    // Of two names of one file, both are there still.
    if (::rename(kept, original) == 0) {
        ::unlink(kept);
    }
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
        const QByteArray second = onDisk(path);
        const int notKept = keepAs(original.constData(), second.constData());
        if (notKept == EEXIST) {
            continue;
        }
        if (notKept != 0) {
            return notKept;
        }
        if (::rename(temporary.constData(), original.constData()) != 0) {
            const int error = errno;
            takeBack(second.constData(), original.constData());
            return error;
        }
        mTemporaryPath.clear();
        kept = path;
        return movietoolbox::synchronizeMovieFile(original.toStdString());
    }
    return EEXIST;
}

}  // namespace takebox
