#include "capture/CDVDevice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <thread>

#include "capture/AVCGlobals.h"
#include "capture/PreferenceKeys.h"
#include "platform/defaults/Defaults.h"
#include "storage/WriterThreads.h"
#include "support/FakeDevice.h"
#include "support/LogCapture.h"
#include "support/WaitUntil.h"

namespace takebox {
namespace {

constexpr std::uint64_t kGUID = 0x0011223344556677;
constexpr std::uint8_t kPALMode = 0x80;
constexpr std::uint8_t kNTSCMode = 0x00;
using TapeCommands = std::vector<std::pair<int, int>>;

class Delegate : public CDVDeviceDelegate {
public:
    void setPreviewImage(const QImage& /*image*/) override { ++images; }
    void deviceDidStopRecording() override { ++stops; }
    int images = 0;
    int stops = 0;
};

class CDVDeviceTest : public testing::Test {
protected:
    void SetUp() override {
        Defaults::standard().reopen(folder.filePath(QStringLiteral("defaults.plist")));
        Defaults::standard().setObject(OxaPrefStartStopVTRKey, true);
    }
    void TearDown() override {
        device.reset();
        avc::DestroyAVCDeviceController(gAVCDeviceController);
        WriterThreads::waitUntilFinished();
    }

    void addDeck(std::uint8_t mode) {
        auto fake = std::make_unique<test::FakeDevice>(kGUID, mode);
        deck = fake.get();
        std::vector<std::unique_ptr<avc::AVCDevice>> devices;
        devices.push_back(std::move(fake));
        avc::AVCBackends backends;
        backends.push_back(std::make_unique<test::FakeBackend>(std::move(devices)));
        avc::CreateAVCDeviceController(gAVCDeviceController, std::move(backends), nullptr, nullptr);
    }
    void makeDevice(std::uint8_t mode) {
        addDeck(mode);
        device = CDVDevice::initWithGUID(kGUID);
    }
    [[nodiscard]] QString path(const char* name) const {
        return folder.filePath(QString::fromLatin1(name));
    }
    void startRaw() {
        device->setShouldCreateReferenceMovie(true);
        device->setRawCapturePath(path("take"));
        EXPECT_EQ(device->startRecordingWithPreAllocationDuration(10, {}), 0);
    }
    void send(int count, bool pal = true) {
        for (int i = 0; i < count; ++i) {
            deck->sendFrame(test::fakeFrame(pal, sent++));
            deliver();
            keepUpWithTheDisk();
        }
    }
    /// A test is faster than any deck: it must not outrun the writer.
    void keepUpWithTheDisk() {
        const auto file = device->dvOutputFile();
        if (file && device->isRecording()) {
            EXPECT_TRUE(test::waitUntil([&] {
                return (file->appendedBlocks() - file->writtenBytes() / device->frameSize()) < 30;
            }));
        }
    }
    static void deliver() { QCoreApplication::processEvents(); }
    [[nodiscard]] QByteArray contents(const char* name) const {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name;
        return file.readAll();
    }
    static void finishWriting() { WriterThreads::waitUntilFinished(); }

    QTemporaryDir folder;
    test::LogCapture log;
    test::FakeDevice* deck = nullptr;
    std::shared_ptr<CDVDevice> device;
    int sent = 0;
};

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

TEST_F(CDVDeviceTest, recordsFramesAndSoundAsReceived) {
    makeDevice(kNTSCMode);
    startRaw();
    QByteArray frames;
    for (int i = 0; i < 25; ++i) {
        const auto frame = test::fakeFrame(false, i, static_cast<std::uint8_t>(i));
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

TEST_F(CDVDeviceTest, countsRecordedTimeAtTheNominalRate) {
    makeDevice(kNTSCMode);
    startRaw();
    send(300, false);
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

TEST_F(CDVDeviceTest, opensFilesButDoesNotRecordWithoutAStream) {
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

TEST_F(CDVDeviceTest, closesTheFilesOfEachStartWithoutAStream) {
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

TEST_F(CDVDeviceTest, logsItsHandles) {
    makeDevice(kPALMode);
    EXPECT_THAT(log.lines(), testing::Contains(testing::MatchesRegex(
                                 "CaptureDevice = [0-9a-f]+, SetRefCon = [0-9a-f]+")));
}

TEST_F(CDVDeviceTest, tellsTheReceiverThatItDoesNotKeepTheFrame) {
    makeDevice(kPALMode);
    const auto frame = test::fakeFrame(true, 0);
    for (const std::uint32_t message : {0U, 1U, 7U}) {
        EXPECT_EQ(
            CDVDevice::DVFrameReceivedHandler(
                message, frame.data(), static_cast<std::uint32_t>(frame.size()), device.get()),
            0xE00002BCU);
    }
}

TEST_F(CDVDeviceTest, takesTheNameOfItsSelfContainedMovieAtOnce) {
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

TEST_F(CDVDeviceTest, makesNoRawFilesForASelfContainedMovieAlone) {
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
    auto frame = test::fakeFrame(true, 1);
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
    auto frame = test::fakeFrame(true, 1);
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

TEST_F(CDVDeviceTest, stopsWithoutTheTapeWhenTheDeviceAsksToBeClosed) {
    makeDevice(kPALMode);
    Delegate delegate;
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

TEST_F(CDVDeviceTest, rewindsTheRawFilesAtTheLoopPoint) {
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
    finishWriting();
    // The chunk with the marked frame (1801st to 1810th) ends the first round; the rest is at the
    // start.
    const QByteArray all = contents("take.dv");
    EXPECT_EQ(all.size(), 1810 * 120000);
    EXPECT_EQ(all.mid(111, 4), QByteArray::fromHex("10000100"));  // frame 1810
    EXPECT_EQ(all.mid(19 * 120000 + 111, 4), QByteArray::fromHex("19000000"));
}

TEST_F(CDVDeviceTest, keepsOldContentsUnlessToldToErase) {
    makeDevice(kPALMode);
    for (const char* name : {"take.dv", "take.aud"}) {
        QFile old(path(name));
        ASSERT_TRUE(old.open(QIODevice::WriteOnly));
        old.write(QByteArray(400000, 'x'));
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

TEST_F(CDVDeviceTest, saysWhyARawFileCannotBeMade) {
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

TEST_F(CDVDeviceTest, closesTheOldFilesWhenStartedAgainWhileRecording) {
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

TEST_F(CDVDeviceTest, closesTheFilesOfARecordingWhenItGoes) {
    makeDevice(kPALMode);
    startRaw();
    send(12);
    device.reset();
    finishWriting();
    EXPECT_EQ(contents("take.dv").size(), 12 * 144000);
    EXPECT_EQ(contents("take.aud").size(), 12 * 7680);
}

TEST_F(CDVDeviceTest, changesNothingWhenStoppedWithoutARecording) {
    makeDevice(kPALMode);
    EXPECT_EQ(device->stopRecording(true), 0);
    EXPECT_TRUE(deck->tapeCommands.empty());
}

TEST_F(CDVDeviceTest, losesNoFrameBetweenItsThreads) {
    makeDevice(kPALMode);
    std::atomic<bool> mustGoOn{true};
    std::thread receiver([&] {
        const auto frame = test::fakeFrame(true, 0);
        while (mustGoOn) {
            deck->sendFrame(frame);
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 20; ++i) {
        startRaw();
        EXPECT_TRUE(test::waitUntil([&] { return device->recordedFrames() >= 3; }));
        device->pauseRecording(true);
        device->pauseRecording(false);
        device->stopRecording(true);
        const RecordingReport report = device->recordingReport();
        finishWriting();
        EXPECT_EQ(report.frames, report.dvFile->appendedBlocks() + report.dvFile->droppedBlocks());
        EXPECT_EQ(report.dvFile->writtenBytes(), report.dvFile->appendedBlocks() * 144000);
        Defaults::standard().setObject(OxaPrefEraseExistingFilesKey, true);
    }
    mustGoOn = false;
    receiver.join();
}

}  // namespace
}  // namespace takebox
