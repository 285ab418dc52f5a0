// What live windows cost: takebox_live_windows [DECKS] [SECONDS]
//
// Opens the windows of virtual decks that play a file in real time, lets them run, and prints the
// longest stall of the main thread and the processor time for one deck: all of the process, and,
// measured beside it, of ffmpeg as it decodes the same file in real time with one thread. The
// program itself makes the decks' frames; what that costs is measured without windows and taken
// off. Waking the main thread for a picture counts for the windows.

#include <sys/resource.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <cstdio>

#include "app/CTapedeckApplication.h"
#include "app/HeadlessInterface.h"
#include "app/TerminationSignals.h"
#include "app/desktop/DesktopInterface.h"
#include "platform/defaults/Defaults.h"
#include "recording/CDVDeviceWindowController.h"
#include "storage/WriterThreads.h"
#include "support/DVMaterial.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;

constexpr int kWatchdogInterval = 5;  // milliseconds

double cpuSeconds(int who) {
    rusage usage{};
    getrusage(who, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

struct Measurement {
    double cpuOfDeck = 0;     // seconds of processor time per second and deck
    double longestStall = 0;  // milliseconds
    std::uint32_t pictures = 0;
};

// Runs the event loop and looks how late a short timer comes.
Measurement measure(int decks, int seconds) {
    Measurement result;
    QElapsedTimer sinceTick;
    QTimer watchdog;
    watchdog.setTimerType(Qt::PreciseTimer);
    QObject::connect(&watchdog, &QTimer::timeout, [&] {
        const double late = static_cast<double>(sinceTick.nsecsElapsed()) / 1e6 - kWatchdogInterval;
        result.longestStall = std::max(result.longestStall, late);
        sinceTick.start();
    });
    const auto picturesSoFar = [decks] {
        std::uint32_t sum = 0;
        for (int i = 0; i < decks; ++i) {
            sum += CTapedeckApplication::controllerAtIndex(i)->device()->preview().frameCount();
        }
        return sum;
    };
    const std::uint32_t picturesBefore = picturesSoFar();
    const double before = cpuSeconds(RUSAGE_SELF);
    sinceTick.start();
    watchdog.start(kWatchdogInterval);
    QTimer::singleShot(seconds * 1000, [] { QCoreApplication::exit(); });
    QCoreApplication::exec();
    watchdog.stop();
    result.cpuOfDeck = (cpuSeconds(RUSAGE_SELF) - before) / seconds / decks;
    result.pictures = picturesSoFar() - picturesBefore;
    return result;
}

Measurement run(UserInterface& interface, const QString& file, int decks, int seconds) {
    QStringList arguments{u"takebox"_s, u"--control-port"_s, u"0"_s};
    for (int i = 0; i < decks; ++i) {
        arguments << u"--virtual-deck"_s << file + u",loop=yes,name=Deck %1"_s.arg(i + 1);
    }
    CTapedeckApplication::initialize();
    CTapedeckApplication application(*parseOptions(arguments).options, interface);
    interface.setApplication(&application);
    if (!application.finishLaunching()) {
        return {};
    }
    // The first second belongs to the making of the windows.
    QTimer::singleShot(1000, [] { QCoreApplication::exit(); });
    QCoreApplication::exec();
    const Measurement result = measure(decks, seconds);
    interface.setApplication(nullptr);
    return result;
}

double cpuOfFfmpeg(const QString& file, int seconds) {
    const double before = cpuSeconds(RUSAGE_CHILDREN);
    QProcess::execute(
        u"ffmpeg"_s,
        {u"-v"_s, u"quiet"_s, u"-threads"_s, u"1"_s, u"-re"_s, u"-stream_loop"_s, u"-1"_s, u"-i"_s,
         file, u"-t"_s, QString::number(seconds), u"-map"_s, u"0:v"_s, u"-f"_s, u"null"_s, u"-"_s});
    return (cpuSeconds(RUSAGE_CHILDREN) - before) / seconds;
}

int bench(int decks, int seconds, QString file) {
    const QTemporaryDir folder;
    Defaults::standard().reopen(folder.filePath(u"defaults.plist"_s));
    if (file.isEmpty()) {
        file = folder.filePath(u"material.dv"_s);
        QFile made(file);
        if (!made.open(QIODevice::WriteOnly)) {
            return 1;
        }
        for (const QByteArray& frame : test::makeDVFrames(true, false, 250)) {
            made.write(frame);
        }
    }
    HeadlessInterface headless;
    const Measurement without = run(headless, file, decks, std::min(seconds, 20));
    DesktopInterface desktop;
    const Measurement with = run(desktop, file, decks, seconds);
    const double ffmpeg = cpuOfFfmpeg(file, std::min(seconds, 20));
    std::printf("decks %d, seconds %d, pictures decoded per deck and second %.2f\n", decks, seconds,
                static_cast<double>(with.pictures) / decks / seconds);
    std::printf("longest stall of the main thread: %.1f ms (goal: below 100)\n", with.longestStall);
    std::printf(
        "processor per deck: %.2f %% in all, %.2f %% without windows (frames and parsing)\n",
        100 * with.cpuOfDeck, 100 * without.cpuOfDeck);
    std::printf("preview, meters and timers per deck: %.2f %%\n",
                100 * (with.cpuOfDeck - without.cpuOfDeck));
    std::printf("ffmpeg decoding the same in real time: %.2f %%\n", 100 * ffmpeg);
    std::printf("ratio: %.2f (goal: below 0.5)\n", (with.cpuOfDeck - without.cpuOfDeck) / ffmpeg);
    return 0;
}

}  // namespace
}  // namespace takebox

int main(int argc, char** argv) {
    takebox::TerminationSignals::block();
    const QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    const QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int decks = arguments.size() > 1 ? arguments[1].toInt() : 8;
    const int seconds = arguments.size() > 2 ? arguments[2].toInt() : 60;
    const QString file = arguments.size() > 3 ? arguments[3] : QString();
    return takebox::bench(std::max(decks, 1), std::max(seconds, 1), file);
}
