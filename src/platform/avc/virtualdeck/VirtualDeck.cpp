#include "platform/avc/virtualdeck/VirtualDeck.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include "platform/avc/AVCDeviceController.h"
#include "platform/avc/TapeSubunitController.h"
#include "platform/avc/virtualdeck/VirtualDeckStream.h"

namespace takebox::avc {
namespace {

constexpr int kAccepted = 0;
constexpr int kNotImplemented = 0x08;  // AV/C response

}  // namespace

VirtualDeck::VirtualDeck(const Identity& identity, const VirtualDeckSettings& settings,
                         std::unique_ptr<FrameSource> tape, AVCDeviceController& controller)
    : AVCDevice(identity.guid),
      mController(controller),
      mNumber(identity.number),
      mSpeed(settings.speed),
      mNews([this](const DeckNews::Items& items) { tellNews(items); }) {
    setDeviceName(identity.name);
    setDVCapabilities(true, false);
    setDVMode(tape->dvMode());
    setAttached(true);
    mTape.source = std::move(tape);
    mTape.loop = settings.loop;
    mTape.state = settings.cue ? TapeState::kParked : TapeState::kPlaying;
    mTape.faults = settings.faults;
    std::stable_sort(mTape.faults.begin(), mTape.faults.end(),
                     [](const auto& a, const auto& b) { return a.frame < b.frame; });
}

VirtualDeck::~VirtualDeck() {
    Clock::system().cancel(mReturnTimer);
}

int VirtualDeck::openDevice(AVCDeviceMessageProc messageProc, void* refCon) {
    if (!isAttached()) {
        return ENODEV;
    }
    if (!mNews.isValid()) {
        return EMFILE;
    }
    if (mIsOpen) {
        return EACCES;
    }
    mIsOpen = true;
    mMessageProc = messageProc;
    mMessageRefCon = refCon;
    return 0;
}

void VirtualDeck::closeDevice() {
    mIsOpen = false;
    mMessageProc = nullptr;
}

std::unique_ptr<AVCDeviceStream> VirtualDeck::CreateDVReceiverForDevicePlug(
    const DVReceiverParameters& parameters) {
    if (!mIsOpen || !isAttached() || parameters.plug != 0 || parameters.frameProc == nullptr ||
        parameters.frameBuffers == 0) {
        return nullptr;
    }
    return std::make_unique<VirtualDeckStream>(*this, mTape, parameters);
}

void VirtualDeck::sendTapeCommand(std::uint8_t opcode, std::uint8_t operand,
                                  TapeResultProc result) {
    const int code = isAttached() ? answer(opcode, operand) : -ENODEV;
    if (result) {
        // Not bound to this deck: the answer comes even if the deck is gone by then.
        Clock::system().callLater(0, [code, result = std::move(result)] { result(code); });
    }
}

int VirtualDeck::answer(std::uint8_t opcode, std::uint8_t operand) {
    const bool isPlay = opcode == kOpcodePlay && operand == kPlayForward;
    const bool isStop = opcode == kOpcodeWind && operand == kWindStop;
    if (!isPlay && !isStop) {
        return kNotImplemented;
    }
    mTape.command.store(isPlay ? TapeCommand::kPlay : TapeCommand::kStop,
                        std::memory_order_relaxed);
    mTape.wakeUp.signal();
    return kAccepted;
}

void VirtualDeck::injectShortFrame(std::uint32_t bytes) {
    inject(DeckFault::kShortFrame, bytes);
}

void VirtualDeck::injectFrameMessage(FrameMessage message) {
    if (message != kFrameReceived) {
        inject(message == kFrameIncomplete ? DeckFault::kIncompleteFrame : DeckFault::kMissingFrame,
               0);
    }
}

void VirtualDeck::injectReceiverMessage(ReceiverMessage message, std::uint32_t parameter1) {
    inject(message == kReceiverOverrun ? DeckFault::kOverrun : DeckFault::kInterruption,
           parameter1);
}

void VirtualDeck::inject(DeckFault fault, std::uint32_t value) {
    mTape.injected[static_cast<std::size_t>(fault)].store(value, std::memory_order_relaxed);
}

void VirtualDeck::requestClose() {
    mNews.addCloseRequest();
}

void VirtualDeck::disappear(std::uint32_t frameTimes) {
    mTape.departures.fetch_add(1, std::memory_order_relaxed);
    mTape.wakeUp.signal();
    mNews.addDeparture(frameTimes);
}

void VirtualDeck::reappear() {
    mNews.addReturn();
}

bool VirtualDeck::claimTape() {
    return !std::exchange(mTapeIsClaimed, true);
}

void VirtualDeck::tellNews(const DeckNews::Items& items) {
    for (std::uint32_t i = 0; i < items.closeRequests && mMessageProc != nullptr; ++i) {
        mMessageProc(this, kDeviceCloseRequest, 0, mMessageRefCon);
    }
    if (items.hasLeft) {
        leaveBus(items.frameTimesAway);
    }
    if (items.hasReturned) {
        returnToBus();
    }
}

void VirtualDeck::leaveBus(std::uint32_t frameTimes) {
    if (!isAttached()) {
        return;
    }
    if (mMessageProc != nullptr) {
        mMessageProc(this, kDeviceCloseRequest, 0, mMessageRefCon);
    }
    setAttached(false);
    mController.deviceChanged(*this);
    if (frameTimes > 0) {
        const DVStandard standard = (dvMode() & 0x80) != 0 ? DVStandard::kPAL : DVStandard::kNTSC;
        const std::chrono::duration<double> away =
            std::chrono::nanoseconds(FrameSchedule::duration(standard, frameTimes, mSpeed));
        mReturnTimer = Clock::system().callLater(away.count(), [this] { returnToBus(); });
    }
}

void VirtualDeck::returnToBus() {
    Clock::system().cancel(std::exchange(mReturnTimer, 0));
    if (!isAttached()) {
        setAttached(true);
        mController.deviceChanged(*this);
    }
}

}  // namespace takebox::avc
