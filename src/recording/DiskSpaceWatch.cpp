#include "recording/DiskSpaceWatch.h"

#include <sys/stat.h>

#include <QFile>
#include <QObject>
#include <QStorageInfo>
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>

namespace takebox {
namespace {

constexpr double kMinute = 60.0;
constexpr double kFiveMinutes = 300.0;

// A preset time may be longer than any integer holds, or infinite.
QString minutesAndSeconds(double seconds) {
    const auto rest = std::isfinite(seconds) ? static_cast<int>(std::fmod(seconds, kMinute)) : 0;
    return QStringLiteral("%1:%2")
        .arg(std::floor(seconds / kMinute), 0, 'f', 0)
        .arg(rest, 2, 10, QLatin1Char('0'));
}

/// Those of the folders that are there.
bool areOnOneFileSystem(const QStringList& folders) {
    std::set<dev_t> numbers;
    for (const QString& folder : folders) {
        struct stat status {};
        if (::stat(QFile::encodeName(folder).constData(), &status) == 0) {
            numbers.insert(status.st_dev);
        }
    }
    return numbers.size() <= 1;
}

}  // namespace

std::optional<DiskSpaceWatch::Warning> DiskSpaceWatch::check(double remaining, double preset,
                                                             const QString& deviceName) {
    Level level = Level::kNone;
    if (remaining < kFiveMinutes) {
        level = Level::kFiveMinutes;
    } else if (remaining < preset) {
        level = Level::kLessThanPreset;
    }
    const bool isNews = level > mTold;
    mTold = level;
    if (!isNews) {
        return std::nullopt;
    }
    return Warning{QObject::tr("The disk is running full."),
                   QObject::tr("%1: %2 minutes of recording are left. The preset time is %3.")
                       .arg(deviceName, minutesAndSeconds(remaining), minutesAndSeconds(preset))};
}

std::optional<double> secondsUntilFull(const QStringList& folders, double bytesPerSecond) {
    struct Disk {
        double room = 0;
        int uses = 0;
    };
    const bool isOneDisk = areOnOneFileSystem(folders);
    std::map<QByteArray, Disk> disks;
    for (const QString& folder : folders) {
        if (const auto room = roomInFolder(folder)) {
            // Parts of one disk may be file systems of their own, which share its room.
            Disk& disk = disks[isOneDisk ? QByteArray() : QStorageInfo(folder).device()];
            disk.room = static_cast<double>(*room);
            ++disk.uses;
        }
    }
    std::optional<double> seconds;
    for (const auto& [device, disk] : disks) {
        const double here = disk.room / (bytesPerSecond * disk.uses);
        seconds = std::min(seconds.value_or(here), here);
    }
    return seconds;
}

std::optional<qint64> roomInFolder(const QString& folder) {
    std::error_code error;
    // Asks about the folder alone; the toolkit reads through all that is mounted.
    const auto volume = std::filesystem::space(QFile::encodeName(folder).constData(), error);
    return error ? std::nullopt : std::optional(static_cast<qint64>(volume.available));
}

}  // namespace takebox
