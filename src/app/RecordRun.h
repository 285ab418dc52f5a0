#pragma once

#include <QObject>
#include <QString>
#include <memory>
#include <optional>
#include <vector>

#include "recording/CDVDeviceWindowController.h"

namespace takebox {

/// Records every device once into one folder, shows progress on standard output, and tells what was
/// made and whether anything was lost. Main thread; without windows.
class RecordRun : public QObject {
    Q_OBJECT

public:
    /// @param seconds of recording, counted in frames.
    RecordRun(double seconds, const QString& folder);
    ~RecordRun() override;

    /// Starts as soon as every device shows a picture; a second later without one, for a deck that
    /// stands. The outcome comes with finished().
    void start();

    /// Ends early; what has been recorded is complete.
    void interrupt();

Q_SIGNALS:
    /// Everything is on the disk. 0 when every file is complete, 1 when something is missing, 130
    /// when the recording was interrupted.
    void finished(int exitStatus);

private:
    struct Take;

    [[nodiscard]] bool folderIsUsable() const;
    void waitForDevices();
    [[nodiscard]] bool areDevicesReady();
    void startTakes();
    void update();
    [[nodiscard]] double secondsLeft() const;
    void showProgress(bool isLast) const;
    void stop();
    [[nodiscard]] bool report(const Take& take) const;
    void finish(int exitStatus);

    const double mSeconds;
    const QString mFolder;
    Clock& mClock;
    Clock::Timer mTimer = 0;
    std::int64_t mStarted = 0;  // monotonic nanoseconds
    std::optional<std::int64_t> mDevicesFound;
    double mNextShown = 0.0;  // seconds after the start
    bool mIsInterrupted = false;
    std::vector<Take> mTakes;
};

}  // namespace takebox
