#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTemporaryDir>
#include <memory>
#include <vector>

#include "capture/AVCGlobals.h"
#include "capture/CDVDevice.h"
#include "capture/PreferenceKeys.h"
#include "platform/defaults/Defaults.h"
#include "storage/WriterThreads.h"
#include "support/FakeDevice.h"
#include "support/Files.h"
#include "support/LogCapture.h"
#include "support/WaitUntil.h"

namespace takebox::test {

inline constexpr std::uint64_t kGUID = 0x0011223344556677;
inline constexpr std::uint8_t kPALMode = 0x80;
inline constexpr std::uint8_t kNTSCMode = 0x00;

/// Counts what a device tells.
class CountingDelegate : public CDVDeviceDelegate {
public:
    void setPreviewImage(const QImage& /*image*/) override { ++images; }
    void deviceDidStopRecording() override { ++stops; }
    int images = 0;
    int stops = 0;
};

/// A capture device for one fake deck. Files go to a folder of the test's own.
class CaptureBench : public testing::Test {
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
        auto fake = std::make_unique<FakeDevice>(kGUID, mode);
        deck = fake.get();
        avc::CreateAVCDeviceController(gAVCDeviceController, fakeBackends(std::move(fake)), nullptr,
                                       nullptr);
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
            deck->sendFrame(fakeFrame(pal, sent++));
            deliver();
            keepUpWithTheDisk();
        }
    }
    /// A test is faster than any deck: it must not outrun the writer.
    void keepUpWithTheDisk() {
        const auto file = device->dvOutputFile();
        if (file && device->isRecording()) {
            EXPECT_TRUE(waitUntil([&] {
                return (file->appendedBlocks() - file->writtenBytes() / device->frameSize()) < 30;
            }));
        }
    }
    static void deliver() { QCoreApplication::processEvents(); }
    [[nodiscard]] QByteArray contents(const char* name) const { return contentsOf(path(name)); }
    static void finishWriting() { WriterThreads::waitUntilFinished(); }

    QTemporaryDir folder;
    LogCapture log;
    FakeDevice* deck = nullptr;
    std::shared_ptr<CDVDevice> device;
    int sent = 0;
};

}  // namespace takebox::test
