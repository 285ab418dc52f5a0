// What one frame costs on the receive thread while it is recorded, beside one memcpy of it.

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <chrono>
#include <cstring>
#include <thread>

#include "capture/AVCGlobals.h"
#include "capture/CDVDevice.h"
#include "platform/defaults/Defaults.h"
#include "storage/WriterThreads.h"
#include "support/FakeDevice.h"

namespace takebox {
namespace {

using Frame = std::vector<std::uint8_t>;

class Parser : public DVFrameParser {
public:
    explicit Parser(bool pal) { setStandard(pal ? kStandardPAL : kStandardNTSC); }
    [[nodiscard]] std::uint32_t audioBlockSize() const { return mAudioFrameSize; }

protected:
    void updatePreviewBounds() override {}
};

Frame frameOf(bool pal) {
    Frame frame = test::fakeFrame(pal, 0);
    for (std::size_t i = 5000; i < frame.size(); ++i) {
        frame[i] = static_cast<std::uint8_t>(i * 2654435761U >> 11U);
    }
    return frame;
}

// One iteration is one chunk of ten frames, after which the writer gets the time that a real deck
// would give it: without that, the fast path of a full pool would be measured.
constexpr int kFrames = 10;
// The chunks of a raw file take turns; the copy does the same, so that both meet the same caches.
constexpr std::size_t kSlots = 2 * kFrames;

/// Times the body for each frame of a chunk, then waits for the writers.
template <typename Body, typename Wait>
void timeChunks(benchmark::State& state, const Body& body, const Wait& waitForWriters) {
    for (auto _ : state) {
        const auto begin = std::chrono::steady_clock::now();
        for (int i = 0; i < kFrames; ++i) {
            body();
        }
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
        state.SetIterationTime(time.count() / kFrames);
        waitForWriters();
    }
}

void BM_memcpy(benchmark::State& state, bool pal) {
    const Frame frame = frameOf(pal);
    std::vector<std::uint8_t> pool(frame.size() * kSlots);
    std::size_t slot = 0;
    timeChunks(
        state,
        [&] {
            std::memcpy(pool.data() + slot * frame.size(), frame.data(), frame.size());
            benchmark::ClobberMemory();
            slot = (slot + 1) % kSlots;
        },
        [] { std::this_thread::sleep_for(std::chrono::microseconds(50)); });
}
BENCHMARK_CAPTURE(BM_memcpy, ntsc, false)->UseManualTime();
BENCHMARK_CAPTURE(BM_memcpy, pal, true)->UseManualTime();

/// Returns when no more than a chunk waits for the writer.
void waitForWriter(const BufferedFile& file) {
    while (file.appendedBlocks() * file.blockSize() - file.writtenBytes() >
           kSlots * file.blockSize()) {
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(std::chrono::microseconds(50));
}

// Time code, flag, and both raw files; the sound is there already.
void BM_recordWithoutAudioExtraction(benchmark::State& state, bool pal) {
    const Frame frame = frameOf(pal);
    Parser parser(pal);
    const auto video = BufferedFile::initVideoBufferedFileWithPath(QStringLiteral("/dev/null"),
                                                                   parser.frameSize(), 10);
    const auto audio = BufferedFile::initAudioBufferedFileWithPath(QStringLiteral("/dev/null"),
                                                                   parser.audioBlockSize(), 20);
    if (video->openForWriting(false) != 0 || audio->openForWriting(false) != 0) {
        state.SkipWithError("cannot open /dev/null");
        return;
    }
    std::uint32_t bytes = 0;
    const auto* samples = reinterpret_cast<const std::uint8_t*>(
        parser.extractAudioSamples(frame.data(), static_cast<std::uint32_t>(frame.size()), bytes));
    timeChunks(
        state,
        [&] {
            const auto size = static_cast<std::uint32_t>(frame.size());
            parser.extractTimeCode(frame.data(), size);
            parser.extract16By9Flag(frame.data(), size);
            video->appendBlock(frame.data(), size, false);
            audio->appendBlock(samples, bytes, false);
        },
        [&] { waitForWriter(*video); });
    state.counters["dropped"] = static_cast<double>(video->droppedBlocks());
    video->close();
    audio->close();
    WriterThreads::waitUntilFinished();
}
BENCHMARK_CAPTURE(BM_recordWithoutAudioExtraction, ntsc, false)->UseManualTime();
BENCHMARK_CAPTURE(BM_recordWithoutAudioExtraction, pal, true)->UseManualTime();

void BM_extractAudio(benchmark::State& state, bool pal) {
    const Frame frame = frameOf(pal);
    Parser parser(pal);
    std::uint32_t bytes = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(parser.extractAudioSamples(
            frame.data(), static_cast<std::uint32_t>(frame.size()), bytes));
        benchmark::ClobberMemory();
    }
}
BENCHMARK_CAPTURE(BM_extractAudio, ntsc, false);
BENCHMARK_CAPTURE(BM_extractAudio, pal, true);

// The same with the formulas as they stand, for each sample.
void BM_extractAudioPlainly(benchmark::State& state, bool pal) {
    const Frame frame = frameOf(pal);
    const std::uint32_t count = pal ? 1920 : 1602;
    const std::uint32_t D = pal ? 54 : 45, S = pal ? 6 : 5, B = pal ? 18 : 15;
    std::vector<std::uint8_t> buffer(std::size_t{4} * count);
    const auto offset = [&](std::uint32_t n, std::uint32_t channel) {
        const std::uint32_t sequence = ((n % 3) * 2 + n / 3) % S + channel * S;
        const std::uint32_t block = 3 * (n % 3) + (n % D) / B;
        return sequence * 12000 + 480 + block * 1280 + 8 + 2 * (n / D);
    };
    for (auto _ : state) {
        std::int16_t peaks[2] = {0, 0};
        for (std::uint32_t n = 0; n < count; ++n) {
            for (std::uint32_t channel = 0; channel < 2; ++channel) {
                const std::uint8_t* sample = &frame[offset(n, channel)];
                const auto value = static_cast<std::int16_t>(sample[0] << 8 | sample[1]);
                peaks[channel] = value > peaks[channel] ? value : peaks[channel];
                buffer[4 * n + 2 * channel] = sample[0];
                buffer[4 * n + 2 * channel + 1] = sample[1];
            }
        }
        benchmark::DoNotOptimize(peaks);
        benchmark::ClobberMemory();
    }
}
BENCHMARK_CAPTURE(BM_extractAudioPlainly, ntsc, false);
BENCHMARK_CAPTURE(BM_extractAudioPlainly, pal, true);

// The device's own handler with everything: parsing, sound, both files, the preview's copy and the
// signal to the main thread.
void BM_wholeHandler(benchmark::State& state, bool pal) {
    const QTemporaryDir folder;
    Defaults::standard().reopen(folder.filePath(QStringLiteral("defaults.plist")));
    auto fake = std::make_unique<test::FakeDevice>(1, pal ? 0x80 : 0x00);
    test::FakeDevice& deck = *fake;
    avc::CreateAVCDeviceController(gAVCDeviceController, test::fakeBackends(std::move(fake)),
                                   nullptr, nullptr);
    auto device = CDVDevice::initWithGUID(1);
    for (const char* name : {"take.dv", "take.aud"}) {
        QFile::link(QStringLiteral("/dev/null"), folder.filePath(QString::fromLatin1(name)));
    }
    device->setShouldCreateReferenceMovie(true);
    device->setRawCapturePath(folder.filePath(QStringLiteral("take")));
    device->startRecordingWithPreAllocationDuration(10, {});
    const Frame frame = frameOf(pal);
    timeChunks(
        state, [&] { deck.sendFrame(frame); }, [&] { waitForWriter(*device->dvOutputFile()); });
    state.counters["dropped"] = static_cast<double>(device->dvOutputFile()->droppedBlocks());
    device->stopRecording(false);
    device.reset();
    avc::DestroyAVCDeviceController(gAVCDeviceController);
    WriterThreads::waitUntilFinished();
}
BENCHMARK_CAPTURE(BM_wholeHandler, ntsc, false)->UseManualTime();
BENCHMARK_CAPTURE(BM_wholeHandler, pal, true)->UseManualTime();

}  // namespace
}  // namespace takebox

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
