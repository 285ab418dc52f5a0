#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/avc/AVCDevice.h"

namespace takebox::avc {

class AVCDeviceController;

/// Tells that the list of devices or a record in it has changed; main thread. Result not used.
using AVCDeviceControllerNotification = std::int32_t (*)(AVCDeviceController* controller,
                                                         void* refCon, AVCDevice* device);

/// One kind of bus. Finds devices and adds their records to the controller. Main thread; a backend
/// that works on threads of its own brings its news to the main thread's event loop.
class AVCBackend {
public:
    virtual ~AVCBackend() = default;
    /// Starts looking for devices. The controller outlives the backend.
    virtual void start(AVCDeviceController& controller) = 0;
    /// Whether a device is on the bus whose record is yet to come.
    [[nodiscard]] virtual bool isAskingDevices() const { return false; }
};

/// All DV devices of the process, in the order in which they were first seen. Main thread only.
class AVCDeviceController {
public:
    AVCDeviceController(AVCDeviceControllerNotification notification, void* refCon)
        : mNotification(notification), mRefCon(refCon) {}
    ~AVCDeviceController();
    AVCDeviceController(const AVCDeviceController&) = delete;
    AVCDeviceController& operator=(const AVCDeviceController&) = delete;

    [[nodiscard]] int deviceCount() const { return static_cast<int>(mDevices.size()); }
    /// Null when there is no record at the index.
    [[nodiscard]] AVCDevice* deviceAtIndex(int index) const;
    /// Null when no device has the GUID; attached or not.
    [[nodiscard]] AVCDevice* findDeviceByGuid(std::uint64_t guid) const;
    /// Whether a backend still finds out what one of the devices on its bus is.
    [[nodiscard]] bool isAskingDevices() const;

    /// For backends: takes over a new record and notifies. Records are never removed. Null keeps an
    /// index for a device whose record cannot be made.
    void addDevice(std::unique_ptr<AVCDevice> device);
    /// For backends: notifies that a record has changed.
    void deviceChanged(AVCDevice& device);
    /// Takes over a backend and starts it.
    void addBackend(std::unique_ptr<AVCBackend> backend);

private:
    AVCDeviceControllerNotification mNotification;
    void* mRefCon;
    std::vector<std::unique_ptr<AVCDevice>> mDevices;
    std::vector<std::unique_ptr<AVCBackend>> mBackends;  // destroyed before the devices
};

using AVCBackends = std::vector<std::unique_ptr<AVCBackend>>;

/// Creates the controller and starts its backends. @return 0.
int CreateAVCDeviceController(std::unique_ptr<AVCDeviceController>& controller,
                              AVCBackends backends, AVCDeviceControllerNotification notification,
                              void* refCon);
/// Ends the backends and destroys the records; all streams must have been destroyed before.
void DestroyAVCDeviceController(std::unique_ptr<AVCDeviceController>& controller);

}  // namespace takebox::avc
