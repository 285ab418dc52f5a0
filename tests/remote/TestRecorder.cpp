#include "TestRecorder.h"

#include <gtest/gtest.h>

#include "platform/avc/virtualdeck/VirtualDeckBackend.h"
#include "platform/defaults/Defaults.h"
#include "remote/PlayoutSwitch.h"
#include "storage/WriterThreads.h"

namespace takebox::test {

TestRecorder::TestRecorder(const QStringList& decks) {
    Defaults::standard().reopen(mFolder.filePath(QStringLiteral("preferences.plist")));
    std::vector<avc::VirtualDeckSettings> settings;
    for (const QString& deck : decks) {
        QString error;
        const auto parsed = avc::parseVirtualDeckSettings(deck, error);
        EXPECT_TRUE(parsed) << error.toStdString();
        settings.push_back(*parsed);
    }
    avc::AVCBackends backends;
    backends.push_back(std::make_unique<avc::VirtualDeckBackend>(std::move(settings)));
    gDVDevicesController =
        std::make_unique<CDVDevicesController>(std::move(backends), *this, clock());
    for (int i = 0; i < gDVDevicesController->countDevices(); ++i) {
        controller(i).setRawRecordingFolderPath(folder());
        controller(i).setReferenceMovieFolderPath(folder());
        controller(i).setSelfContainedRecordingFolderPath(folder());
        controller(i).setReferenceMovieDuration(2.0);
    }
    mCommands = std::make_unique<RemoteCommands>(*gDVDevicesController);
    mServer.setDelegate(mCommands.get());
    EXPECT_TRUE(mServer.start(nullptr));
}

TestRecorder::~TestRecorder() {
    gDVDevicesController.reset();
    WriterThreads::waitUntilFinished();
}

CDVDeviceWindowController& TestRecorder::controller(int index) {
    return dynamic_cast<CDVDeviceWindowController&>(
        *gDVDevicesController->deviceWindowControllerAtIndex(index));
}

std::shared_ptr<DeviceWindowController> TestRecorder::makeWindowController(
    std::shared_ptr<CDVDevice> device) {
    return std::make_shared<CDVDeviceWindowController>(std::move(device), *this);
}

std::unique_ptr<DeviceWindow> TestRecorder::makeDeviceWindow(
    CDVDeviceWindowController& /*controller*/) {
    return nullptr;
}

void TestRecorder::showCriticalAlert(const QString& title, const QString& /*message*/) {
    mAlerts.append(title);
}

std::int32_t TestRecorder::switchPlayout(const QString& address, bool on) {
    return TCPSwitch(address.toUtf8().constData(), on, mPlayoutPort);
}

}  // namespace takebox::test
