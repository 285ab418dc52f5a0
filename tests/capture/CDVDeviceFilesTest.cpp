// The files of a recording device.

#include "capture/CaptureBench.h"
#include "storage/DVDescriptions.h"
#include "support/Files.h"

namespace takebox {
namespace {

using namespace test;

class CDVDeviceFiles : public CaptureBench {};

TEST_F(CDVDeviceFiles, recordsFramesAndSoundAsReceived) {
    makeDevice(kNTSCMode);
    startRaw();
    QByteArray frames;
    for (int i = 0; i < 25; ++i) {
        const auto frame = fakeFrame(false, i, static_cast<std::uint8_t>(i));
        frames.append(reinterpret_cast<const char*>(frame.data()), 120000);
        deck->sendFrame(frame);
    }
    deliver();
    EXPECT_TRUE(device->isRecording());
    EXPECT_EQ(device->recordedFrames(), 25U);
    EXPECT_EQ(device->recordedAudioFrames(), 25U * 1602);
    EXPECT_EQ(device->currentRecordingFilePath(), path("take"));
    device->stopRecording(true);
    EXPECT_FALSE(device->isRecording());
    EXPECT_EQ(device->recordedFrames(), 0U);
    finishWriting();
    EXPECT_EQ(contents("take.dv"), frames);
    EXPECT_EQ(contents("take.aud").size(), 25 * 1602 * 4);
    const RecordingReport report = device->recordingReport();
    EXPECT_EQ(report.frames, 25U);
    EXPECT_EQ(report.lastTimeCode, (TimeCodeRecord{0, 0, 0, 24}));
    EXPECT_TRUE(report.losses().isEmpty());
    EXPECT_EQ(device->aiffHeaderOffset(), 0);
}

TEST_F(CDVDeviceFiles, opensFilesButDoesNotRecordWithoutAStream) {
    addDeck(kPALMode);
    deck->hasReceiver = false;
    device = CDVDevice::initWithGUID(kGUID);
    startRaw();
    EXPECT_FALSE(device->isRecording());
    EXPECT_TRUE(QFile::exists(path("take.dv")));
    EXPECT_TRUE(QFile::exists(path("take.aud")));
    EXPECT_TRUE(device->dvOutputFile()->isOpen());
    EXPECT_TRUE(deck->tapeCommands.empty());
    EXPECT_EQ(device->stopRecording(true), 0);
}

TEST_F(CDVDeviceFiles, closesTheFilesOfEachStartWithoutAStream) {
    addDeck(kPALMode);
    deck->hasReceiver = false;
    device = CDVDevice::initWithGUID(kGUID);
    startRaw();
    const auto first = device->dvOutputFile();
    startRaw();
    const auto second = device->dvOutputFile();
    EXPECT_NE(first, second);
    device.reset();
    WriterThreads::waitUntilFinished();
    EXPECT_FALSE(first->isOpen());
    EXPECT_FALSE(second->isOpen());
}

TEST_F(CDVDeviceFiles, takesTheNameOfItsSelfContainedMovieAtOnce) {
    makeDevice(kPALMode);
    device->setShouldCreateSelfContainedMovie(true);
    device->setSelfContainedCapturePath(path("take.mov"));
    device->startRecordingWithPreAllocationDuration(10, {1, 2, 3, 4});
    EXPECT_TRUE(QFile::exists(path("take.mov")));
    EXPECT_TRUE(device->hasSelfContainedFile());
    device->setSelfContainedCapturePath(path("nowhere/take.mov"));
    device->startRecordingWithPreAllocationDuration(10, {1, 2, 3, 4});
    EXPECT_FALSE(device->hasSelfContainedFile());
    EXPECT_EQ(log.count("Cannot open " + path("nowhere/take.mov").toStdString() +
                        " for writing: No such file or directory"),
              1);
}

class SelfContainedMovieOf : public CDVDeviceFiles, public testing::WithParamInterface<bool> {};
INSTANTIATE_TEST_SUITE_P(Standards, SelfContainedMovieOf, testing::Bool());

TEST_P(SelfContainedMovieOf, aDeviceIsSetUpForItsStandard) {
    const bool isPAL = GetParam();
    makeDevice(isPAL ? kPALMode : kNTSCMode);
    device->setShouldCreateSelfContainedMovie(true);
    device->setSelfContainedCapturePath(path("take.mov"));
    device->setMonoTracks(!isPAL);
    device->startRecordingWithPreAllocationDuration(10, {1, 2, 3, 4});
    const auto movie = device->selfContainedMovie();
    ASSERT_TRUE(movie);
    EXPECT_EQ(movie->isPAL(), isPAL);
    EXPECT_EQ(movie->movieFilePath(), path("take.mov"));
    EXPECT_EQ(movie->monoTracks(), !isPAL);
    EXPECT_FALSE(movie->dropFrame());
    EXPECT_EQ(movie->audioTracksCount(), 1);
    EXPECT_EQ(movie->audioTimeScaleForTrackIndex(0), 48000);
    EXPECT_EQ(movie->startTimeCode(), (TimeCodeRecord{1, 2, 3, 4}));
    EXPECT_EQ(movie->audioDescriptionHandleForTrackIndex(0), createDVSoundDescriptionHandle());
    EXPECT_EQ(movie->videoFrameSize(), isPAL ? 144000U : 120000U);
    EXPECT_EQ(movie->videoDescriptionHandle(),
              isPAL ? createDVPALImageDescriptionHandle() : createDVNTSCImageDescriptionHandle());
    EXPECT_EQ(movie->videoTimeScale(), isPAL ? 2500 : 2997);
}

TEST_F(CDVDeviceFiles, makesNoRawFilesForASelfContainedMovieAlone) {
    makeDevice(kPALMode);
    device->setShouldCreateReferenceMovie(false);
    device->setShouldCreateSelfContainedMovie(true);
    device->setRawCapturePath(path("take"));
    device->setSelfContainedCapturePath(path("take.mov"));
    device->setLoopRecording(true);
    device->setLoopDuration(0.1);
    device->startRecordingWithPreAllocationDuration(10, {1, 2, 3, 4});
    EXPECT_EQ(log.count("Initializing Self-Contained Movie"), 1);
    send(30);
    EXPECT_DOUBLE_EQ(device->loopRecordedTime(), 30 / 25.0);  // never rewound
    device->stopRecording(true);
    finishWriting();
    EXPECT_FALSE(QFile::exists(path("take.dv")));
    EXPECT_FALSE(QFile::exists(path("take.aud")));
    EXPECT_GT(QFile(path("take.mov")).size(), 30 * 144000);
    EXPECT_TRUE(device->recordingReport().losses().isEmpty());
}

TEST_F(CDVDeviceFiles, rewindsTheRawFilesAtTheLoopPoint) {
    makeDevice(kNTSCMode);
    device->setLoopRecording(true);
    device->setLoopDuration(60.0);
    startRaw();
    send(1800, false);
    EXPECT_DOUBLE_EQ(device->loopRecordedTime(), 60.0);
    send(1, false);  // sees 60 s, is marked, and its own count begins the next round
    EXPECT_DOUBLE_EQ(device->loopRecordedTime(), 1 / 30.0);
    EXPECT_DOUBLE_EQ(device->recordedTime(), 1801 / 30.0);
    send(28, false);
    device->stopRecording(true);
    EXPECT_DOUBLE_EQ(device->loopRecordedTime(), 0.0);
    finishWriting();
    // The chunk with the marked frame (1801st to 1810th) ends the first round; the rest is at the
    // start.
    const QByteArray all = contents("take.dv");
    EXPECT_EQ(all.size(), 1810 * 120000);
    EXPECT_EQ(all.mid(111, 4), QByteArray::fromHex("10000100"));  // frame 1810
    EXPECT_EQ(all.mid(19 * 120000 + 111, 4), QByteArray::fromHex("19000000"));
    // A chunk of sound takes that of 24 frames; the marked one is the first of its chunk.
    EXPECT_EQ(contents("take.aud").size(), 1824 * 1602 * 4);
}

TEST_F(CDVDeviceFiles, keepsOldContentsUnlessToldToErase) {
    makeDevice(kPALMode);
    for (const char* name : {"take.dv", "take.aud"}) {
        writeFile(path(name), QByteArray(400000, 'x'));
    }
    startRaw();
    send(1);
    device->stopRecording(true);
    finishWriting();
    EXPECT_EQ(contents("take.dv").size(), 400000);
    Defaults::standard().setObject(OxaPrefEraseExistingFilesKey, true);
    startRaw();
    send(1);
    device->stopRecording(true);
    finishWriting();
    EXPECT_EQ(contents("take.dv").size(), 144000);
    EXPECT_EQ(contents("take.aud").size(), 7680);
}

TEST_F(CDVDeviceFiles, saysWhyARawFileCannotBeMade) {
    makeDevice(kPALMode);
    device->setShouldCreateReferenceMovie(true);
    device->setRawCapturePath(path("missing/take"));
    device->startRecordingWithPreAllocationDuration(10, {});
    EXPECT_TRUE(device->isRecording());
    EXPECT_TRUE(log.containsText("missing/take.dv for writing: No such file or directory"));
    send(2);
    device->stopRecording(true);
    EXPECT_EQ(device->recordingReport().losses().size(), 2);
}

TEST_F(CDVDeviceFiles, closesTheOldFilesWhenStartedAgainWhileRecording) {
    makeDevice(kPALMode);
    startRaw();
    send(3);
    device->setRawCapturePath(path("second"));
    device->startRecordingWithPreAllocationDuration(10, {});
    send(2);
    device->stopRecording(true);
    finishWriting();
    EXPECT_EQ(contents("take.dv").size(), 3 * 144000);
    EXPECT_EQ(contents("second.dv").size(), 2 * 144000);
}

TEST_F(CDVDeviceFiles, closesTheFilesOfARecordingWhenItGoes) {
    makeDevice(kPALMode);
    startRaw();
    send(12);
    device.reset();
    finishWriting();
    EXPECT_EQ(contents("take.dv").size(), 12 * 144000);
    EXPECT_EQ(contents("take.aud").size(), 12 * 7680);
}

}  // namespace
}  // namespace takebox
