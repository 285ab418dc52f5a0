#include <gmock/gmock.h>

#include <thread>

#include "capture/CaptureBench.h"
#include "support/DVMaterial.h"

namespace takebox {
namespace {

using namespace test;
using namespace Qt::StringLiterals;
using TapeCommands = std::vector<std::pair<int, int>>;

class CDVDeviceTest : public CaptureBench {};

struct ModeCase {
    std::uint8_t mode;
    bool isNTSC;
};
class DVMode : public CDVDeviceTest, public testing::WithParamInterface<ModeCase> {};
INSTANTIATE_TEST_SUITE_P(All, DVMode,
                         testing::Values(ModeCase{0x00, true}, ModeCase{0x04, true},
                                         ModeCase{0x08, true}, ModeCase{0x70, true},
                                         ModeCase{0x74, true}, ModeCase{0x78, true},
                                         ModeCase{0x80, false}, ModeCase{0xF8, false},
                                         ModeCase{0x0C, false}, ModeCase{0xFF, false}));

TEST_P(DVMode, tellsTheStandard) {
    makeDevice(GetParam().mode);
    EXPECT_EQ(device->standard(), GetParam().isNTSC ? 0U : 1U);
    EXPECT_EQ(device->frameSize(), GetParam().isNTSC ? 120000U : 144000U);
    EXPECT_DOUBLE_EQ(device->framesPerSecond(), GetParam().isNTSC ? 29.97 : 25.0);
    EXPECT_EQ(deck->receiver.dvMode, GetParam().mode);
    EXPECT_EQ(deck->receiver.cyclesPerSegment, 800U);
    EXPECT_EQ(deck->receiver.segments, 6U);
    EXPECT_EQ(deck->receiver.frameBuffers, 4U);
    EXPECT_EQ(deck->receiver.plug, 0U);
    EXPECT_TRUE(deck->isStreaming());
}

TEST_F(CDVDeviceTest, stripsDownWhenTheDeviceIsNotFound) {
    addDeck(kPALMode);
    testing::internal::CaptureStdout();
    device = CDVDevice::initWithGUID(1);
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                testing::MatchesRegex("Error [0-9]+\\(0x[0-9a-f]+\\) in DVStartRecording\n"));
    EXPECT_TRUE(log.containsText("Cannot find device (err = "));
    EXPECT_EQ(device->frameSize(), 0U);
    EXPECT_DOUBLE_EQ(device->nominalFramesPerSecond(), 0.0);
    EXPECT_FALSE(device->hasStream());
    EXPECT_EQ(device->deviceGUIDString(), QStringLiteral("0000000000000001"));
    EXPECT_DOUBLE_EQ(device->recordedTime(), 0.0);
    // The shape of PAL pictures is the one that the flag changes.
    device->preview().set16By9(true);
    EXPECT_EQ(device->previewBounds(), QRectF(0, 0, 240, 135));
}

TEST_F(CDVDeviceTest, reportsADeviceThatCannotBeOpened) {
    addDeck(kPALMode);
    deck->openResult = EACCES;
    testing::internal::CaptureStdout();
    device = CDVDevice::initWithGUID(kGUID);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error 13(0xd) in DVStartRecording\n");
    EXPECT_EQ(log.count("Cannot open device (err = 13)"), 1);
    EXPECT_FALSE(device->hasStream());
}

TEST_F(CDVDeviceTest, staysOpenWithoutAReceiver) {
    addDeck(kPALMode);
    deck->hasReceiver = false;
    device = CDVDevice::initWithGUID(kGUID);
    EXPECT_EQ(log.count("Cannot StartAVCDeviceStream"), 1);
    EXPECT_TRUE(deck->isOpen);
    device.reset();
    EXPECT_FALSE(deck->isOpen);
}

TEST_F(CDVDeviceTest, makesNoReceiverForADeviceWithoutDV) {
    addDeck(kPALMode);
    deck->setCapabilities(false, false);
    device = CDVDevice::initWithGUID(kGUID);
    EXPECT_EQ(deck->streamsMade, 0);
    EXPECT_EQ(log.count("Cannot StartAVCDeviceStream"), 1);
}

TEST_F(CDVDeviceTest, printsAStreamThatDoesNotStart) {
    addDeck(kPALMode);
    deck->startResult = EBUSY;
    testing::internal::CaptureStdout();
    device = CDVDevice::initWithGUID(kGUID);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error 16(0x10) in DVStartRecording\n");
    EXPECT_TRUE(device->hasStream());
}

TEST_F(CDVDeviceTest, countsRecordedTimeAtTheNominalRate) {
    makeDevice(kNTSCMode);
    startRaw();
    send(29, false);
    EXPECT_EQ(device->recordedTimeCode(), QStringLiteral("00:00:00:29"));
    send(271, false);
    EXPECT_DOUBLE_EQ(device->recordedTime(), 10.0);
    EXPECT_EQ(device->recordedTimeCode(), QStringLiteral("00:00:10:00"));
    EXPECT_DOUBLE_EQ(device->currentTimeCodeAsDouble(), 9 + 29 / 29.97);
    device->stopRecording(true);
    startRaw();
    EXPECT_EQ(device->recordedTimeCode(), QStringLiteral("00:00:00:00"));
}

TEST_F(CDVDeviceTest, playsAndStopsTheDeckAsThePreferencesSay) {
    makeDevice(kPALMode);
    startRaw();
    EXPECT_EQ(deck->tapeCommands, (TapeCommands{{0xC3, 0x75}}));
    device->stopRecording(true);
    EXPECT_EQ(deck->tapeCommands, (TapeCommands{{0xC3, 0x75}, {0xC4, 0x60}}));
    deck->tapeCommands.clear();
    Defaults::standard().setObject(OxaPrefStartStopVTRKey, false);
    startRaw();
    device->stopRecording(false);
    EXPECT_TRUE(deck->tapeCommands.empty());
}

TEST_F(CDVDeviceTest, recordsAndStopsAlthoughTheDeckRefuses) {
    makeDevice(kPALMode);
    deck->tapeResult = 0x0A;
    startRaw();
    EXPECT_EQ(log.count("Could not PLAY the device"), 1);
    EXPECT_TRUE(device->isRecording());
    device->stopRecording(true);
    EXPECT_EQ(log.count("Could not STOP the device"), 1);
    EXPECT_FALSE(device->isRecording());
}

TEST_F(CDVDeviceTest, logsItsHandles) {
    makeDevice(kPALMode);
    EXPECT_THAT(log.lines(), testing::Contains(testing::MatchesRegex(
                                 "CaptureDevice = [0-9a-f]+, SetRefCon = [0-9a-f]+")));
}

TEST_F(CDVDeviceTest, tellsTheReceiverThatItDoesNotKeepTheFrame) {
    makeDevice(kPALMode);
    const auto frame = fakeFrame(true, 0);
    for (const std::uint32_t message : {0U, 1U, 7U}) {
        EXPECT_EQ(
            CDVDevice::DVFrameReceivedHandler(
                message, frame.data(), static_cast<std::uint32_t>(frame.size()), device.get()),
            0xE00002BCU);
    }
}

/// Has no eye for pictures.
class LookingAway : public CountingDelegate {
public:
    [[nodiscard]] bool wantsPreviewImage() const override { return isLooking; }
    bool isLooking = false;
};

/// Three that differ.
std::vector<std::vector<std::uint8_t>> pictureFrames() {
    std::vector<std::vector<std::uint8_t>> frames;
    for (const QByteArray& frame : makeDVFrames(true, false, 3)) {
        frames.emplace_back(frame.begin(), frame.end());
    }
    return frames;
}

TEST_F(CDVDeviceTest, countsWithoutTheMainThread) {
    makeDevice(kPALMode);
    startRaw();
    for (int i = 0; i < 26; ++i) {
        deck->sendFrame(fakeFrame(true, i));
    }
    EXPECT_EQ(device->recordedFrames(), 26U);
    EXPECT_EQ(device->recordedAudioFrames(), 26U * 1920);
    EXPECT_EQ(device->recordedTimeCode(), QStringLiteral("00:00:01:01"));
    device->stopRecording(true);
    EXPECT_EQ(device->recordedFrames(), 0U);
    EXPECT_EQ(device->recordedTimeCode(), QStringLiteral("00:00:01:01"));
}

TEST_F(CDVDeviceTest, bringsPicturesOnlyToThoseWhoLook) {
    makeDevice(kPALMode);
    LookingAway delegate;
    device->setDelegate(&delegate);
    const auto frame = pictureFrames().front();
    for (int i = 0; i < 3; ++i) {
        deck->sendFrame(frame);
        deliver();
    }
    EXPECT_EQ(delegate.images, 0);
    EXPECT_EQ(device->preview().timeScale(), 0) << "the main thread was not even woken";
    delegate.isLooking = true;
    device->setPictureIsWatched(true);
    EXPECT_EQ(delegate.images, 1);  // the newest, although no frame came meanwhile
    deck->sendFrame(frame);
    deliver();
    EXPECT_EQ(delegate.images, 2);
    device->setPictureIsWatched(false);
    deck->sendFrame(frame);
    deliver();
    EXPECT_EQ(delegate.images, 2);
    device->setDelegate(nullptr);
    device->setDelegate(&delegate);
    EXPECT_EQ(delegate.images, 3) << "the frame that nobody has seen";
    device->setDelegate(nullptr);
}

TEST_F(CDVDeviceTest, shapesItsPictureAsTheFramesSay) {
    makeDevice(kPALMode);
    auto frame = fakeFrame(true, 0);
    for (const bool isWide : {true, false}) {
        frame[455] = isWide ? 0x02 : 0x00;
        deck->sendFrame(frame);
        EXPECT_EQ(device->previewBounds(), QRectF(0, 0, isWide ? 240 : 180, 135));
    }
}

TEST_F(CDVDeviceTest, makesAJPEGOfTheNewestFrameWhenAsked) {
    makeDevice(kPALMode);
    EXPECT_TRUE(device->JPEGPreviewData().isEmpty());
    const auto frames = pictureFrames();
    QByteArrayList pictures;
    for (const auto& others : {0U, 1U, 2U}) {
        deck->sendFrame(frames[others]);
        deck->sendFrame(frames[2 - others]);
        pictures << device->JPEGPreviewData();
        EXPECT_TRUE(pictures.back().startsWith("\xFF\xD8"));
        EXPECT_TRUE(pictures.back().endsWith("\xFF\xD9"));
    }
    EXPECT_NE(pictures[0], pictures[1]);
    EXPECT_NE(pictures[1], pictures[2]);
    EXPECT_EQ(device->JPEGPreviewData(), pictures[2]);
    deck->sendFrame(frames[2]);
    EXPECT_EQ(device->JPEGPreviewData(), pictures[0]);
}

TEST_F(CDVDeviceTest, holdsWhilePaused) {
    makeDevice(kPALMode);
    device->pauseRecording(true);
    EXPECT_FALSE(device->isPaused());
    startRaw();
    send(5);
    device->pauseRecording(true);
    EXPECT_TRUE(device->isPaused());
    send(5);
    EXPECT_EQ(device->recordedFrames(), 5U);
    EXPECT_EQ(device->currentTimeCode(), (TimeCodeRecord{0, 0, 0, 9}));  // still parsed
    device->pauseRecording(false);
    send(5);
    device->stopRecording(true);
    EXPECT_FALSE(device->isPaused());
    finishWriting();
    EXPECT_EQ(contents("take.dv").size(), 10 * 144000);
}

TEST_F(CDVDeviceTest, dropsTooShortFramesOfAPALDeviceOnly) {
    makeDevice(kPALMode);
    startRaw();
    auto frame = fakeFrame(true, 1);
    frame.resize(139999);
    deck->sendFrame(frame);
    EXPECT_EQ(log.count("Inconsistent frame received!"), 1);
    deliver();
    EXPECT_EQ(device->recordedFrames(), 0U);
    EXPECT_EQ(device->receivedFrames(), 0U);
    frame.resize(140000);
    deck->sendFrame(frame);
    deliver();
    EXPECT_EQ(device->recordedFrames(), 1U);
    device->stopRecording(true);
    finishWriting();
    EXPECT_EQ(contents("take.dv").size(), 140000);
    EXPECT_FALSE(device->recordingReport().losses().isEmpty());
}

TEST_F(CDVDeviceTest, keepsAFrameOfOddSizeFromAnNTSCDevice) {
    makeDevice(kNTSCMode);
    startRaw();
    auto frame = fakeFrame(true, 1);
    frame.resize(139999);
    deck->sendFrame(frame);
    deliver();
    EXPECT_EQ(log.count("Inconsistent frame received!"), 0);
    EXPECT_EQ(device->recordedFrames(), 1U);
}

TEST_F(CDVDeviceTest, countsProblemsOfTheReceiver) {
    makeDevice(kPALMode);
    startRaw();
    for (const std::uint32_t message : {1U, 2U, 3U, 99U}) {
        deck->sendFrameMessage(message);
    }
    deliver();
    EXPECT_EQ(device->overrunCount(), 2U);
    for (const std::uint32_t message : {1U, 2U, 3U, 4U}) {
        deck->sendReceiverMessage(message);
    }
    EXPECT_EQ(device->overrunCount(), 4U);
    EXPECT_EQ(device->recordingReport().problems, 4U);
    startRaw();
    EXPECT_EQ(device->overrunCount(), 0U);
}

TEST_F(CDVDeviceTest, countsEachFrameThatDidNotArriveOnce) {
    makeDevice(kPALMode);
    startRaw();
    send(1);
    deck->sendFrameMessage(avc::kFrameIncomplete);
    deck->sendFrameMessage(avc::kFramesMissing, 7);
    EXPECT_EQ(device->recordingReport().lostFrames(), 8U);
    deck->sendReceiverMessage(avc::kReceiverOverrun, 3200, 0);  // of frames that have been told
    EXPECT_EQ(device->recordingReport().lostFrames(), 8U);
    deck->sendReceiverMessage(avc::kReceiverOverrun, 900, 3);
    EXPECT_EQ(device->recordingReport().lostFrames(), 11U);
    deck->sendReceiverMessage(avc::kStreamInterrupted, 400, avc::kReconnected);
    EXPECT_EQ(device->recordingReport().lostFrames(), 21U);
    deck->sendReceiverMessage(avc::kStreamInterrupted, 210, avc::kNoData);
    EXPECT_EQ(device->recordingReport().lostFrames(), 21U) << "nobody knows yet";
    deck->sendReceiverMessage(avc::kStreamResumed, 2000, 0);
    const RecordingReport report = device->recordingReport();
    EXPECT_EQ(report.lostFrames(), 71U);
    EXPECT_EQ(report.recordedFrames(), 1U);
    EXPECT_EQ(report.problems, 6U) << "messages as they came, but for the end of the gap";
    const QString at = u"00:00:00:00 "_s;
    EXPECT_EQ(report.lossesByTimeCode(),
              (QStringList{at + u"frames that did not arrive: 8"_s,
                           at + u"problems on the way from the deck: 1"_s,
                           at + u"frames that did not arrive: 13"_s,
                           at + u"problems on the way from the deck: 1"_s,
                           at + u"frames that did not arrive: 50"_s}));
}

TEST_F(CDVDeviceTest, aGapInTheStreamCountsOnlyWhereTheRecordingRuns) {
    makeDevice(kPALMode);
    send(2);
    startRaw();
    deck->sendReceiverMessage(avc::kStreamResumed, 60000, 0);  // a deck that was stopped until now
    deck->sendReceiverMessage(avc::kStreamInterrupted, 60000, avc::kReconnected);
    EXPECT_EQ(device->recordingReport().lostFrames(), 0U);
    send(2);
    device->pauseRecording(true);
    deck->sendFrameMessage(avc::kFramesMissing, 7);
    device->pauseRecording(false);
    deck->sendReceiverMessage(avc::kStreamResumed, 60000, 0);
    EXPECT_EQ(device->recordingReport().lostFrames(), 0U);
    send(1);
    deck->sendReceiverMessage(avc::kStreamResumed, 1000, 0);
    EXPECT_EQ(device->recordingReport().lostFrames(), 25U);
}

TEST_F(CDVDeviceTest, stopsWithoutTheTapeWhenTheDeviceAsksToBeClosed) {
    makeDevice(kPALMode);
    CountingDelegate delegate;
    device->setDelegate(&delegate);
    startRaw();
    send(3);
    deck->sendDeviceMessage(0xE0000101);
    EXPECT_TRUE(device->isRecording());
    deck->sendDeviceMessage(0xE0000100);
    EXPECT_FALSE(device->isRecording());
    EXPECT_EQ(delegate.stops, 1);
    EXPECT_EQ(deck->tapeCommands.size(), 1U);
    finishWriting();
    EXPECT_EQ(contents("take.dv").size(), 3 * 144000);
    device->setDelegate(nullptr);
}

TEST_F(CDVDeviceTest, changesNothingWhenStoppedWithoutARecording) {
    makeDevice(kPALMode);
    EXPECT_EQ(device->stopRecording(true), 0);
    EXPECT_TRUE(deck->tapeCommands.empty());
}

QString timeCodeOf(std::uint64_t palFrames) {
    const auto seconds = palFrames / 25;
    return QString::asprintf("00:%02d:%02d:%02d", static_cast<int>(seconds / 60),
                             static_cast<int>(seconds % 60), static_cast<int>(palFrames % 25));
}

TEST_F(CDVDeviceTest, losesNoFrameBetweenItsThreads) {
    makeDevice(kPALMode);
    std::atomic<bool> mustGoOn{true};
    std::thread receiver([&] {
        const auto frame = fakeFrame(true, 0);
        while (mustGoOn) {
            deck->sendFrame(frame);
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 20; ++i) {
        startRaw();
        EXPECT_TRUE(waitUntil([&] { return device->recordedFrames() >= 3; }));
        device->pauseRecording(true);
        device->pauseRecording(false);
        device->stopRecording(true);
        const RecordingReport report = device->recordingReport();
        finishWriting();
        EXPECT_EQ(report.frames, report.dvFile->appendedBlocks() + report.dvFile->droppedBlocks());
        EXPECT_EQ(device->recordedTimeCode(), timeCodeOf(report.frames));
        EXPECT_EQ(report.dvFile->writtenBytes(), report.dvFile->appendedBlocks() * 144000);
        Defaults::standard().setObject(OxaPrefEraseExistingFilesKey, true);
    }
    mustGoOn = false;
    receiver.join();
}

}  // namespace
}  // namespace takebox
