#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// The outer shape of a DV frame (IEC 61834-2, 25 Mbit/s): DIF sequences of 150 blocks of 80 bytes.
namespace takebox::avc {

enum class DVStandard : std::uint8_t { kNTSC = 0, kPAL = 1 };

inline constexpr std::size_t kDIFBlockSize = 80;
inline constexpr std::size_t kDIFSequenceSize = 150 * kDIFBlockSize;
inline constexpr std::size_t kLargestFrameSize = 12 * kDIFSequenceSize;

/// As many bytes from the start of a frame as tell what it is: the IDs and DSF, TF and APT fields.
inline constexpr std::size_t kFrameHeaderSize = 8;
/// As many bytes as hold the header and the time code of the first DIF sequence.
inline constexpr std::size_t kTimeCodeEnd = 115;
inline constexpr std::size_t kTimeCodeOffset = kTimeCodeEnd - 4;

[[nodiscard]] constexpr std::size_t sequenceCount(DVStandard standard) {
    return standard == DVStandard::kPAL ? 12 : 10;
}
[[nodiscard]] constexpr std::size_t frameSize(DVStandard standard) {
    return sequenceCount(standard) * kDIFSequenceSize;
}
/// Frames in a second of time code (non-drop).
[[nodiscard]] constexpr std::uint32_t nominalRate(DVStandard standard) {
    return standard == DVStandard::kPAL ? 25 : 30;
}

/// Whether the bytes begin with the header block of a frame's first DIF sequence. False when there
/// are fewer than kFrameHeaderSize.
[[nodiscard]] bool isFrameHeader(std::span<const std::uint8_t> bytes);
/// By the DSF bit of a header block; at least kFrameHeaderSize bytes.
[[nodiscard]] DVStandard standardOf(std::span<const std::uint8_t> header);
/// The signal format (IEC 61883-2 FDF) that a frame with this header is sent with.
[[nodiscard]] std::uint8_t dvModeOf(std::span<const std::uint8_t> header);

}  // namespace takebox::avc
