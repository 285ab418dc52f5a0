#include "app/HeadlessInterface.h"

#include "platform/log/Log.h"
#include "recording/RecordingServices.h"

namespace takebox {
namespace {

/// Title and message on one line.
void logAlert(const QString& title, const QString& message) {
    QString line = message;
    line.replace(QLatin1Char('\n'), QLatin1Char(' '));
    logMessage("%s %s", title.toUtf8().constData(), line.toUtf8().constData());
}

}  // namespace

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
