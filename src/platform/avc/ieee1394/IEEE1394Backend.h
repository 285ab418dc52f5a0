#pragma once

#include <memory>

#include "platform/avc/AVCDeviceController.h"

namespace takebox::avc {

/// The DV devices on this computer's FireWire buses. Main thread; needs its event loop. Each
/// device has a control thread of its own, so that none waits for another.
///
/// A device's record is added once it has said what it is, or 1.5 seconds after it appeared.
/// Without a bus it says so once in the log and does nothing.
class IEEE1394Backend final : public AVCBackend {
public:
    IEEE1394Backend();
    /// Ends all threads. Results of tape commands under way are delivered first.
    ~IEEE1394Backend() override;
    IEEE1394Backend(const IEEE1394Backend&) = delete;
    IEEE1394Backend& operator=(const IEEE1394Backend&) = delete;

    void start(AVCDeviceController& controller) override;
    [[nodiscard]] bool isAskingDevices() const override;

private:
    class Private;
    std::unique_ptr<Private> d;
};

}  // namespace takebox::avc
