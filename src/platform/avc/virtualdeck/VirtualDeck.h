#pragma once

#include <cstdint>
#include <memory>

#include "platform/avc/AVCDevice.h"
#include "platform/avc/virtualdeck/DeckNews.h"
#include "platform/avc/virtualdeck/DeckTape.h"
#include "platform/avc/virtualdeck/VirtualDeckSettings.h"
#include "platform/runloop/Clock.h"

namespace takebox::avc {

class AVCDeviceController;

/// A DV deck that exists only in this program: plays its tape at true pace and obeys the tape
/// transport. It plays from the start on, unless its settings say that it is cued. Play goes on
/// with the next frame after a stop, and from the beginning after the end of the tape; a stopped
/// deck shows the frame where it stands.
///
/// Main thread, except for the faults.
class VirtualDeck final : public AVCDevice {
public:
    struct Identity {
        std::uint64_t guid;
        std::string_view name;
        int number;  ///< counted from 1; names the receive thread
    };
    /// The controller outlives the deck.
    VirtualDeck(const Identity& identity, const VirtualDeckSettings& settings,
                std::unique_ptr<FrameSource> tape, AVCDeviceController& controller);
    ~VirtualDeck() override;

    [[nodiscard]] int openDevice(AVCDeviceMessageProc messageProc, void* refCon) override;
    void closeDevice() override;
    [[nodiscard]] std::unique_ptr<AVCDeviceStream> CreateDVReceiverForDevicePlug(
        const DVReceiverParameters& parameters) override;
    void sendTapeCommand(std::uint8_t opcode, std::uint8_t operand, TapeResultProc result) override;

    // Faults on request; any thread. Those of the stream come with its next frame.
    void injectShortFrame(std::uint32_t bytes);
    void injectFrameMessage(FrameMessage message);  ///< kFrameIncomplete or kFramesMissing
    void injectReceiverMessage(ReceiverMessage message, std::uint32_t parameter1);
    /// Asks whoever has the deck open to close it.
    void requestClose();
    /// Leaves the bus: the stream falls silent at once; then, on the main thread, its user is asked
    /// to close and the record is changed. @param frameTimes until it returns by itself; 0: never.
    void disappear(std::uint32_t frameTimes = 0);
    void reappear();

    // For the stream.
    [[nodiscard]] std::int64_t speed() const { return mSpeed; }
    [[nodiscard]] int number() const { return mNumber; }
    /// @return false when another stream has the tape.
    [[nodiscard]] bool claimTape();
    void releaseTape() { mTapeIsClaimed = false; }

private:
    void inject(DeckFault fault, std::uint32_t value);
    [[nodiscard]] int answer(std::uint8_t opcode, std::uint8_t operand);
    void tellNews(const DeckNews::Items& items);
    void leaveBus(std::uint32_t frameTimes);
    void returnToBus();

    AVCDeviceController& mController;
    const int mNumber;
    const std::int64_t mSpeed;
    AVCDeviceMessageProc mMessageProc = nullptr;
    void* mMessageRefCon = nullptr;
    bool mIsOpen = false;
    bool mTapeIsClaimed = false;
    DeckTape mTape;
    Clock::Timer mReturnTimer = 0;  // runs while the deck is away for a time
    DeckNews mNews;
};

}  // namespace takebox::avc
