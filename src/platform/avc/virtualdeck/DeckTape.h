#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/avc/virtualdeck/FrameSource.h"
#include "platform/avc/virtualdeck/VirtualDeckSettings.h"
#include "platform/runloop/WakeUp.h"

namespace takebox::avc {

/// What the transport was told last and has not obeyed yet.
enum class TapeCommand : std::uint8_t { kNone, kPlay, kStop };

/// What the transport does.
enum class TapeState : std::uint8_t {
    kParked,   ///< before the first frame; sends nothing
    kPlaying,  ///< sends frame after frame
    kStill,    ///< stopped; sends the frame where it stands again and again, as a picture to see
    kEnded,    ///< at the end of the tape; sends nothing
};

/// What a deck and its stream share: the tape with its transport, and the faults to come.
/// Owned by the deck, which outlives its streams; one stream runs at a time.
struct DeckTape {
    /// Faults of the stream (not of the device) that are to come with the next frame.
    static constexpr std::size_t kStreamFaults = 5;
    static constexpr std::int64_t kNoFault = -1;

    // Receive thread while a stream runs, else the main thread.
    std::unique_ptr<FrameSource> source;
    bool loop = true;
    TapeState state = TapeState::kPlaying;
    std::uint64_t framesSent = 0;
    std::vector<ScheduledFault> faults;  // by frame
    std::size_t nextFault = 0;

    // Any thread. A change that cannot wait for the next frame is followed by wakeUp.signal(). The
    // values stand for themselves: nothing else is handed over with them, so their order does not
    // matter.
    std::atomic<TapeCommand> command{TapeCommand::kNone};
    std::array<std::atomic<std::int64_t>, kStreamFaults> injected{kNoFault, kNoFault, kNoFault,
                                                                  kNoFault, kNoFault};
    /// Counts how often the deck left the bus; a stream lives for one value of it.
    std::atomic<std::uint32_t> departures{0};
    WakeUp wakeUp;
};

}  // namespace takebox::avc
