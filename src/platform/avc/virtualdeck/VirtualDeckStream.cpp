#include "platform/avc/virtualdeck/VirtualDeckStream.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>

#include "platform/avc/virtualdeck/VirtualDeck.h"

namespace takebox::avc {
namespace {

constexpr std::int64_t kCycle = 125'000;                        // of the bus, in nanoseconds
constexpr std::int64_t kRing = std::int64_t{6} * 800 * kCycle;  // what a receiver's ring holds
constexpr std::uint8_t kOverwritten = 0xA5;

constexpr DVStandard standardOfLength(std::size_t length) {
    return length == frameSize(DVStandard::kPAL) ? DVStandard::kPAL : DVStandard::kNTSC;
}

/// Blocks all signals, so that a thread started meanwhile never gets one.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &mBefore);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t mBefore{};
};

}  // namespace

VirtualDeckStream::VirtualDeckStream(VirtualDeck& deck, DeckTape& tape,
                                     const DVReceiverParameters& parameters)
    : mDeck(deck),
      mTape(tape),
      mParameters(parameters),
      mDeparture(tape.departures.load(std::memory_order_relaxed)),
      mSchedule(deck.speed()),
      mBuffers(parameters.frameBuffers) {}

VirtualDeckStream::~VirtualDeckStream() {
    stop();
}

int VirtualDeckStream::start() {
    if (mThread.joinable()) {
        return 0;
    }
    if (!mDeck.isAttached() || mDeparture != mTape.departures.load(std::memory_order_relaxed)) {
        return ENODEV;
    }
    if (!mDeck.claimTape()) {
        return EBUSY;
    }
    const SignalsBlocked blocked;
    mThread = std::jthread([this](const std::stop_token& stop) { run(stop); });
    return 0;
}

void VirtualDeckStream::stop() {
    if (mThread.joinable()) {
        mThread.request_stop();
        mTape.wakeUp.signal();
        mThread.join();
        mDeck.releaseTape();
    }
}

void VirtualDeckStream::run(const std::stop_token& stop) {
    std::array<char, 16> name{};
    snprintf(name.data(), name.size(), "deck-%d", mDeck.number());
    pthread_setname_np(pthread_self(), name.data());
    bool wasSending = false;
    while (!stop.stop_requested()) {
        obeyTransport();
        if (!isSending()) {
            wasSending = false;
            mTape.wakeUp.wait();
            continue;
        }
        if (!wasSending) {
            mSchedule.restart(WakeUp::now());
            wasSending = true;
        }
        if (!mTape.wakeUp.waitUntil(mSchedule.due())) {
            sendFrame();
        }
    }
}

void VirtualDeckStream::obeyTransport() {
    switch (mTape.command.exchange(TapeCommand::kNone, std::memory_order_relaxed)) {
        case TapeCommand::kPlay:
            if (mTape.state == TapeState::kEnded) {
                mTape.source->rewind();
            }
            mTape.state = TapeState::kPlaying;
            break;
        case TapeCommand::kStop:
            if (mTape.state == TapeState::kPlaying) {
                mTape.state = mTape.framesSent > 0 ? TapeState::kStill : TapeState::kParked;
            }
            break;
        case TapeCommand::kNone:
            break;
    }
}

bool VirtualDeckStream::isSending() const {
    return (mTape.state == TapeState::kPlaying || mTape.state == TapeState::kStill) &&
           mDeparture == mTape.departures.load(std::memory_order_relaxed);
}

void VirtualDeckStream::sendFrame() {
    loseLateFrames();
    const Fate fate = takeFaults();
    if (!isSending()) {
        return;  // the deck has just left the bus
    }
    const FrameBuffer buffer(mBuffers[mNextBuffer]);
    const std::int64_t begun = WakeUp::now();
    const std::size_t length = readFrame(buffer);
    if (length == 0) {
        mTape.state = TapeState::kEnded;
        return;
    }
    noteTapeTime(WakeUp::now() - begun);
    if (fate.message == kFramesMissing) {
        mParameters.frameProc(kFramesMissing, nullptr, 1, mParameters.frameRefCon);
    } else {
        mParameters.frameProc(fate.message, buffer.data(),
                              std::min(static_cast<std::uint32_t>(length), fate.longest),
                              mParameters.frameRefCon);
    }
    std::fill(buffer.begin(), buffer.end(), kOverwritten);
    mNextBuffer = (mNextBuffer + 1) % mBuffers.size();
    ++mTape.framesSent;
    mSchedule.advance(standardOfLength(length));
}

void VirtualDeckStream::noteTapeTime(std::int64_t nanoseconds) {
    if (nanoseconds > kRing) {
        // After so long a wait for the disk, a burst would be too much: the tape stood still.
        mSchedule.delay(nanoseconds);
    } else {
        mTapeTime += nanoseconds;
    }
}

void VirtualDeckStream::loseLateFrames() {
    const std::int64_t now = WakeUp::now();
    const std::int64_t firstDue = mSchedule.due();
    if (now - firstDue < FrameSchedule::duration(DVStandard::kNTSC, 1, mDeck.speed())) {
        mTapeTime = 0;  // on time
    }
    // What it took to get the frames off the tape is not the host's fault.
    const std::int64_t oldest = now - kRing - mTapeTime;
    std::uint32_t frames = 0;
    while (mSchedule.due() < oldest) {
        const std::size_t length = skipFrame();
        if (length == 0) {
            break;
        }
        mSchedule.advance(standardOfLength(length));
        ++frames;
    }
    if (frames != 0) {
        mParameters.frameProc(kFramesMissing, nullptr, frames, mParameters.frameRefCon);
        reportOverrun(static_cast<std::uint32_t>((mSchedule.due() - firstDue) / kCycle));
    }
}

std::size_t VirtualDeckStream::readFrame(FrameBuffer buffer) {
    FrameSource& source = *mTape.source;
    if (mTape.state == TapeState::kStill) {
        return source.again(buffer);
    }
    mLastLength = source.next(buffer);
    if (mLastLength == 0 && mTape.loop) {
        source.rewind();
        mLastLength = source.next(buffer);
    }
    return mLastLength;
}

std::size_t VirtualDeckStream::skipFrame() {
    FrameSource& source = *mTape.source;
    if (mTape.state == TapeState::kStill) {
        return mLastLength;
    }
    mLastLength = source.skip();
    if (mLastLength == 0 && mTape.loop) {
        source.rewind();
        mLastLength = source.skip();
    }
    return mLastLength;
}

VirtualDeckStream::Fate VirtualDeckStream::takeFaults() {
    Fate fate;
    for (std::size_t kind = 0; kind < mTape.injected.size(); ++kind) {
        const std::int64_t value =
            mTape.injected[kind].exchange(DeckTape::kNoFault, std::memory_order_relaxed);
        if (value != DeckTape::kNoFault) {
            takeFault(static_cast<DeckFault>(kind), static_cast<std::uint32_t>(value), fate);
        }
    }
    const auto& faults = mTape.faults;
    while (mTape.nextFault < faults.size() && faults[mTape.nextFault].frame <= mTape.framesSent) {
        const ScheduledFault& fault = faults[mTape.nextFault++];
        takeFault(fault.kind, fault.value, fate);
    }
    return fate;
}

void VirtualDeckStream::takeFault(DeckFault fault, std::uint32_t value, Fate& fate) {
    switch (fault) {
        case DeckFault::kShortFrame:
            fate.longest = value;
            break;
        case DeckFault::kIncompleteFrame:
            fate.message = kFrameIncomplete;
            break;
        case DeckFault::kMissingFrame:
            fate.message = kFramesMissing;
            break;
        case DeckFault::kOverrun:
            reportOverrun(value);
            break;
        case DeckFault::kInterruption:
            sendMessage(kStreamInterrupted, value, kNoData);
            break;
        case DeckFault::kCloseRequest:
            mDeck.requestClose();
            break;
        case DeckFault::kDisappearance:
            mDeck.disappear(value);
            break;
    }
}

void VirtualDeckStream::sendMessage(ReceiverMessage message, std::uint32_t parameter1,
                                    std::uint32_t parameter2) {
    if (mParameters.messageProc != nullptr) {
        mParameters.messageProc(message, parameter1, parameter2, mParameters.messageRefCon);
    }
}

/// The frames that go with it have been told, or none are missing.
void VirtualDeckStream::reportOverrun(std::uint32_t cycles) {
    sendMessage(kReceiverOverrun, cycles, 0);
}

}  // namespace takebox::avc
