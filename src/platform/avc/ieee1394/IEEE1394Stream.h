#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "platform/avc/AVCDevice.h"
#include "platform/avc/ieee1394/BusHandle.h"
#include "platform/avc/ieee1394/CycleCount.h"
#include "platform/avc/ieee1394/DVFrameAssembler.h"
#include "platform/avc/ieee1394/DeviceWorker.h"
#include "platform/avc/ieee1394/NodeWatch.h"
#include "platform/avc/ieee1394/StreamLink.h"

namespace takebox::avc {

/// Receives the DV stream of one device. The device's control thread says where it is to be found;
/// the receive thread does nothing but receive. It goes through bus resets and comes back after
/// its device was away, for as long as it is not stopped.
class IEEE1394Stream final : public AVCDeviceStream, IsoPacketSink, DVFrameSink {
public:
    /// @param worker control thread of the device; outlives the stream.
    IEEE1394Stream(DeviceWorker& worker, const AVCDevice& device,
                   const DVReceiverParameters& parameters);
    ~IEEE1394Stream() override;

    [[nodiscard]] int start() override;
    void stop() override;
    [[nodiscard]] StreamProblem problem() const override { return mProblem; }

private:
    // Receive thread.
    void receive(const std::stop_token& stop);
    void followTarget();
    void openBus();
    void closeBus();
    void waitForPackets();
    void handlePackets();
    void handleWatch();
    void checkSilence();
    void isoPacket(std::span<const std::uint8_t> packet, unsigned cycle) override;
    [[nodiscard]] DVFrameAssembler::Packet foreignPacket(std::span<const std::uint8_t> packet,
                                                         PacketTime time);
    void dataArrived();
    void lookAtSignal(std::uint32_t frameLength);
    void tellSignal(const SeenSignal& signal);
    void frame(std::uint32_t message, const std::uint8_t* data, std::uint32_t length) override;
    void overrun(std::uint32_t cyclesLost, std::uint32_t framesLost) override;
    void tell(std::uint32_t message, std::uint32_t parameter1, std::uint32_t parameter2);

    static constexpr int kNoMode = -1;

    DeviceWorker& mWorker;
    const AVCDevice& mDevice;  ///< main thread only
    const std::string mName;
    const DVReceiverParameters mParameters;

    // Receive thread only, while it runs.
    DVFrameAssembler mAssembler;
    CycleCount mCycles;
    std::shared_ptr<StreamLink> mLink;
    StreamTarget mTarget;
    std::unique_ptr<BusHandle> mBus;
    NodeWatch mWatch;
    int mLastError = 0;              ///< of opening the bus, so that it is logged once
    std::int64_t mRetryTime = 0;     ///< when to open the bus again
    std::int64_t mQuietUntil = 0;    ///< the handle reports errors without end: leave it alone
    std::int64_t mNow = 0;           ///< time of this turn of the loop
    std::int64_t mLastData = 0;      ///< when data came; 0 before the first
    std::uint32_t mForeignOnly = 0;  ///< packets of other senders since the last own one
    std::uint32_t mNotDV = 0;        ///< packets of another format since the last DV one
    int mMode = kNoMode;             ///< that has been told
    int mOtherMode = 0;              ///< frames of another mode in succession
    bool mHasFrames = false;         ///< whole ones have come
    bool mHasData = false;           ///< in this turn
    bool mHasAsked = false;          ///< for the node number, in this turn
    bool mIsSilenceTold = false;     ///< the gap under way is counted
    bool mIsRestarted = false;       ///< reception was opened anew since the last data
    bool mIsFormatTold = false;      ///< since the last DV packet

    std::atomic<StreamProblem> mProblem{StreamProblem::kNone};  ///< written by the receive thread

    std::jthread mThread;
};

}  // namespace takebox::avc
