#include "recording/DiskSpaceWatch.h"

#include <QMap>
#include <QObject>
#include <QStorageInfo>
#include <algorithm>

namespace takebox {
namespace {

constexpr double kFiveMinutes = 300.0;

QString minutesAndSeconds(double seconds) {
    const auto whole = static_cast<int>(seconds);
    return QStringLiteral("%1:%2").arg(whole / 60).arg(whole % 60, 2, 10, QLatin1Char('0'));
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
    QMap<QByteArray, int> uses;
    QMap<QByteArray, double> room;
    for (const QString& folder : folders) {
        const QStorageInfo disk(folder);
        if (!folder.isEmpty() && disk.isValid() && disk.isReady()) {
            ++uses[disk.device()];
            room[disk.device()] = static_cast<double>(disk.bytesAvailable());
        }
    }
    std::optional<double> seconds;
    for (const auto& [device, count] : uses.asKeyValueRange()) {
        const double here = room.value(device) / (bytesPerSecond * count);
        seconds = std::min(seconds.value_or(here), here);
    }
    return seconds;
}

}  // namespace takebox
