#include "platform/defaults/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <csignal>
#include <cstdio>

namespace takebox {
namespace {

using namespace Qt::StringLiterals;

class Descriptor {
public:
    explicit Descriptor(int descriptor) : mDescriptor(descriptor) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int get() const { return mDescriptor; }
    /// A network file system may report only here that it could not write.
    bool close() {
        const int result = mDescriptor < 0 ? 0 : ::close(mDescriptor);
        mDescriptor = -1;
        return result == 0;
    }

private:
    int mDescriptor;
};

bool writeAll(int descriptor, const QByteArray& contents) {
    const char* data = contents.constData();
    auto left = static_cast<std::size_t>(contents.size());
    while (left > 0) {
        const ssize_t written = write(descriptor, data, left);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        if (written > 0) {
            data += written;
            left -= static_cast<std::size_t>(written);
        }
    }
    return true;
}

bool writeNewFile(const char* path, mode_t mode, const QByteArray& contents) {
    Descriptor file(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
    return file.get() >= 0 && fchmod(file.get(), mode) == 0 && writeAll(file.get(), contents) &&
           fsync(file.get()) == 0 && file.close();
}

QString prefixOfReplacements(const QFileInfo& target) {
    return u'.' + target.fileName() + u'.';
}

QFileInfo targetOf(const QString& path) {
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return QFileInfo(canonical.isEmpty() ? path : canonical);
}

}  // namespace

int replaceFile(const QString& path, const QByteArray& contents) {
    const QFileInfo target = targetOf(path);
    const QByteArray targetName = QFile::encodeName(target.filePath());
    const QByteArray temporaryName =
        QFile::encodeName(target.path() + u'/' + prefixOfReplacements(target) +
                          QString::number(getpid()) + u".new"_s);
    struct stat old {};
    const mode_t mode = stat(targetName.constData(), &old) == 0 ? old.st_mode & 07777U : 0600U;
    if (!writeNewFile(temporaryName.constData(), mode, contents) ||
        rename(temporaryName.constData(), targetName.constData()) != 0) {
        const int error = errno;
        unlink(temporaryName.constData());
        return error;
    }
    const Descriptor folder(
        open(QFile::encodeName(target.path()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // Some file systems cannot flush a folder; the file itself is safe by then.
    fsync(folder.get());
    return 0;
}

void removeAbandonedReplacements(const QString& path) {
    const QFileInfo target = targetOf(path);
    const QString prefix = prefixOfReplacements(target);
    QDir folder(target.path());
    const auto names = folder.entryList({prefix + u"*.new"_s}, QDir::Files | QDir::Hidden);
    for (const QString& name : names) {
        bool isNumber = false;
        const pid_t process = name.mid(prefix.size()).chopped(4).toInt(&isNumber);
        if (isNumber && kill(process, 0) != 0 && errno == ESRCH) {
            folder.remove(name);
        }
    }
}

}  // namespace takebox
