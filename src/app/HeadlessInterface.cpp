#include "app/HeadlessInterface.h"

#include "recording/RecordingServices.h"

namespace takebox {

std::unique_ptr<DeviceWindow> HeadlessInterface::makeDeviceWindow(
    CDVDeviceWindowController& /*controller*/) {
    return nullptr;
}

void HeadlessInterface::showCriticalAlert(const QString& title, const QString& message) {
    logAlert(title, message);
}

void HeadlessInterface::showInformationalAlert(const QString& title, const QString& message,
                                               std::function<void()> dismissed) {
    logAlert(title, message);
    dismissed();
}

}  // namespace takebox
