#pragma once

#include <array>
#include <cstdint>
#include <stop_token>
#include <thread>
#include <vector>

#include "platform/avc/AVCDevice.h"
#include "platform/avc/virtualdeck/DeckTape.h"
#include "platform/avc/virtualdeck/FrameSchedule.h"

namespace takebox::avc {

class VirtualDeck;

/// Sends a deck's frames at their pace, on a receive thread of its own ("deck-N").
///
/// The frames take turns in the buffers asked for. A buffer is overwritten as soon as the callback
/// has returned, so that a use of it afterwards shows.
///
/// A host that is late gets what has piled up at once, up to what a receiver's ring would hold;
/// what does not fit is lost and reported (kFramesMissing, then kReceiverOverrun). A tape that is
/// slow to read, as on a busy disk, loses nothing.
class VirtualDeckStream final : public AVCDeviceStream {
public:
    VirtualDeckStream(VirtualDeck& deck, DeckTape& tape, const DVReceiverParameters& parameters);
    ~VirtualDeckStream() override;

    [[nodiscard]] int start() override;
    void stop() override;

private:
    /// What becomes of a frame.
    struct Fate {
        FrameMessage message = kFrameReceived;
        std::uint32_t longest = kLargestFrameSize;
    };

    // Receive thread.
    void run(const std::stop_token& stop);
    void obeyTransport();
    [[nodiscard]] bool isSending() const;
    void sendFrame();
    void noteTapeTime(std::int64_t nanoseconds);
    void loseLateFrames();
    [[nodiscard]] std::size_t readFrame(FrameBuffer buffer);
    [[nodiscard]] std::size_t skipFrame();
    [[nodiscard]] Fate takeFaults();
    void takeFault(DeckFault fault, std::uint32_t value, Fate& fate);
    void sendMessage(ReceiverMessage message, std::uint32_t parameter1, std::uint32_t parameter2);
    void reportOverrun(std::uint32_t cycles);

    VirtualDeck& mDeck;
    DeckTape& mTape;
    const DVReceiverParameters mParameters;
    const std::uint32_t mDeparture;

    // Receive thread.
    FrameSchedule mSchedule;
    std::vector<std::array<std::uint8_t, kLargestFrameSize>> mBuffers;
    std::size_t mNextBuffer = 0;
    std::size_t mLastLength = 0;
    std::int64_t mTapeTime = 0;  // spent on reading since the stream was last on time

    std::jthread mThread;
};

}  // namespace takebox::avc
