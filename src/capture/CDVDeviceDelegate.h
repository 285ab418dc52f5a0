#pragma once

class QImage;

namespace takebox {

/// Hears from a device. Main thread; not owned by the device, and taken away before it goes.
class CDVDeviceDelegate {
public:
    virtual ~CDVDeviceDelegate() = default;
    /// A new picture of the device's input.
    virtual void setPreviewImage(const QImage& image) = 0;
    /// The device has ended its recording without being told to, because it goes away.
    virtual void deviceDidStopRecording() = 0;
};

}  // namespace takebox
