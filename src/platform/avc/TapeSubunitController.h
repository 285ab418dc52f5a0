#pragma once

#include <cstdint>
#include <utility>

#include "platform/avc/AVCDevice.h"

namespace takebox::avc {

/// Play modes and wind modes (AV/C tape recorder/player subunit).
inline constexpr std::uint8_t kPlayForward = 0x75;
inline constexpr std::uint8_t kWindStop = 0x60;

/// Opcodes that Play and Wind send.
inline constexpr std::uint8_t kOpcodePlay = 0xC3;
inline constexpr std::uint8_t kOpcodeWind = 0xC4;

/// The tape transport of one device (its first tape subunit). Main thread; the device outlives it.
class TapeSubunitController {
public:
    explicit TapeSubunitController(AVCDevice& device) : mDevice(device) {}

    /// Sends the command and returns without waiting for the deck.
    void Play(std::uint8_t mode, TapeResultProc result) {
        mDevice.sendTapeCommand(kOpcodePlay, mode, std::move(result));
    }
    void Wind(std::uint8_t mode, TapeResultProc result) {
        mDevice.sendTapeCommand(kOpcodeWind, mode, std::move(result));
    }

private:
    AVCDevice& mDevice;
};

}  // namespace takebox::avc
