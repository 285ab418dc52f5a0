#include "WindowFixture.h"

#include <QLocale>
#include <QTest>

#include "capture/AVCGlobals.h"
#include "display/widgets/Resources.h"
#include "platform/defaults/Defaults.h"
#include "storage/WriterThreads.h"

namespace takebox::test {

void WindowFixture::SetUp() {
    installTranslations(QLocale(QLocale::English));
    Defaults::standard().reopen(folder.filePath(QStringLiteral("defaults.plist")));
}

void WindowFixture::TearDown() {
    closeEverything();
}

void WindowFixture::openWindow(std::uint8_t dvMode) {
    auto fake = std::make_unique<FakeDevice>(kGUID, dvMode);
    fake->setName("Studio A");
    fake->openResult = openResult;
    deck = fake.get();
    avc::CreateAVCDeviceController(gAVCDeviceController, fakeBackends(std::move(fake)), nullptr,
                                   nullptr);
    auto device = CDVDevice::initWithGUID(kGUID);
    device->setDeviceName(QStringLiteral("Studio A"));
    controller = std::make_shared<CDVDeviceWindowController>(std::move(device), *this);
    CDVDeviceSettings& settings = controller->settings();
    settings.setRawRecordingFolderPath(folder.path());
    settings.setReferenceMovieFolderPath(folder.path());
    settings.setSelfContainedRecordingFolderPath(folder.path());
    settings.setReferenceMovieDuration(1);
    controller->showWindow();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
}

void WindowFixture::closeEverything() {
    controller.reset();
    window = nullptr;
    avc::DestroyAVCDeviceController(gAVCDeviceController);
    WriterThreads::waitUntilFinished();
}

void WindowFixture::sendFrames(int count) {
    for (int i = 0; i < count; ++i) {
        deck->sendFrame(fakeFrame(controller->device()->standard() == 1, sentFrames++));
        QCoreApplication::processEvents();
    }
}

void WindowFixture::click(const char* name) {
    // Near the left end: a check box is only as wide as its text.
    auto& button = control<QAbstractButton>(name);
    QTest::mouseClick(&button, Qt::LeftButton, {}, QPoint(10, button.height() / 2));
}

std::unique_ptr<DeviceWindow> WindowFixture::makeDeviceWindow(CDVDeviceWindowController& owner) {
    auto made = std::make_unique<TapedeckWindow>(owner, commands);
    window = made.get();
    return made;
}

void WindowFixture::showCriticalAlert(const QString& title, const QString& message) {
    alerts << title << message;
}

}  // namespace takebox::test
