#pragma once

#include <QString>
#include <QStringList>
#include <optional>

namespace takebox {

/// Tells when a recording is running out of disk: once when less than the preset time remains, and
/// once more at five minutes. Each is told again when there was room in between. Stops nothing.
/// Main thread; one per device.
class DiskSpaceWatch {
public:
    struct Warning {
        QString title;
        QString message;
    };

    /// Looks at the remaining time. Call it now and then while the device records.
    /// @param remaining, preset seconds.
    [[nodiscard]] std::optional<Warning> check(double remaining, double preset,
                                               const QString& deviceName);
    /// A new recording begins: it is told everything anew.
    void reset() { mTold = Level::kNone; }

private:
    enum class Level { kNone, kLessThanPreset, kFiveMinutes };

    Level mTold = Level::kNone;
};

/// Seconds until a disk of these folders is full when each is recorded into at the full rate;
/// several on one disk share its room. Nothing when no folder can be looked at.
[[nodiscard]] std::optional<double> secondsUntilFull(const QStringList& folders,
                                                     double bytesPerSecond);

/// Bytes that a user may still write to the folder's disk; nothing when it cannot be looked at.
[[nodiscard]] std::optional<qint64> roomInFolder(const QString& folder);

}  // namespace takebox
