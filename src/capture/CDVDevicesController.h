#pragma once

#include <QRect>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <vector>

#include "capture/AVCGlobals.h"
#include "capture/CDVDevice.h"
#include "platform/runloop/Clock.h"

namespace takebox {

/// The window controller of one device, as the device list sees it. Main thread.
class DeviceWindowController {
public:
    virtual ~DeviceWindowController() = default;
    [[nodiscard]] virtual std::shared_ptr<CDVDevice> device() const = 0;
    /// The device goes away: its fast display timer stops.
    virtual void stopUpdates() = 0;
    /// Frame of the window without its position; what it would be when there is no window.
    [[nodiscard]] virtual QRect windowFrame() const = 0;
    /// Top-left corner, with y growing upwards from the bottom of the screen.
    virtual void setFrameTopLeftPoint(int x, int y) = 0;
    virtual void showWindow() = 0;
};

/// What the list needs of the program around it; owned by the application. Main thread.
class DevicesEnvironment {
public:
    virtual ~DevicesEnvironment() = default;
    /// Makes the window controller of a new device.
    virtual std::shared_ptr<DeviceWindowController> makeWindowController(
        std::shared_ptr<CDVDevice> device) = 0;
    /// Area of the main screen that windows can use, y growing upwards.
    [[nodiscard]] virtual QRect visibleFrame() const = 0;
    /// "TapedeckIcon", "TapedeckPausedIcon" or "TapedeckStoppedIcon".
    virtual void setApplicationIcon(const QString& name) = 0;
    /// The list has been rebuilt and differs from before.
    virtual void deviceListDidChange() {}
};

/// The list of DV devices in use, each with its window controller, and the application icon that
/// shows whether any of them records. Main thread; made once by the application.
///
/// Once a second the list is rebuilt when the device framework has reported a change.
class CDVDevicesController {
public:
    CDVDevicesController(avc::AVCBackends backends, DevicesEnvironment& environment, Clock& clock);
    ~CDVDevicesController();
    CDVDevicesController(const CDVDevicesController&) = delete;
    CDVDevicesController& operator=(const CDVDevicesController&) = delete;

    using Entries = std::vector<std::shared_ptr<DeviceWindowController>>;

    /// Rebuilds the list: keeps the controllers of devices that are still there, drops the others,
    /// makes new ones. A device that was away meanwhile, however shortly, gets a new one, and so
    /// does one whose video standard has turned out to be the other, once it does not record. One
    /// that could not be opened is tried again when its record has changed. While a record is
    /// missing everything stays as it was.
    void updateDeviceWindows();
    /// Rebuilds without asking whether anything has changed.
    void deviceListUpdateTimer() { updateDeviceWindows(); }
    void setDeviceListHasChanged(bool changed) { mDeviceListHasChanged = changed; }
    [[nodiscard]] bool deviceListHasChanged() const { return mDeviceListHasChanged; }

    /// Whether the record is one of a DV device.
    [[nodiscard]] static bool filterDevice(const avc::AVCDevice& device);

    [[nodiscard]] const Entries& devices() const { return mDeviceWindowControllers; }
    [[nodiscard]] std::int32_t countDevices() const {
        return static_cast<std::int32_t>(mDeviceWindowControllers.size());
    }
    [[nodiscard]] bool hasDVDevice() const { return !mDeviceWindowControllers.empty(); }
    /// Names of devices that are connected but send what cannot be recorded.
    [[nodiscard]] static QStringList unusableDeviceNames();
    /// Null outside the list.
    [[nodiscard]] std::shared_ptr<DeviceWindowController> deviceWindowControllerAtIndex(
        std::int32_t index) const;
    [[nodiscard]] std::shared_ptr<CDVDevice> deviceAtIndex(std::int32_t index) const;
    /// Whether a device has left its bus since the list was brought up to date: what the list has
    /// of it has lost its stream, even when the device is back.
    [[nodiscard]] bool hasDeparted(std::uint64_t guid) const { return mDeparted.contains(guid); }
    /// -1 when no device of the list has the GUID, or the one that has it has departed.
    [[nodiscard]] std::int32_t indexOfDeviceWithGUID(std::uint64_t guid) const;

    /// Places a window on a grid of its own size, row by row from the top left of the screen. The
    /// window must be narrower than the screen.
    void positionWindow(DeviceWindowController& window, std::int32_t withIndex) const;

    /// Shows in the application icon whether a device records; of several the last in the list
    /// decides between recording and paused.
    void updateApplicationIcon();

private:
    enum class ApplicationStatus { kUnknown = -1, kStopped = 0, kRecording = 1, kPaused = 2 };

    static std::int32_t MyAVCDeviceControllerNotification(avc::AVCDeviceController* controller,
                                                          void* refCon, avc::AVCDevice* device);
    [[nodiscard]] static bool isRecordMissing();
    bool dropDepartedDevices();
    void reopenRefusedDevices();
    bool dismissOutdatedDevices();
    [[nodiscard]] std::shared_ptr<DeviceWindowController> makeEntry(const avc::AVCDevice& device,
                                                                    std::int32_t index);

    DevicesEnvironment& mEnvironment;
    Clock& mClock;
    bool mDeviceListHasChanged = true;
    Entries mDeviceWindowControllers;
    // GUIDs since the last rebuild.
    std::set<std::uint64_t> mDeparted;  // have gone away
    std::set<std::uint64_t> mChanged;   // have something new in their records
    Clock::Timer mDeviceListUpdateTimer = 0;
    ApplicationStatus mApplicationStatus = ApplicationStatus::kUnknown;
};

/// The device list of the process; set by the application.
extern std::unique_ptr<CDVDevicesController> gDVDevicesController;

}  // namespace takebox
