#pragma once

#include <QObject>
#include <QTimer>
#include <functional>
#include <memory>

#include "platform/avc/AVCDevice.h"
#include "platform/avc/ieee1394/BusListing.h"
#include "platform/avc/ieee1394/DeviceWorker.h"
#include "platform/avc/ieee1394/MainThreadQueue.h"

namespace takebox::avc {

/// The record of a DV device on a FireWire bus. Main thread.
class IEEE1394Device final : public AVCDevice {
public:
    /// @param changed called when the record has something new to show.
    IEEE1394Device(std::uint64_t guid, std::shared_ptr<MainThreadQueue> main,
                   std::function<void(IEEE1394Device&)> changed);
    ~IEEE1394Device() override;

    [[nodiscard]] int openDevice(AVCDeviceMessageProc messageProc, void* refCon) override;
    void closeDevice() override;
    [[nodiscard]] std::unique_ptr<AVCDeviceStream> CreateDVReceiverForDevicePlug(
        const DVReceiverParameters& parameters) override;
    void sendTapeCommand(std::uint8_t opcode, std::uint8_t operand, TapeResultProc result) override;

    // For the backend.
    /// On the bus, though perhaps not attached yet.
    [[nodiscard]] bool isPresent() const { return mIsPresent; }
    void nodeAppeared(const BusNode& node);
    void nodeChanged(const BusNode& node);
    void nodeRemoved(int number);
    void requestStop() { mWorker.requestStop(); }
    /// Ends the control thread; the device is gone for good.
    void shutDown();

private:
    void probed(const ProbeResult& result);
    void signalSeen(const SeenSignal& signal);
    void tryAccessAgain();
    void show();
    void goAway();
    [[nodiscard]] ProbeHints hints() const;
    void logAccess(int error) const;

    std::shared_ptr<MainThreadQueue> mMain;
    std::function<void(IEEE1394Device&)> mChanged;
    BusNode mNode;
    bool mIsPresent = false;  ///< on the bus, though perhaps not shown yet
    bool mIsProbed = false;   ///< it has been asked at least once
    bool mIsOpen = false;
    int mLastAccess = 0;  ///< errno of opening its file, so that it is logged once
    AVCDeviceMessageProc mMessageProc = nullptr;
    void* mRefCon = nullptr;
    QObject mTimerContext;
    QTimer mAccessTimer;  ///< runs while there is no permission to use the device
    DeviceWorker mWorker;
};

}  // namespace takebox::avc
