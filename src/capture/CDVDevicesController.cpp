#include "capture/CDVDevicesController.h"

#include <algorithm>
#include <array>
#include <utility>

namespace takebox {
namespace {

constexpr double kListUpdateInterval = 1.0;  // seconds

void letGo(const std::shared_ptr<DeviceWindowController>& entry) {
    entry->device()->cutOffRecording();
    entry->stopUpdates();
}

}  // namespace

std::unique_ptr<CDVDevicesController> gDVDevicesController;

CDVDevicesController::CDVDevicesController(avc::AVCBackends backends,
                                           DevicesEnvironment& environment, Clock& clock)
    : mEnvironment(environment), mClock(clock) {
    avc::CreateAVCDeviceController(gAVCDeviceController, std::move(backends),
                                   MyAVCDeviceControllerNotification, this);
    updateDeviceWindows();
    mDeviceListUpdateTimer = mClock.callEvery(kListUpdateInterval, [this] {
        if (mDeviceListHasChanged) {
            deviceListUpdateTimer();
        }
    });
}

CDVDevicesController::~CDVDevicesController() {
    mDeviceWindowControllers.clear();
    avc::DestroyAVCDeviceController(gAVCDeviceController);
    mClock.cancel(mDeviceListUpdateTimer);
}

std::int32_t CDVDevicesController::MyAVCDeviceControllerNotification(
    avc::AVCDeviceController* /*controller*/, void* refCon, avc::AVCDevice* device) {
    auto* list = static_cast<CDVDevicesController*>(refCon);
    if (!device->isAttached()) {
        list->mDeparted.insert(device->guid());
    }
    list->mChanged.insert(device->guid());
    list->setDeviceListHasChanged(true);
    return 0;
}

bool CDVDevicesController::filterDevice(const avc::AVCDevice& device) {
    return device.isDVTapeDevice() || device.isDVConverter();
}

bool CDVDevicesController::isRecordMissing() {
    for (int i = 0; i < gAVCDeviceController->deviceCount(); ++i) {
        if (gAVCDeviceController->deviceAtIndex(i) == nullptr) {
            return true;
        }
    }
    return false;
}

bool CDVDevicesController::dropDepartedDevices() {
    const auto firstDeparted = std::stable_partition(
        mDeviceWindowControllers.begin(), mDeviceWindowControllers.end(),
        [this](const auto& entry) { return !mDeparted.contains(entry->device()->deviceGUID()); });
    const bool isAny = firstDeparted != mDeviceWindowControllers.end();
    std::for_each(firstDeparted, mDeviceWindowControllers.end(), letGo);
    mDeviceWindowControllers.erase(firstDeparted, mDeviceWindowControllers.end());
    mDeparted.clear();
    return isAny;
}

/// Lets go of idle devices that work in another standard than their records say by now: it is
/// settled when the object is made. @return whether a device must wait for its recording to end.
bool CDVDevicesController::dismissOutdatedDevices() {
    bool isAnyRecording = false;
    for (const auto& entry : mDeviceWindowControllers) {
        const auto device = entry->device();
        const avc::AVCDevice* record = gAVCDeviceController->findDeviceByGuid(device->deviceGUID());
        if (record == nullptr || device->hasStandardOf(*record)) {
            continue;
        }
        if (device->isRecording()) {
            isAnyRecording = true;
        } else {
            mDeparted.insert(device->deviceGUID());
        }
    }
    return isAnyRecording;
}

/// A change in the record of a device that could not be opened may be that it can be now.
void CDVDevicesController::reopenRefusedDevices() {
    for (const auto& entry : mDeviceWindowControllers) {
        if (mChanged.contains(entry->device()->deviceGUID())) {
            entry->device()->retryPreview();
        }
    }
    mChanged.clear();
}

void CDVDevicesController::updateDeviceWindows() {
    if (isRecordMissing()) {
        return;
    }
    // A device that went away has lost its stream, even when it is back by now. Its entry goes
    // first, because a device can be opened only once.
    const bool isAnyOutdated = dismissOutdatedDevices();
    const bool hasDropped = dropDepartedDevices();
    reopenRefusedDevices();
    Entries entries;
    Entries dropped;
    for (int i = 0; i < gAVCDeviceController->deviceCount(); ++i) {
        const avc::AVCDevice* record = gAVCDeviceController->deviceAtIndex(i);
        const bool isUsable = filterDevice(*record) && record->isAttached();
        bool isKnown = false;
        for (const auto& entry : mDeviceWindowControllers) {
            if (entry->device()->deviceGUID() == record->guid()) {
                isKnown = true;
                (isUsable ? entries : dropped).push_back(entry);
                if (!isUsable) {
                    letGo(entry);
                }
            }
        }
        if (!isKnown && isUsable) {
            entries.push_back(makeEntry(*record, i));
        }
    }
    const bool isDifferent = hasDropped || entries != mDeviceWindowControllers;
    mDeviceWindowControllers = std::move(entries);
    dropped.clear();
    updateApplicationIcon();
    mDeviceListHasChanged = isAnyOutdated;
    if (isDifferent) {
        mEnvironment.deviceListDidChange();
    }
}

QStringList CDVDevicesController::unusableDeviceNames() {
    QStringList names;
    const int count = gAVCDeviceController ? gAVCDeviceController->deviceCount() : 0;
    for (int i = 0; i < count; ++i) {
        const avc::AVCDevice* record = gAVCDeviceController->deviceAtIndex(i);
        if (record != nullptr && record->isAttached() && !filterDevice(*record)) {
            names << QString::fromUtf8(record->deviceName());
        }
    }
    return names;
}

std::shared_ptr<DeviceWindowController> CDVDevicesController::makeEntry(
    const avc::AVCDevice& record, std::int32_t index) {
    auto device = CDVDevice::initWithGUID(record.guid());
    device->setDeviceName(QString::fromUtf8(record.deviceName()));
    auto entry = mEnvironment.makeWindowController(std::move(device));
    positionWindow(*entry, index);
    entry->showWindow();
    return entry;
}

std::shared_ptr<DeviceWindowController> CDVDevicesController::deviceWindowControllerAtIndex(
    std::int32_t index) const {
    return index >= 0 && index < countDevices()
               ? mDeviceWindowControllers[static_cast<std::size_t>(index)]
               : nullptr;
}

std::shared_ptr<CDVDevice> CDVDevicesController::deviceAtIndex(std::int32_t index) const {
    const auto entry = deviceWindowControllerAtIndex(index);
    return entry ? entry->device() : nullptr;
}

std::int32_t CDVDevicesController::indexOfDeviceWithGUID(std::uint64_t guid) const {
    const auto found =
        std::find_if(mDeviceWindowControllers.begin(), mDeviceWindowControllers.end(),
                     [guid](const auto& entry) { return entry->device()->deviceGUID() == guid; });
    return !hasDeparted(guid) && found != mDeviceWindowControllers.end()
               ? static_cast<std::int32_t>(found - mDeviceWindowControllers.begin())
               : -1;
}

void CDVDevicesController::positionWindow(DeviceWindowController& window,
                                          std::int32_t withIndex) const {
    const QRect screen = mEnvironment.visibleFrame();
    const QRect frame = window.windowFrame();
    if (frame.width() <= 0 || frame.width() > screen.width()) {
        return;  // nowhere to put it: the desktop decides
    }
    const int perRow = screen.width() / frame.width();
    const int row = withIndex / perRow;
    const int column = withIndex % perRow;
    window.setFrameTopLeftPoint(column * frame.width(),
                                screen.y() + screen.height() - row * frame.height());
}

void CDVDevicesController::updateApplicationIcon() {
    auto status = ApplicationStatus::kStopped;
    for (const auto& entry : mDeviceWindowControllers) {
        if (entry->device()->isRecording()) {
            status = entry->device()->isPaused() ? ApplicationStatus::kPaused
                                                 : ApplicationStatus::kRecording;
        }
    }
    if (status == mApplicationStatus) {
        return;
    }
    static const std::array<QString, 3> kIcons{QStringLiteral("TapedeckStoppedIcon"),
                                               QStringLiteral("TapedeckIcon"),
                                               QStringLiteral("TapedeckPausedIcon")};
    mEnvironment.setApplicationIcon(kIcons[static_cast<std::size_t>(status)]);
    mApplicationStatus = status;
}

}  // namespace takebox
