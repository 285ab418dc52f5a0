#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <new>
#include <thread>

#include "../platform/movietoolbox/AtomTree.h"
#include "../platform/movietoolbox/MemoryMovieFile.h"
#include "storage/DVDescriptions.h"
#include "storage/QuickTimeMovie.h"
#include "storage/WriterThreads.h"
#include "support/LogCapture.h"
#include "support/WaitUntil.h"

namespace takebox::test {
namespace {

using namespace movietoolbox;

/// Holds back every write of a disk while it is closed.
class Gate {
public:
    void close() {
        const std::lock_guard lock(mMutex);
        mIsOpen = false;
    }
    void open() {
        const std::lock_guard lock(mMutex);
        mIsOpen = true;
        mChanged.notify_all();
    }
    void pass() {
        std::unique_lock lock(mMutex);
        mChanged.wait(lock, [this] { return mIsOpen; });
    }

private:
    std::mutex mMutex;  // guards mIsOpen
    std::condition_variable mChanged;
    bool mIsOpen = true;
};

/// A self-contained movie as the capture device sets it up, on a disk in memory.
struct SelfContained {
    explicit SelfContained(bool isPAL) : disks(disk), frame(isPAL ? 144000 : 120000) {
        disk.beforeWrite = [this] { gate.pass(); };
        movie->setIsPAL(isPAL);
        movie->setMovieFilePath(QStringLiteral("/a.mov"));
        movie->setMonoTracks(false);
        movie->setDropFrame(false);
        movie->setAudioTracksCount(1);
        movie->setAudioTimeScale(48000, 0);
        movie->setStartTimeCode({0, 0, 0, 5});
        movie->setAudioDescriptionHandle(createDVSoundDescriptionHandle(), 0);
        movie->setVideoFrameSize(isPAL ? 144000 : 120000);
        movie->setVideoDescriptionHandle(isPAL ? createDVPALImageDescriptionHandle()
                                               : createDVNTSCImageDescriptionHandle());
        movie->setVideoTimeScale(isPAL ? 2500 : 2997);
    }
    ~SelfContained() {
        gate.open();
        finish();
    }
    SelfContained(const SelfContained&) = delete;
    SelfContained& operator=(const SelfContained&) = delete;

    void addFrames(int count) {
        for (int i = 0; i < count; ++i) {
            movie->bufferedAddVideoSample(frame.data(), static_cast<std::uint32_t>(frame.size()));
        }
    }
    void addSound(std::uint32_t samples, int portions) {
        const std::vector<char> sound(samples * std::size_t{4});
        for (int i = 0; i < portions; ++i) {
            movie->bufferedAddAudioSample(sound.data(), samples * 4, samples);
        }
    }
    void finish() {
        if (movie) {
            movie->stopWriteMovieThread();
            WriterThreads::waitUntilFinished();
        }
    }
    /// A number of the finished movie's sample tables: track 0 is the picture, 1 the sound.
    std::uint64_t tableNumber(int track, const char* atom, std::size_t offset) {
        const ByteSource source = bytesOf(disk.bytes);
        const AtomTree tree = readAtoms(source, disk.bytes.size());
        EXPECT_EQ(tree.error, "");
        const std::string path = "moov/trak[" + std::to_string(track) + "]/mdia/minf/stbl/" + atom;
        return number(payload(source, tree.find(path)), offset, 4);
    }
    std::uint64_t samplesOf(int track) { return tableNumber(track, "stsz", 8); }
    /// 256 is full.
    std::uint64_t volumeOf(int track) {
        const ByteSource source = bytesOf(disk.bytes);
        const AtomTree tree = readAtoms(source, disk.bytes.size());
        const std::string path = "moov/trak[" + std::to_string(track) + "]/tkhd";
        return number(payload(source, tree.find(path)), 36, 2);
    }

    Gate gate;
    MemoryDisk disk;
    MemoryDiskForMovies disks;
    std::vector<char> frame;
    std::shared_ptr<QuickTimeMovie> movie = QuickTimeMovie::make();
};

constexpr const char* kDroppedFrame = "Dropped video frame (buffer underrun).";

/// Frames and sound as a camera delivers them: never faster than the disk writes.
void addAsACamera(SelfContained& recording, int frames, std::uint32_t samples) {
    const std::uint64_t before = recording.disk.written;
    const std::uint64_t chunk = 840000 / recording.frame.size() * recording.frame.size();
    for (int i = 0; i < frames; ++i) {
        recording.addFrames(1);
        recording.addSound(samples, 1);
        const auto chunks = static_cast<std::uint64_t>(i) * recording.frame.size() / chunk;
        ASSERT_TRUE(waitUntil(
            [&] { return recording.disk.written - before + 2 * chunk >= chunks * chunk; }));
    }
}

TEST(SelfContainedMovie, holdsEveryFrameAndSample) {
    for (const bool isPAL : {false, true}) {
        SelfContained recording(isPAL);
        recording.movie->startWriteMovieThread();
        addAsACamera(recording, 100, isPAL ? 1920 : 1602);
        recording.finish();
        EXPECT_TRUE(recording.movie->losses().areNone());
        EXPECT_EQ(recording.samplesOf(0), 100U);
        EXPECT_EQ(recording.samplesOf(1), isPAL ? 192000U : 160200U);
        EXPECT_EQ(recording.samplesOf(2), 1U) << "the time code";
        EXPECT_EQ(recording.volumeOf(0), 0U);
        EXPECT_EQ(recording.volumeOf(1), 256U);
        EXPECT_EQ(recording.tableNumber(0, "stsz", 4), recording.frame.size());
        EXPECT_FALSE(recording.movie->isOpen());
        EXPECT_EQ(recording.movie->movie(), nullptr);
    }
}

TEST(SelfContainedMovie, writesWholeChunks) {
    SelfContained recording(true);
    recording.movie->startWriteMovieThread();
    addAsACamera(recording, 13, 1920);
    recording.finish();
    EXPECT_EQ(recording.tableNumber(0, "stco", 4), 3U) << "5, 5 and 3 frames";
    EXPECT_EQ(recording.tableNumber(0, "stsc", 4), 2U);
    EXPECT_EQ(recording.tableNumber(0, "stsc", 12), 5U);
    EXPECT_EQ(recording.tableNumber(0, "stsc", 24), 3U);
    EXPECT_EQ(recording.tableNumber(1, "stco", 4), 2U) << "12 portions fit in a chunk of sound";
    EXPECT_EQ(recording.tableNumber(1, "stsc", 12), 12U * 1920);
}

TEST(SelfContainedMovie, isWrittenWhenItIsStoppedAtOnce) {
    SelfContained recording(true);
    recording.movie->startWriteMovieThread();
    recording.finish();
    EXPECT_EQ(recording.samplesOf(0), 0U);
    EXPECT_EQ(recording.samplesOf(1), 0U);
    EXPECT_TRUE(recording.movie->losses().areNone());
}

TEST(SelfContainedMovie, isBegunOnce) {
    SelfContained recording(true);
    recording.movie->startWriteMovieThread();
    recording.addFrames(3);
    recording.movie->startWriteMovieThread();
    recording.addFrames(2);
    recording.finish();
    EXPECT_EQ(recording.samplesOf(0), 5U);
}

TEST(SelfContainedMovie, livesUntilItsWriterHasClosedIt) {
    SelfContained recording(true);
    recording.gate.close();
    recording.movie->startWriteMovieThread();
    recording.addFrames(3);
    const std::weak_ptr<QuickTimeMovie> movie = recording.movie;
    recording.movie->stopWriteMovieThread();
    recording.movie = nullptr;
    EXPECT_FALSE(movie.expired());
    recording.gate.open();
    WriterThreads::waitUntilFinished();
    EXPECT_TRUE(movie.expired());
    EXPECT_EQ(recording.samplesOf(0), 3U);
}

TEST(SelfContainedMovie, takesNothingBeforeTheStartAndAfterTheStop) {
    SelfContained recording(true);
    recording.addFrames(2);
    recording.movie->startWriteMovieThread();
    recording.addFrames(3);
    recording.movie->stopWriteMovieThread();
    recording.addFrames(4);
    recording.finish();
    EXPECT_EQ(recording.samplesOf(0), 3U);
}

TEST(SelfContainedMovie, keepsAShortFrameAsLongAsItIs) {
    SelfContained recording(false);
    recording.movie->startWriteMovieThread();
    recording.addFrames(3);
    recording.movie->bufferedAddVideoSample(recording.frame.data(), 118800);
    recording.movie->bufferedAddVideoSample(recording.frame.data(), 0);
    recording.addFrames(2);
    recording.finish();
    EXPECT_EQ(recording.samplesOf(0), 6U);
    EXPECT_EQ(recording.tableNumber(0, "stsz", 12 + 4 * 2), 120000U);
    EXPECT_EQ(recording.tableNumber(0, "stsz", 12 + 4 * 3), 118800U);
    EXPECT_EQ(recording.tableNumber(0, "stsz", 12 + 4 * 4), 120000U);
}

TEST(SelfContainedMovie, neverTakesAPartOfASampleFrame) {
    SelfContained recording(true);
    recording.movie->startWriteMovieThread();
    const std::vector<char> sound(1000);
    recording.movie->bufferedAddAudioSample(sound.data(), 999, 249);
    recording.movie->bufferedAddAudioSample(sound.data(), 3, 0);
    recording.movie->bufferedAddAudioSample(sound.data(), 400, 100);
    recording.movie->bufferedAddAudioSample(sound.data(), 40, 1000000);
    recording.finish();
    EXPECT_EQ(recording.samplesOf(1), 249U + 100 + 10);
    EXPECT_EQ(recording.tableNumber(1, "stsz", 4), 4U);
    EXPECT_TRUE(recording.movie->losses().areNone());
}

TEST(SelfContainedMovie, freezesCompleteWhenTheWriterStalls) {
    LogCapture log;
    SelfContained recording(false);
    recording.gate.close();
    recording.movie->startWriteMovieThread();
    recording.addFrames(42);
    EXPECT_EQ(log.count(kDroppedFrame), 0);
    recording.addFrames(3);
    EXPECT_EQ(log.count(kDroppedFrame), 3) << "every frame after the sixth chunk is full";
    recording.addSound(1602, 14 * 6);
    EXPECT_FALSE(log.containsText("audio samples"));
    recording.addSound(1602, 2);
    EXPECT_EQ(log.count("Dropped 1602 audio samples (buffer underrun)."), 2);

    // The disk is back: what was full is written, and the ring takes frames again. They are of the
    // new sequence, which nobody writes; when it is full, every frame is reported once more.
    recording.gate.open();
    ASSERT_TRUE(
        waitUntil([&] { return recording.disk.written > 42 * 120000 + 6 * 14 * 1602 * 4; }));
    int taken = 0;
    ASSERT_TRUE(waitUntil([&] {
        const int dropped = log.count(kDroppedFrame);
        recording.addFrames(1);
        taken += log.count(kDroppedFrame) == dropped ? 1 : 0;
        return taken >= 40 && log.count(kDroppedFrame) > dropped;
    }));
    const int dropped = log.count(kDroppedFrame);
    recording.addFrames(5);
    EXPECT_EQ(log.count(kDroppedFrame), dropped + 5);
    recording.finish();

    EXPECT_EQ(recording.samplesOf(0), 42U) << "the movie ends with the chunks that were full";
    EXPECT_EQ(recording.samplesOf(1), 14U * 6 * 1602);
    EXPECT_EQ(log.count("The disk was too slow: the self-contained movie /a.mov is complete up to "
                        "frame 42, and its picture ends there."),
              1);
    EXPECT_EQ(log.count("The disk was too slow: the self-contained movie /a.mov is complete up to "
                        "audio sample 134568, and its sound ends there."),
              1);
    const auto losses = recording.movie->losses();
    EXPECT_EQ(losses.videoFrames, static_cast<std::uint64_t>(dropped + 5 + taken));
    EXPECT_EQ(losses.audioSamples, 2U * 1602);
    EXPECT_EQ(losses.errorNumber, 0);
}

TEST(SelfContainedMovie, isCompleteUpToTheUnderrunWhenItIsStoppedWhileStalled) {
    LogCapture log;
    SelfContained recording(true);
    recording.gate.close();
    recording.movie->startWriteMovieThread();
    recording.addFrames(31);
    recording.movie->stopWriteMovieThread();
    recording.gate.open();
    recording.finish();
    EXPECT_EQ(log.count(kDroppedFrame), 1);
    EXPECT_EQ(recording.samplesOf(0), 30U);
    EXPECT_EQ(recording.movie->losses().videoFrames, 1U);
    EXPECT_TRUE(log.containsText("complete up to frame 30"));
}

TEST(SelfContainedMovie, endsWhereTheDiskIsFull) {
    LogCapture log;
    SelfContained recording(false);
    recording.disk.capacity = 3000000;
    recording.movie->startWriteMovieThread();
    for (int chunk = 0; chunk < 8; ++chunk) {
        const std::uint64_t written = recording.disk.written;
        recording.addFrames(7);
        // A full disk is tried again until the recording ends; what comes meanwhile waits.
        ASSERT_TRUE(waitUntil([&] {
            return chunk == 0 || recording.disk.written != written ||
                   recording.movie->losses().errorNumber != 0;
        }));
    }
    recording.finish();
    EXPECT_EQ(recording.samplesOf(0), 21U);
    EXPECT_EQ(recording.samplesOf(2), 1U);
    EXPECT_EQ(recording.movie->losses().videoFrames, 35U);
    ASSERT_EQ(recording.movie->refusedFrames().size(), 1U);
    EXPECT_EQ(recording.movie->refusedFrames()[0].first, 21U);
    EXPECT_EQ(recording.movie->refusedFrames()[0].count, 35U);
    EXPECT_EQ(recording.movie->losses().errorNumber, ENOSPC);
    EXPECT_TRUE(recording.movie->isRefused());
    EXPECT_EQ(recording.movie->losses().status, -34);
    EXPECT_EQ(log.count("AddMediaSample (video) failed! (-34)"), 5);
    EXPECT_EQ(log.count("Cannot write the movie /a.mov: No space left on device"), 1);
    EXPECT_FALSE(log.containsText("AddMovieToStorage"));
    EXPECT_FALSE(log.containsText("underrun"));
}

/// What the log says of a movie whose disk takes one chunk and refuses the others for so long that
/// frames are dropped.
std::string overflowOn(int error) {
    LogCapture log;
    SelfContained recording(false);
    recording.disk.capacity = 1000000;
    recording.disk.error = error;
    recording.movie->startWriteMovieThread();
    EXPECT_TRUE(waitUntil([&] {
        recording.addFrames(1);
        return log.containsText(kDroppedFrame);
    }));
    EXPECT_TRUE(waitUntil([&] { return log.containsText("complete up to frame"); }));
    recording.finish();
    for (const std::string& line : log.lines()) {
        if (line.find("complete up to frame") != std::string::npos) {
            return line.substr(0, line.find(" is complete"));
        }
    }
    return {};
}

TEST(SelfContainedMovie, tellsWhyItEndsEarly) {
    EXPECT_EQ(overflowOn(ENOSPC), "The disk is full: the self-contained movie /a.mov");
    EXPECT_EQ(overflowOn(EIO),
              "The disk refused what was to be written: the self-contained movie /a.mov");
}

TEST(SelfContainedMovie, runsOnWhenItsFileCannotBeCreated) {
    LogCapture log;
    SelfContained recording(true);
    setMovieFileMaker(nullptr);
    recording.movie->setMovieFilePath(QStringLiteral("/no such folder/a.mov"));
    recording.movie->startWriteMovieThread();
    recording.addFrames(6);
    recording.addSound(1920, 1);
    testing::internal::CaptureStdout();
    recording.finish();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "GetMovieIndTrackType failed (err = -2030)\n");
    const std::vector<std::string> expected{
        "Cannot create the movie /no such folder/a.mov: No such file or directory",
        "Create reference movie failed: err = -43",
        "NewMovieTrack (video) failed! (-2010)",
        "NewMovieTrack (audio) failed! (-2010)",
        "AddMediaSample (video) failed! (-2010)",
        "AddMediaSample (video) failed! (-2010)",
        "AddMediaSample (video) failed! (-2010)",
        "EndMediaEdits (video) failed! (-2008)",
        "InsertMediaIntoTrack (video) failed!",
        "EndMediaEdits (audio) failed! (-2008)",
        "AddMovieToStorage failed (-2010)"};
    EXPECT_EQ(log.lines(), expected);
    EXPECT_EQ(recording.movie->losses().videoFrames, 6U);
    EXPECT_EQ(recording.movie->losses().audioSamples, 1920U);
    EXPECT_EQ(recording.movie->losses().status, -43);
}

TEST(SelfContainedMovie, reportsEachTrackThatCannotBeMade) {
    LogCapture log;
    SelfContained recording(true);
    recording.movie->setVideoTimeScale(0);
    recording.movie->startWriteMovieThread();
    recording.addSound(1920, 1);
    recording.finish();
    EXPECT_EQ(log.count("NewTrackMedia (video) failed! (-50)"), 1);
    EXPECT_EQ(log.count("AddMovieToStorage failed (-50)"), 0) << "the sound is there";
}

thread_local bool tMustNotAllocate = false;
std::atomic<int> gAllocations{0};

TEST(SelfContainedMovie, allocatesNothingOnTheReceiveThread) {
    LogCapture log;
    SelfContained recording(false);
    recording.gate.close();
    recording.movie->startWriteMovieThread();
    const std::vector<char> sound(6408);
    const int before = gAllocations.load();
    std::thread receiver([&] {
        tMustNotAllocate = true;
        for (int i = 0; i < 50; ++i) {
            recording.movie->bufferedAddVideoSample(recording.frame.data(), 120000);
            recording.movie->bufferedAddAudioSample(sound.data(), 6408, 1602);
        }
        tMustNotAllocate = false;
    });
    receiver.join();
    EXPECT_EQ(gAllocations.load(), before);
    EXPECT_EQ(log.count(kDroppedFrame), 8);
    recording.gate.open();
    recording.finish();
}

TEST(SelfContainedMovie, canBeStoppedWhileFramesArrive) {
    for (int run = 0; run < 20; ++run) {
        SelfContained recording(false);
        recording.movie->startWriteMovieThread();
        std::atomic<int> added{0};
        std::atomic<bool> stop{false};
        std::thread receiver([&] {
            while (!stop) {
                recording.addFrames(1);
                recording.addSound(1602, 1);
                ++added;
                std::this_thread::yield();
            }
        });
        ASSERT_TRUE(waitUntil([&] { return added > run; }));
        recording.movie->stopWriteMovieThread();
        WriterThreads::waitUntilFinished();
        stop = true;
        receiver.join();
        const std::uint64_t frames = recording.samplesOf(0);
        EXPECT_GE(frames, 1U);
        EXPECT_EQ(recording.tableNumber(0, "stts", 8), frames);
    }
}

}  // namespace
}  // namespace takebox::test

#ifndef TAKEBOX_SANITIZED  // the sanitizers have operators of their own
// Counts what a receive thread allocates while it says that it must not.
void* operator new(std::size_t size) {
    if (takebox::test::tMustNotAllocate) {
        ++takebox::test::gAllocations;
    }
    if (void* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
#endif
