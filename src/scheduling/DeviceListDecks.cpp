#include "scheduling/DeviceListDecks.h"

#include <utility>

#include "capture/CDVDevicesController.h"
#include "recording/CDVDeviceWindowController.h"

namespace takebox {

WindowControllerDeck::WindowControllerDeck(std::weak_ptr<CDVDeviceWindowController> controller)
    : mController(std::move(controller)) {}

std::uint64_t WindowControllerDeck::deviceGUID() const {
    const auto controller = mController.lock();
    const auto device = controller ? controller->device() : nullptr;
    return device ? device->deviceGUID() : 0;
}

QString WindowControllerDeck::guid() const {
    const auto controller = mController.lock();
    return controller ? controller->guid() : QString();
}

QString WindowControllerDeck::deviceName() const {
    const auto controller = mController.lock();
    return controller ? controller->deviceName() : QString();
}

QString WindowControllerDeck::recordingName() const {
    const auto controller = mController.lock();
    return controller ? controller->recordingName() : QString();
}

QString WindowControllerDeck::referenceMovieFolderPath() const {
    const auto controller = mController.lock();
    return controller ? controller->referenceMovieFolderPath() : QString();
}

QString WindowControllerDeck::selfContainedRecordingFolderPath() const {
    const auto controller = mController.lock();
    return controller ? controller->selfContainedRecordingFolderPath() : QString();
}

QString WindowControllerDeck::rawRecordingFolderPath() const {
    const auto controller = mController.lock();
    return controller ? controller->rawRecordingFolderPath() : QString();
}

bool WindowControllerDeck::createReferenceMovie() const {
    const auto controller = mController.lock();
    return controller ? controller->createReferenceMovie() : false;
}

bool WindowControllerDeck::createSelfContainedMovie() const {
    const auto controller = mController.lock();
    return controller ? controller->createSelfContainedMovie() : false;
}

void WindowControllerDeck::setAutoNameRecordings(bool autoName) {
    if (const auto controller = mController.lock()) {
        controller->setAutoNameRecordings(autoName);
    }
}

void WindowControllerDeck::setRecordingName(const QString& name) {
    if (const auto controller = mController.lock()) {
        controller->setRecordingName(name);
    }
}

void WindowControllerDeck::setReferenceMovieFolderPath(const QString& path) {
    if (const auto controller = mController.lock()) {
        controller->setReferenceMovieFolderPath(path);
    }
}

void WindowControllerDeck::setSelfContainedRecordingFolderPath(const QString& path) {
    if (const auto controller = mController.lock()) {
        controller->setSelfContainedRecordingFolderPath(path);
    }
}

void WindowControllerDeck::setRawRecordingFolderPath(const QString& path) {
    if (const auto controller = mController.lock()) {
        controller->setRawRecordingFolderPath(path);
    }
}

void WindowControllerDeck::setCreateReferenceMovie(bool create) {
    if (const auto controller = mController.lock()) {
        controller->setCreateReferenceMovie(create);
    }
}

void WindowControllerDeck::setCreateSelfContainedMovie(bool create) {
    if (const auto controller = mController.lock()) {
        controller->setCreateSelfContainedMovie(create);
    }
}

void WindowControllerDeck::setReferenceMovieDuration(double seconds) {
    if (const auto controller = mController.lock()) {
        controller->setReferenceMovieDuration(seconds);
    }
}

void WindowControllerDeck::recordButtonPushed() {
    if (const auto controller = mController.lock()) {
        controller->recordButtonPushed();
    }
}

void WindowControllerDeck::stopButtonPushed() {
    if (const auto controller = mController.lock()) {
        controller->stopButtonPushed();
    }
}

int DeviceListDecks::countDevices() const {
    return gDVDevicesController ? gDVDevicesController->countDevices() : 0;
}

int DeviceListDecks::indexOfDeviceWithGUID(std::uint64_t guid) const {
    return gDVDevicesController ? gDVDevicesController->indexOfDeviceWithGUID(guid) : -1;
}

bool DeviceListDecks::isRecording(int index) const {
    const auto device = gDVDevicesController ? gDVDevicesController->deviceAtIndex(index) : nullptr;
    return device && device->isRecording();
}

std::shared_ptr<ScheduledDeck> DeviceListDecks::deckAtIndex(int index) const {
    auto controller =
        gDVDevicesController ? gDVDevicesController->deviceWindowControllerAtIndex(index) : nullptr;
    return std::make_shared<WindowControllerDeck>(
        std::dynamic_pointer_cast<CDVDeviceWindowController>(std::move(controller)));
}

}  // namespace takebox
