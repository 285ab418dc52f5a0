#include "app/Diagnose.h"

#include <fcntl.h>
#include <unistd.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFile>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/log/Log.h"

namespace takebox {
namespace {

constexpr std::chrono::milliseconds kDiskTime{300};
constexpr std::size_t kBlock = std::size_t{1} << 20U;
// Bytes a second of one deck with raw files and self-contained movie.
constexpr double kDeckRate = 2 * 3792000.0;

std::string utf8(const QString& text) {
    return text.toStdString();
}

avc::DiagnosisLine diskThatCannotBeWritten(const std::string& topic, int error) {
    return {
        topic,
        utf8(QStringLiteral("cannot be written: %1").arg(QString::fromLocal8Bit(strerror(error)))),
        utf8(adviceOnDisk(error))};
}

avc::DiagnosisLine diagnoseAnnouncement() {
    const QDBusConnection bus = QDBusConnection::systemBus();
    const bool isThere = bus.isConnected() && bus.interface()->isServiceRegistered(
                                                  QStringLiteral("org.freedesktop.Avahi"));
    if (isThere) {
        return {"Announcement", "the mDNS daemon runs", {}};
    }
    return {"Announcement", "no mDNS daemon runs",
            "Install and start avahi-daemon if the recorder is to be found on the "
            "network by its name."};
}

avc::DiagnosisLine diagnoseSessionBus() {
    if (QDBusConnection::sessionBus().isConnected()) {
        return {"Session bus", "connected", {}};
    }
    return {"Session bus", "none",
            "Scripts cannot reach the recorder. Start it in a desktop session or "
            "with dbus-run-session."};
}

}  // namespace

QString adviceOnDisk(int error) {
    switch (error) {
        case ENOENT:
        case ENOTDIR:
            return QStringLiteral("There is no such folder: create it or choose another one.");
        case EACCES:
        case EPERM:
            return QStringLiteral("Choose a folder that you may write into.");
        case EROFS:
            return QStringLiteral(
                "The disk is write-protected: mount it for writing or choose another "
                "one.");
        case ENOSPC:
        case EDQUOT:
            return QStringLiteral("Make room on the disk or choose another one.");
        case EIO:
            return QStringLiteral(
                "The disk does not work as it should: check its cable, look into the "
                "system's log, and record to another one.");
        default:
            return QStringLiteral("Choose another folder or another disk.");
    }
}

avc::DiagnosisLine diagnoseDisk(const QString& folder) {
    avc::DiagnosisLine line{utf8(QStringLiteral("Disk at %1").arg(folder)), {}, {}};
    QByteArray path = QFile::encodeName(folder + QStringLiteral("/takebox-XXXXXX"));
    const int descriptor = ::mkostemp(path.data(), O_CLOEXEC);
    if (descriptor < 0) {
        return diskThatCannotBeWritten(line.topic, errno);
    }
    ::unlink(path.constData());
    QFile file;
    static_cast<void>(file.open(descriptor, QIODevice::WriteOnly, QFile::AutoCloseHandle));
    const std::vector<char> block(kBlock, '\x5A');
    const auto begin = std::chrono::steady_clock::now();
    qint64 written = 0;
    while (std::chrono::steady_clock::now() - begin < kDiskTime) {
        const ssize_t result = ::write(descriptor, block.data(), block.size());
        if (result != static_cast<ssize_t>(block.size())) {
            return diskThatCannotBeWritten(line.topic, result < 0 ? errno : ENOSPC);
        }
        written += static_cast<qint64>(block.size());
        // What the system only remembers is not on the disk.
        if (::fdatasync(descriptor) != 0 && errno != EINVAL && errno != EROFS) {
            return diskThatCannotBeWritten(line.topic, errno);
        }
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    const double rate = static_cast<double>(written) / time.count();
    const int decks = static_cast<int>(rate / kDeckRate);
    line.finding = utf8(QStringLiteral("writes %1 MB a second, enough for %2 decks")
                            .arg(rate / 1e6, 0, 'f', 0)
                            .arg(decks));
    if (decks == 0) {
        line.advice = "Record to a faster disk, or one kind of movie only.";
    }
    return line;
}

int runDiagnose(const QString& folder) {
    std::vector<avc::DiagnosisLine> lines = avc::diagnoseFireWire();
    lines.push_back(diagnoseDisk(folder));
    lines.push_back(diagnoseAnnouncement());
    lines.push_back(diagnoseSessionBus());
    int status = 0;
    for (const auto& line : lines) {
        printMessage("%s: %s\n", line.topic.c_str(), line.finding.c_str());
        if (!line.advice.empty()) {
            printMessage("    %s\n", line.advice.c_str());
            status = 1;
        }
    }
    return status;
}

}  // namespace takebox
