// What a long self-contained movie costs: long_movie [HOURS] [FOLDER]
//
// Lets the movie writer make an NTSC movie of so many hours as fast as it can. The picture and
// sound are left out of the file (it is as long as it would be, but sparse), everything else is
// written: so the file can be opened, and its offsets are those of the real one. Prints memory, the
// time that closing takes and the size of the movie's tables.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>
#include <QString>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "platform/movietoolbox/MovieFile.h"
#include "storage/DVDescriptions.h"
#include "storage/QuickTimeMovie.h"
#include "storage/WriterThreads.h"

namespace takebox {
namespace {

constexpr std::uint32_t kFrameSize = 120000;
constexpr std::uint32_t kFramesPerChunk = 7;
constexpr std::uint32_t kSamplesPerFrame = 1602;  // one frame in five has 1600
constexpr double kFrameRate = 29.97;

std::atomic<std::uint64_t> gEnd{0};           // of the file
std::atomic<std::uint64_t> gPictureBytes{0};  // that the writer thread has got rid of

/// A file on the disk that takes small writes, and of large ones the place only.
class SparseFile final : public movietoolbox::MovieFile {
public:
    explicit SparseFile(const std::string& path)
        : mDescriptor(::open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0644)) {}

    int writeAt(std::uint64_t offset, std::span<const std::byte> bytes) override {
        gEnd = std::max(gEnd.load(), offset + bytes.size());
        if (mTakesEverything || bytes.size() < kSoundOrPicture) {
            const ssize_t written =
                ::pwrite(mDescriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
            return written == static_cast<ssize_t>(bytes.size()) ? 0 : EIO;
        }
        gPictureBytes += bytes.size() > kLargestSound ? bytes.size() : 0;
        return 0;
    }
    int reserve(std::uint64_t /*offset*/, std::uint64_t /*size*/) override { return 0; }
    int truncate(std::uint64_t size) override {
        return ::ftruncate(mDescriptor, static_cast<off_t>(size)) == 0 ? 0 : errno;
    }
    int synchronize() override {
        const auto begin = std::chrono::steady_clock::now();
        const int result = ::fsync(mDescriptor) == 0 ? 0 : errno;
        mInDisk = mInDisk + std::chrono::steady_clock::now() - begin;
        return result;
    }
    int close() override { return ::close(mDescriptor) == 0 ? 0 : errno; }

    /// From here on nothing is left out: what comes is the movie atom.
    static void takeEverything() { mTakesEverything = true; }
    /// Seconds spent in waiting for the disk; after the writer has ended.
    static double secondsInDisk() { return std::chrono::duration<double>(mInDisk).count(); }

private:
    static constexpr std::size_t kSoundOrPicture = 80000;
    static constexpr std::size_t kLargestSound = 96000;
    static inline std::atomic<bool> mTakesEverything{false};
    static inline std::chrono::steady_clock::duration mInDisk{};
    int mDescriptor;
};

std::uint64_t residentBytes() {
    QFile status(QStringLiteral("/proc/self/statm"));
    if (!status.open(QIODevice::ReadOnly)) {
        return 0;
    }
    return status.readAll().split(' ').value(1).toULongLong() *
           static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

double secondsSince(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// Adds the frames from one to another, never more than three chunks ahead of the writer, so that
/// nothing is dropped.
void addFrames(QuickTimeMovie& movie, std::uint64_t from, std::uint64_t to) {
    const std::vector<std::uint8_t> picture(kFrameSize);
    const std::vector<std::uint8_t> sound(std::size_t{4} * kSamplesPerFrame);
    for (std::uint64_t frame = from; frame < to; ++frame) {
        movie.bufferedAddVideoSample(picture.data(), kFrameSize);
        const std::uint32_t samples = frame % 5 == 0 ? 1600 : kSamplesPerFrame;
        movie.bufferedAddAudioSample(sound.data(), 4 * samples, samples);
        const std::uint64_t due = frame > 3 * kFramesPerChunk ? frame - 3 * kFramesPerChunk : 0;
        while (gPictureBytes < due * kFrameSize) {
            std::this_thread::sleep_for(std::chrono::microseconds(20));
        }
    }
}

int bench(double hours, const QString& folder) {
    const auto path = folder + QStringLiteral("/long.mov");
    movietoolbox::setMovieFileMaker([](const std::string& name, movietoolbox::StorageMode, int&) {
        return std::make_unique<SparseFile>(name);
    });
    const auto movie = QuickTimeMovie::make();
    movie->setMovieFilePath(path);
    movie->setAudioTracksCount(1);
    movie->setAudioTimeScale(48000, 0);
    movie->setAudioDescriptionHandle(createDVSoundDescriptionHandle(), 0);
    movie->setVideoFrameSize(kFrameSize);
    movie->setVideoDescriptionHandle(createDVNTSCImageDescriptionHandle());
    movie->setVideoTimeScale(2997);
    const std::uint64_t memoryBefore = residentBytes();
    movie->startWriteMovieThread();
    const auto frames = static_cast<std::uint64_t>(hours * 3600 * kFrameRate);
    const auto begin = std::chrono::steady_clock::now();
    addFrames(*movie, 0, frames / 100);
    const std::uint64_t memoryEarly = residentBytes();
    addFrames(*movie, frames / 100, frames);
    const double writing = secondsSince(begin);
    const std::uint64_t memoryLate = residentBytes();
    SparseFile::takeEverything();
    const std::uint64_t mediaEnd = gEnd;
    const auto closing = std::chrono::steady_clock::now();
    movie->stopWriteMovieThread();
    WriterThreads::waitUntilFinished();
    const double closed = secondsSince(closing);
    const auto losses = movie->losses();
    std::printf("%.1f hours: %llu frames, %llu lost, %.2f GB, made in %.1f s\n", hours,
                static_cast<unsigned long long>(frames),
                static_cast<unsigned long long>(losses.videoFrames),
                static_cast<double>(QFile(path).size()) / 1e9, writing);
    std::printf("memory: %.1f MB before, %.1f MB after a hundredth, %.1f MB at the end\n",
                static_cast<double>(memoryBefore) / 1e6, static_cast<double>(memoryEarly) / 1e6,
                static_cast<double>(memoryLate) / 1e6);
    std::printf("closing: %.3f s (goal: below 1), %.3f s of it waiting for the disk\n", closed,
                SparseFile::secondsInDisk());
    std::printf("written then: %.2f MB\n", static_cast<double>(gEnd - mediaEnd) / 1e6);
    return losses.areNone() ? 0 : 1;
}

}  // namespace
}  // namespace takebox

int main(int argc, char** argv) {
    return takebox::bench(argc > 1 ? std::atof(argv[1]) : 4.0,
                          QString::fromLocal8Bit(argc > 2 ? argv[2] : "."));
}
