#pragma once

#include <memory>

#include "platform/avc/AVCDeviceController.h"

namespace takebox {

/// The process-wide device controller: made and destroyed by CDVDevicesController, looked into by
/// every CDVDevice. Main thread.
extern std::unique_ptr<avc::AVCDeviceController> gAVCDeviceController;

}  // namespace takebox
