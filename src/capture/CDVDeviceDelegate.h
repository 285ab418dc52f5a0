#pragma once

#include "capture/preview/PreviewDelegate.h"

namespace takebox {

/// Hears from a device. Main thread; not owned by the device, and taken away before it goes.
class CDVDeviceDelegate : public PreviewDelegate {
public:
    /// The device has ended its recording without being told to, because it goes away.
    virtual void deviceDidStopRecording() = 0;
};

}  // namespace takebox
