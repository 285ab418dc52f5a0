#include "platform/avc/virtualdeck/DIFFrame.h"

namespace takebox::avc {

bool isFrameHeader(std::span<const std::uint8_t> bytes) {
    // Section type 0 (header), DIF sequence 0 of the first channel, block 0. The remaining bits of
    // the ID are arbitrary or reserved.
    return bytes.size() >= kFrameHeaderSize && (bytes[0] & 0xE0) == 0 && (bytes[1] & 0xF8) == 0 &&
           bytes[2] == 0;
}

DVStandard standardOf(std::span<const std::uint8_t> header) {
    return (header[3] & 0x80) != 0 ? DVStandard::kPAL : DVStandard::kNTSC;
}

std::uint8_t dvModeOf(std::span<const std::uint8_t> header) {
    constexpr std::uint8_t kTapeFormatDVCPRO = 1;
    const std::uint8_t field = standardOf(header) == DVStandard::kPAL ? 0x80 : 0x00;
    const std::uint8_t type = (header[4] & 0x07) == kTapeFormatDVCPRO ? 0x78 : 0x00;
    return static_cast<std::uint8_t>(field | type);
}

}  // namespace takebox::avc
