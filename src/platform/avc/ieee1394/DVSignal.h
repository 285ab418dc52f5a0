#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

/// What a device says about its signal and its parts, in AV/C answers and stream headers.
namespace takebox::avc {

/// What a plug or a tape carries.
struct DVSignal {
    bool isDV25 = false;         ///< DV at 25 Mbit/s, which is what can be recorded
    std::uint8_t dvMode = 0x80;  ///< first format byte: 50/60 flag and signal type
};

/// Mode of a device that says nothing of it and has never been heard: 625/50.
inline constexpr std::uint8_t kDVModeUnknown = 0x80;

/// Questions (AV/C General and Tape Recorder/Player specifications, status inquiries).
inline constexpr std::array<std::uint8_t, 8> kAskOutputPlugSignalFormat = {0x01, 0xFF, 0x18, 0x00,
                                                                           0xFF, 0xFF, 0xFF, 0xFF};
inline constexpr std::array<std::uint8_t, 4> kAskOutputSignalMode = {0x01, 0x20, 0x78, 0xFF};
inline constexpr std::array<std::uint8_t, 8> kAskSubunitInfo = {0x01, 0xFF, 0x31, 0x07,
                                                                0xFF, 0xFF, 0xFF, 0xFF};

/// Answers; nothing when the device did not say.
[[nodiscard]] std::optional<DVSignal> outputPlugSignal(std::span<const std::uint8_t> answer);
[[nodiscard]] std::optional<DVSignal> outputSignalMode(std::span<const std::uint8_t> answer);
[[nodiscard]] std::optional<bool> hasTapeSubunit(std::span<const std::uint8_t> answer);

/// From the first format byte of a DV stream's packets or of a plug of format DV.
[[nodiscard]] DVSignal signalOfFormatByte(std::uint8_t format);

/// For people: "DV, 525/60".
[[nodiscard]] const char* signalName(std::uint8_t dvMode);

}  // namespace takebox::avc
