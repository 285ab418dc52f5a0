#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/avc/virtualdeck/DIFFrame.h"

namespace takebox::avc {

/// Room for a frame of either standard.
using FrameBuffer = std::span<std::uint8_t, kLargestFrameSize>;

/// The tape of a virtual deck: what frames it holds, and where it stands. Used by one thread at a
/// time: the deck's receive thread while its stream runs.
class FrameSource {
public:
    FrameSource() = default;
    virtual ~FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;

    /// Writes the frame where the tape stands and moves on behind it.
    /// @return the frame's length; 0 at the end of the tape.
    [[nodiscard]] virtual std::size_t next(FrameBuffer buffer) = 0;
    /// Writes the frame once more that next() or skip() passed last. @return as next().
    [[nodiscard]] virtual std::size_t again(FrameBuffer buffer) = 0;
    /// Moves on by a frame without looking at it. @return its length; 0 at the end of the tape.
    [[nodiscard]] virtual std::size_t skip() = 0;
    /// Goes back to the beginning of the tape.
    virtual void rewind() = 0;
    /// Signal format of the frame where the tape stood first (see AVCDevice::dvMode()).
    [[nodiscard]] virtual std::uint8_t dvMode() const = 0;
};

}  // namespace takebox::avc
