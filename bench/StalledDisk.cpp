// What the frame handler costs while nothing else goes on: stalled_disk [SECONDS]
//
// Sends frames to a recording device at their pace, from a thread of its own, three times: with a
// disk that takes everything at once; with one that takes nothing for two seconds out of three (the
// raw files are pipes); and so while the main thread is blocked, too. Prints percentiles of the
// handler's time, as it passed and as the thread's processor time: on a busy machine the first also
// counts the times when the thread was not let run.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <thread>

#include "capture/AVCGlobals.h"
#include "capture/CDVDevice.h"
#include "platform/defaults/Defaults.h"
#include "storage/WriterThreads.h"
#include "support/FakeDevice.h"

namespace takebox {
namespace {

using namespace std::chrono_literals;

enum class Disk { kFast, kStalling };
enum class MainThread { kRuns, kIsBlocked };

struct Times {
    std::vector<double> passed;  // microseconds
    std::vector<double> ofProcessor;
};

double microseconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

double percentile(std::vector<double> values, double part) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1))];
}

// Empties a pipe for one second in three.
void drain(const std::string& path, const std::atomic<bool>& mustGoOn) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    std::vector<char> bytes(1 << 20);
    const double begin = microseconds(CLOCK_MONOTONIC);
    while (mustGoOn) {
        const double phase = microseconds(CLOCK_MONOTONIC) - begin;
        const bool isStalled = static_cast<long>(phase / 1e6) % 3 != 2;
        if (isStalled || ::read(descriptor, bytes.data(), bytes.size()) <= 0) {
            std::this_thread::sleep_for(2ms);
        }
    }
    for (ssize_t got = -1; got != 0; got = ::read(descriptor, bytes.data(), bytes.size())) {
        if (got < 0) {
            std::this_thread::sleep_for(1ms);
        }
    }
    ::close(descriptor);
}

Times sendFrames(test::FakeDevice& deck, int seconds) {
    Times times;
    const auto frame = test::fakeFrame(false, 0);
    const int count = 30 * seconds;
    auto next = std::chrono::steady_clock::now();
    for (int i = 0; i < count; ++i) {
        const double passed = microseconds(CLOCK_MONOTONIC);
        const double processor = microseconds(CLOCK_THREAD_CPUTIME_ID);
        deck.sendFrame(frame);
        times.ofProcessor.push_back(microseconds(CLOCK_THREAD_CPUTIME_ID) - processor);
        times.passed.push_back(microseconds(CLOCK_MONOTONIC) - passed);
        std::this_thread::sleep_until(next += 33ms);
    }
    return times;
}

void measure(const char* title, Disk disk, MainThread mainThread, int seconds) {
    const QTemporaryDir folder;
    Defaults::standard().reopen(folder.filePath(QStringLiteral("defaults.plist")));
    auto fake = std::make_unique<test::FakeDevice>(1, 0x00);
    test::FakeDevice& deck = *fake;
    avc::CreateAVCDeviceController(gAVCDeviceController, test::fakeBackends(std::move(fake)),
                                   nullptr, nullptr);
    auto device = CDVDevice::initWithGUID(1);
    std::atomic<bool> mustGoOn{true};
    std::vector<std::thread> readers;
    for (const char* name : {"take.dv", "take.aud"}) {
        const QString path = folder.filePath(QString::fromLatin1(name));
        if (disk == Disk::kFast) {
            QFile::link(QStringLiteral("/dev/null"), path);
        } else if (::mkfifo(QFile::encodeName(path).constData(), 0600) == 0) {
            readers.emplace_back(
                [path, &mustGoOn] { drain(QFile::encodeName(path).toStdString(), mustGoOn); });
        }
    }
    device->setShouldCreateReferenceMovie(true);
    device->setRawCapturePath(folder.filePath(QStringLiteral("take")));
    device->startRecordingWithPreAllocationDuration(10, {});
    const auto file = device->dvOutputFile();
    Times times;
    std::thread receiver([&] {
        times = sendFrames(deck, seconds);
        QMetaObject::invokeMethod(
            qApp, [] { QCoreApplication::exit(); }, Qt::QueuedConnection);
    });
    if (mainThread == MainThread::kRuns) {
        QCoreApplication::exec();
    }
    receiver.join();
    mustGoOn = false;
    const auto dropped = file ? file->droppedBlocks() : 0;
    device->stopRecording(false);
    device.reset();
    avc::DestroyAVCDeviceController(gAVCDeviceController);
    WriterThreads::waitUntilFinished();
    for (std::thread& reader : readers) {
        reader.join();
    }
    std::printf("%-44s", title);
    for (const auto* kind : {&times.passed, &times.ofProcessor}) {
        std::printf("  %6.0f %6.0f %6.0f", percentile(*kind, 0.5), percentile(*kind, 0.999),
                    percentile(*kind, 1));
    }
    std::printf("  %llu of %zu\n", static_cast<unsigned long long>(dropped), times.passed.size());
}

}  // namespace
}  // namespace takebox

int main(int argc, char** argv) {
    using namespace takebox;
    QCoreApplication application(argc, argv);
    const int seconds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 60;
    std::printf("%-44s  time passed (us)      processor time (us)   dropped\n", "");
    std::printf("%-44s  median  99.9%%    max  median  99.9%%    max\n", "");
    measure("fast disk", Disk::kFast, MainThread::kRuns, seconds);
    measure("stalling disk", Disk::kStalling, MainThread::kRuns, seconds);
    measure("stalling disk, main thread blocked", Disk::kStalling, MainThread::kIsBlocked, seconds);
    return 0;
}
