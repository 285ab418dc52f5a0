#include "app/RecordRun.h"

#include <unistd.h>

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <utility>

#include "platform/log/Log.h"
#include "storage/WriterThreads.h"

namespace takebox {
namespace {

constexpr double kDeviceWait = 3.0;  // seconds for devices to be found and to show a picture
constexpr double kSignalWait = 1.0;  // of it for the picture: a deck that stands may send none
constexpr double kDeviceInterval = 0.02;
constexpr double kFirstLook = 0.1;
constexpr double kShortestWait = 0.02;
constexpr double kGrace = 2.0;  // seconds beyond the wanted length before giving up
constexpr int kInterrupted = 130;

double secondsBetween(std::int64_t begin, std::int64_t end) {
    return static_cast<double>(end - begin) / 1e9;
}

/// Seconds that the frames of a recording play: it is counted at the nominal rate of its device.
double playingTime(double seconds, const CDVDevice& device) {
    constexpr double kInexactness = 1e-6;  // of the product, in frames
    const double frames = std::ceil(seconds * device.nominalFramesPerSecond() - kInexactness);
    return frames / device.framesPerSecond();
}

QString timeCodeText(const TimeCodeRecord& timeCode) {
    return QString::asprintf("%02i:%02i:%02i:%02i", timeCode.hours, timeCode.minutes,
                             timeCode.seconds, timeCode.frames);
}

void printLine(const QString& line) {
    printMessage("%s\n", line.toUtf8().constData());
}

void printError(const QString& line) {
    fprintf(stderr, "takebox: %s\n", line.toUtf8().constData());
}

}  // namespace

/// One device's share of the run.
struct RecordRun::Take {
    std::shared_ptr<CDVDeviceWindowController> controller;
    QString name;
    std::uint32_t frames = 0;
    RecordingReport outcome;
};

RecordRun::RecordRun(double seconds, const QString& folder)
    : mSeconds(seconds), mFolder(QDir(folder).absolutePath()), mClock(Clock::system()) {}

RecordRun::~RecordRun() {
    mClock.cancel(mTimer);
}

bool RecordRun::folderIsUsable() const {
    if (!QDir().mkpath(mFolder)) {
        printError(QStringLiteral("cannot create the folder %1: %2")
                       .arg(mFolder, QString::fromLocal8Bit(strerror(errno))));
        return false;
    }
    if (::access(QFile::encodeName(mFolder).constData(), W_OK | X_OK) != 0) {
        printError(QStringLiteral("cannot write into the folder %1: %2")
                       .arg(mFolder, QString::fromLocal8Bit(strerror(errno))));
        return false;
    }
    return true;
}

void RecordRun::start() {
    if (!folderIsUsable()) {
        finish(1);
        return;
    }
    mStarted = mClock.monotonicNow();
    mTimer = mClock.callEvery(kDeviceInterval, [this] { waitForDevices(); });
    waitForDevices();
}

void RecordRun::waitForDevices() {
    gDVDevicesController->updateDeviceWindows();
    const bool isOver = secondsBetween(mStarted, mClock.monotonicNow()) > kDeviceWait;
    if (!isOver && !mIsInterrupted && !areDevicesReady()) {
        return;
    }
    mClock.cancel(std::exchange(mTimer, 0));
    if (mIsInterrupted) {
        finish(kInterrupted);
    } else if (gDVDevicesController->hasDVDevice()) {
        startTakes();
    } else {
        printError(
            QStringLiteral("no DV device found. Connect one and switch it on, or try "
                           "--virtual-deck ntsc."));
        finish(1);
    }
}

/// Every device is known, and a frame has told its time code, with which the movies begin.
bool RecordRun::areDevicesReady() {
    if (!gDVDevicesController->hasDVDevice() || gAVCDeviceController->isAskingDevices()) {
        return false;
    }
    const std::int64_t now = mClock.monotonicNow();
    mDevicesFound = mDevicesFound.value_or(now);
    const auto& entries = gDVDevicesController->devices();
    return secondsBetween(*mDevicesFound, now) > kSignalWait ||
           std::all_of(entries.begin(), entries.end(), [](const auto& entry) {
               const auto device = entry->device();
               return !device->hasStream() || device->receivedFrames() != 0;
           });
}

void RecordRun::startTakes() {
    const QString stamp = mClock.localNow().toString(QStringLiteral("yyyy-MM-dd hh'h'mm'm'ss's'"));
    for (const auto& entry : gDVDevicesController->devices()) {
        auto controller = std::dynamic_pointer_cast<CDVDeviceWindowController>(entry);
        QString device = controller->deviceName();
        device.replace(QLatin1Char('.'), QLatin1Char('-'));  // what follows is no extension
        controller->setAutoNameRecordings(false);
        controller->setRecordingName(device + QLatin1Char(' ') + stamp);
        controller->setRawRecordingFolderPath(mFolder);
        controller->setReferenceMovieFolderPath(mFolder);
        controller->setSelfContainedRecordingFolderPath(mFolder);
        controller->setReferenceMovieDuration(playingTime(mSeconds, *controller->device()));
        controller->setCreateReferenceMovie(true);
        controller->setCreateSelfContainedMovie(true);
        controller->setLoopRecording(false);
        mTakes.push_back({controller, controller->deviceName(), 0, {}});
    }
    printLine(QStringLiteral("Recording %1 %2 for %3 s into %4")
                  .arg(mTakes.size())
                  .arg(mTakes.size() == 1 ? QStringLiteral("device") : QStringLiteral("devices"))
                  .arg(mSeconds)
                  .arg(mFolder));
    mStarted = mClock.monotonicNow();
    for (const auto& take : mTakes) {
        take.controller->recordButtonPushed();
    }
    update();
}

double RecordRun::secondsLeft() const {
    double left = 0;
    for (const Take& take : mTakes) {
        left = std::max(left, mSeconds - take.controller->recordedTime());
    }
    return left;
}

void RecordRun::update() {
    mClock.cancel(std::exchange(mTimer, 0));
    const double left = secondsLeft();
    const double elapsed = secondsBetween(mStarted, mClock.monotonicNow());
    const double graceLeft = mSeconds + kGrace - elapsed;
    const bool isOver = left <= 0 || graceLeft <= 0 || mIsInterrupted;
    if (isOver || elapsed >= mNextShown) {
        showProgress(isOver);
        mNextShown = elapsed + (::isatty(STDOUT_FILENO) != 0 ? 0.2 : 1.0);
    }
    if (isOver) {
        stop();
        return;
    }
    // A virtual deck may play faster than real time.
    const double pace = left < mSeconds ? std::max(1.0, (mSeconds - left) / elapsed) : 0.0;
    const double untilEnd = pace > 0 ? left / pace : kFirstLook;
    const double wait = std::min({untilEnd, graceLeft, mNextShown - elapsed});
    mTimer = mClock.callLater(std::max(wait, kShortestWait), [this] { update(); });
}

void RecordRun::showProgress(bool isLast) const {
    QStringList parts;
    for (const auto& take : mTakes) {
        parts << QStringLiteral("%1: recorded %2, time code %3")
                     .arg(take.name, take.controller->recordedTimecode(),
                          take.controller->deviceTimecodeString());
    }
    const QString line = parts.join(QStringLiteral(" | "));
    if (::isatty(STDOUT_FILENO) != 0) {
        printMessage("\r\033[K%s%s", line.toUtf8().constData(), isLast ? "\n" : "");
    } else {
        printLine(line);
    }
}

void RecordRun::stop() {
    for (auto& take : mTakes) {
        take.controller->stopButtonPushed();
        take.outcome = take.controller->device()->recordingReport();
    }
    WriterThreads::waitUntilFinished();
    bool isComplete = true;
    for (const auto& take : mTakes) {
        isComplete = report(take) && isComplete;
    }
    finish(!isComplete ? 1 : mIsInterrupted ? kInterrupted : 0);
}

bool RecordRun::report(const Take& take) const {
    const RecordingReport& outcome = take.outcome;
    const double rate = take.controller->device()->nominalFramesPerSecond();
    QStringList losses = outcome.losses();
    const double received = rate > 0 ? static_cast<double>(outcome.frames) / rate : 0.0;
    if (received < mSeconds && outcome.frames != 0 && !mIsInterrupted) {
        losses << QStringLiteral("only %1 of %2 s were received")
                      .arg(received, 0, 'f', 2)
                      .arg(mSeconds);
    }
    QString summary =
        QStringLiteral("%1: %2 frames (%3 s), time code %4 to %5")
            .arg(take.name)
            .arg(outcome.frames)
            .arg(received, 0, 'f', 2)
            .arg(timeCodeText(outcome.firstTimeCode), timeCodeText(outcome.lastTimeCode));
    summary += losses.isEmpty() ? QStringLiteral(", nothing lost")
                                : QStringLiteral(", LOST: ") + losses.join(QStringLiteral("; "));
    printLine(summary);
    QStringList paths;
    if (outcome.dvFile) {
        paths << outcome.dvFile->path();
    }
    if (outcome.audioFile) {
        paths << outcome.audioFile->path();
    }
    paths << take.controller->currentReferenceMoviePath()
          << take.controller->currentSelfContainedMoviePath();
    for (const QString& path : paths) {
        if (!path.isEmpty()) {
            printLine(QStringLiteral("    %1 (%2)")
                          .arg(path, QLocale::c().formattedDataSize(QFileInfo(path).size())));
        }
    }
    return losses.isEmpty();
}

void RecordRun::interrupt() {
    mIsInterrupted = true;
    if (!mTakes.empty() && mTimer != 0) {
        update();
    }
}

void RecordRun::finish(int exitStatus) {
    // Not from within start(): the event loop may not have begun yet.
    mClock.callLater(0.0, [this, exitStatus] { Q_EMIT finished(exitStatus); });
}

}  // namespace takebox
