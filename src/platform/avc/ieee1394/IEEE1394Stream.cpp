#include "platform/avc/ieee1394/IEEE1394Stream.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "platform/avc/ieee1394/ThreadSetup.h"
#include "platform/log/Log.h"

namespace takebox::avc {
namespace {

constexpr std::int64_t kSilence = 200;       // ms without data in a running stream
constexpr std::int64_t kRetry = 1000;        // ms between attempts to open the bus
constexpr std::int64_t kQuiet = 10;          // ms; the ring holds far more
constexpr std::int64_t kDeadAfter = 60;      // ms without data on a handle with errors
constexpr int kPollTimeout = 100;            // ms
constexpr std::uint32_t kForeignMax = 8000;  // packets: one second
constexpr std::uint32_t kNotDVMax = 1000;
constexpr int kOtherModeMin = 5;  // frames: a damaged one says nothing of the signal
constexpr std::uint32_t kFrameSizePAL = 144000;
constexpr std::uint8_t kSystem50 = 0x80;
constexpr std::uint8_t kSignalTypeMask = 0x7C;
// Packets between two interrupts: 25 ms. The kernel drops the headers of more than 512. What came
// since the last interrupt is out of reach when a sender falls silent, but shorter intervals save
// nothing of it that can be measured: of 31 stops of a PAL deck each cost 0.77 and 0.87 frames at
// 200, 0.81 and 0.81 at 40 (the frame under way is lost either way), while the receive thread used
// 0.27 ms and 0.65 ms a frame.
constexpr std::uint32_t kInterruptInterval = 200;
constexpr int kBroadcastChannel = 63;

/// Without bus number, as it stands in packets.
int nodeNumber(const NodeWatch& watch) {
    return watch.info().node & 0x3F;
}

std::uint32_t packetsOfRing(const DVReceiverParameters& parameters) {
    return std::max(parameters.cyclesPerSegment, 1U) * std::max(parameters.segments, 2U);
}

std::uint32_t interruptInterval(const DVReceiverParameters& parameters) {
    return std::clamp(parameters.cyclesPerSegment, 1U, kInterruptInterval);
}

std::uint32_t limited(std::int64_t value) {
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(value, 0, UINT32_MAX));
}

}  // namespace

IEEE1394Stream::IEEE1394Stream(DeviceWorker& worker, const AVCDevice& device,
                               const DVReceiverParameters& parameters)
    : mWorker(worker),
      mDevice(device),
      mName(device.deviceName()),
      mParameters(parameters),
      mAssembler(parameters.frameBuffers, *this),
      mCycles(packetsOfRing(parameters), interruptInterval(parameters)) {}

IEEE1394Stream::~IEEE1394Stream() {
    IEEE1394Stream::stop();
}

int IEEE1394Stream::start() {
    if (mThread.joinable()) {
        return 0;
    }
    if (!mDevice.isAttached()) {
        return ENODEV;
    }
    mLink = std::make_shared<StreamLink>();
    mThread = std::jthread([this](const std::stop_token& token) { receive(token); });
    mWorker.startStream(mLink);
    return 0;
}

void IEEE1394Stream::stop() {
    if (!mThread.joinable()) {
        return;
    }
    mThread.request_stop();
    mLink->wake();
    mThread.join();
    // Only now, so that the device does not stop sending to a channel that is being received.
    mWorker.stopStream(mLink);
}

void IEEE1394Stream::receive(const std::stop_token& stop) {
    setUpThread("fw-receive");
    requestRealTimePriority();
    // A stream that was stopped is another one when it is started again.
    mTarget = {};
    mLastData = 0;
    mIsSilenceTold = false;
    mIsRestarted = false;
    mMode = kNoMode;
    mOtherMode = 0;
    mHasFrames = false;
    mIsFormatTold = false;
    mProblem = StreamProblem::kNone;
    while (!stop.stop_requested()) {
        mNow = monotonicMilliseconds();
        followTarget();
        waitForPackets();
    }
    closeBus();
}

void IEEE1394Stream::followTarget() {
    const StreamTarget target = mLink->target();
    if (target != mTarget) {
        closeBus();
        mRetryTime = 0;
        mLastError = 0;
        mTarget = target;
    }
    if (!mBus && mTarget.isReceiving() && mNow >= mRetryTime) {
        openBus();
    }
}

void IEEE1394Stream::openBus() {
    int error = mWatch.open(mTarget.number);
    if (error == 0) {
        mBus = BusHandle::open(mTarget.card, error);
    }
    if (mBus) {
        error = mBus->startReception(mTarget.channel, packetsOfRing(mParameters),
                                     interruptInterval(mParameters), *this);
    }
    if (error == 0) {
        mCycles = CycleCount(packetsOfRing(mParameters), interruptInterval(mParameters));
        mAssembler.restart();
        mAssembler.setSource(nodeNumber(mWatch));
        mForeignOnly = 0;
        mQuietUntil = 0;
        mIsRestarted = mLastData != 0;
        mLastError = 0;
        mProblem = mTarget.isRefused ? StreamProblem::kRefused : StreamProblem::kNone;
        return;
    }
    closeBus();
    mRetryTime = mNow + kRetry;
    // Of a device that is gone, the control thread tells.
    if (error != mLastError && error != ENODEV) {
        mLastError = error;
        mProblem = error == EBUSY ? StreamProblem::kChannelInUse : StreamProblem::kNotReceived;
        if (error == EBUSY) {
            logFromReceiveThread("%s cannot be received: channel %d is in use on this card",
                                 mName.c_str(), mTarget.channel);
        } else {
            logFromReceiveThread("%s cannot be received (err = %d)", mName.c_str(), error);
        }
    }
}

void IEEE1394Stream::closeBus() {
    mBus.reset();
    mWatch.close();
    mAssembler.restart();
}

void IEEE1394Stream::waitForPackets() {
    const bool isQuiet = mNow < mQuietUntil;
    int timeout = isQuiet ? static_cast<int>(mQuietUntil - mNow) : kPollTimeout;
    if (!mBus && !mTarget.isReceiving() && (mLastData == 0 || mIsSilenceTold)) {
        timeout = -1;
    }
    // poll leaves out the descriptor -1.
    std::array<pollfd, 3> ready{{{mBus && !isQuiet ? mBus->descriptor() : -1, POLLIN, 0},
                                 {mLink->wakeDescriptor(), POLLIN, 0},
                                 {mWatch.descriptor(), POLLIN, 0}}};
    // Asked first without waiting: only so it is known whether anything was left in the ring.
    const std::int64_t asked = monotonicMilliseconds();
    int count = poll(ready.data(), ready.size(), 0);
    if (count == 0) {
        if (ready[0].fd >= 0) {
            mCycles.caughtUp(asked);
        }
        count = poll(ready.data(), ready.size(), timeout);
    }
    if (count < 0) {
        return;
    }
    mNow = monotonicMilliseconds();
    if (ready[1].revents != 0) {
        mLink->clearWake();
    }
    if (ready[2].revents != 0) {
        handleWatch();
    }
    if (mBus && ready[0].revents != 0) {
        handlePackets();
    }
    checkSilence();
}

void IEEE1394Stream::handleWatch() {
    switch (mWatch.read()) {
        case NodeWatch::News::kNone:
            break;
        case NodeWatch::News::kBusReset:
            mAssembler.renumberSource(nodeNumber(mWatch));
            break;
        case NodeWatch::News::kGone:
            closeBus();
            // The control thread finds it out as well and says where to look next.
            mRetryTime = mNow + kRetry;
            break;
    }
}

void IEEE1394Stream::handlePackets() {
    mHasData = false;
    mHasAsked = false;
    const int error = mBus->iterate();
    if (mHasData) {
        mLastData = mNow;
        mLink->setLastData(mNow);
    }
    if (error == 0 || error == EINTR || error == EAGAIN) {
        return;
    }
    // A device file on this card has ended and the handle will say so for ever. That may be another
    // device's: as long as data come, they are all that counts.
    mQuietUntil = mNow + kQuiet;
    if (mNow - mLastData > kDeadAfter) {
        closeBus();
        openBus();
    }
}

void IEEE1394Stream::checkSilence() {
    if (mLastData != 0 && !mIsSilenceTold && mNow - mLastData > kSilence) {
        mIsSilenceTold = true;
        mAssembler.restart();
        tell(kStreamInterrupted, limited(mNow - mLastData), kNoData);
    }
}

void IEEE1394Stream::isoPacket(std::span<const std::uint8_t> packet, unsigned cycle) {
    const PacketTime time = mCycles.take(cycle, mNow);
    auto kind = mAssembler.packet(packet, time);
    if (kind == DVFrameAssembler::Packet::kForeign) {
        kind = foreignPacket(packet, time);
    }
    switch (kind) {
        case DVFrameAssembler::Packet::kData:
            dataArrived();
            break;
        case DVFrameAssembler::Packet::kEmpty:
            mForeignOnly = 0;
            break;
        case DVFrameAssembler::Packet::kForeign:
            break;
        case DVFrameAssembler::Packet::kNotDV:
            if (++mNotDV > kNotDVMax && !mIsFormatTold) {
                mIsFormatTold = true;
                mProblem = StreamProblem::kOtherSignal;
                logFromReceiveThread("%s does not send DV at 25 Mbit/s: nothing can be recorded",
                                     mName.c_str());
                // A tape that goes over to another format may come back to DV.
                if (!mHasFrames) {
                    tellSignal({.isNews = true, .isDV25 = false});
                }
            }
            break;
    }
}

/// The packet may be the first one after a bus reset that has not been told yet; then the kernel
/// knows the sender's new number.
DVFrameAssembler::Packet IEEE1394Stream::foreignPacket(std::span<const std::uint8_t> packet,
                                                       PacketTime time) {
    ++mForeignOnly;
    if (!mHasAsked) {
        mHasAsked = true;
        const int before = nodeNumber(mWatch);
        if (mWatch.refresh() && nodeNumber(mWatch) != before) {
            mAssembler.renumberSource(nodeNumber(mWatch));
            return mAssembler.packet(packet, time);
        }
    }
    if (mForeignOnly > kForeignMax && mTarget.channel != kBroadcastChannel) {
        // On a channel of its own there is no other sender: it does not know its number.
        logFromReceiveThread("%s sends under another node number", mName.c_str());
        mForeignOnly = 0;
        mAssembler.setSource(DVFrameAssembler::kAnySource);
        return mAssembler.packet(packet, time);
    }
    return DVFrameAssembler::Packet::kForeign;
}

void IEEE1394Stream::dataArrived() {
    mHasData = true;
    mForeignOnly = 0;
    mNotDV = 0;
    mIsFormatTold = false;
    if (mProblem.load(std::memory_order_relaxed) != StreamProblem::kNone) {
        mProblem = StreamProblem::kNone;
    }
    if (mIsSilenceTold) {
        tell(kStreamResumed, limited(mNow - mLastData), 0);
    } else if (mIsRestarted) {
        tell(kStreamInterrupted, limited(mNow - mLastData), kReconnected);
    }
    mIsRestarted = false;
    mIsSilenceTold = false;
}

void IEEE1394Stream::frame(std::uint32_t message, const std::uint8_t* data, std::uint32_t length) {
    if (message == kFrameReceived) {
        lookAtSignal(length);
    }
    if (mParameters.frameProc != nullptr) {
        mParameters.frameProc(message, data, length, mParameters.frameRefCon);
    }
}

/// The frames tell the video system better than the device, which may not have been asked, or have
/// answered before its tape or its switch was changed.
void IEEE1394Stream::lookAtSignal(std::uint32_t frameLength) {
    mHasFrames = true;
    if (mLink->takeSignalQuestion()) {
        mMode = kNoMode;
    }
    const int signalType = mAssembler.signal() & kSignalTypeMask;
    const auto mode =
        static_cast<std::uint8_t>(signalType | (frameLength == kFrameSizePAL ? kSystem50 : 0));
    mOtherMode = mode == mMode ? 0 : mOtherMode + 1;
    if (mOtherMode == kOtherModeMin) {
        mMode = mode;
        mOtherMode = 0;
        tellSignal({.isNews = true, .isDV25 = true, .dvMode = mode});
    }
}

void IEEE1394Stream::tellSignal(const SeenSignal& signal) {
    mLink->setSeenSignal(signal);
    mWorker.wake();
}

void IEEE1394Stream::overrun(std::uint32_t cyclesLost, std::uint32_t framesLost) {
    // A gap that is told as an interruption is not told again.
    if (!mIsSilenceTold && !mIsRestarted) {
        tell(kReceiverOverrun, cyclesLost, framesLost);
    }
}

void IEEE1394Stream::tell(std::uint32_t message, std::uint32_t parameter1,
                          std::uint32_t parameter2) {
    if (mParameters.messageProc != nullptr) {
        mParameters.messageProc(message, parameter1, parameter2, mParameters.messageRefCon);
    }
}

}  // namespace takebox::avc
