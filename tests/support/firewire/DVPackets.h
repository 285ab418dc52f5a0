#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

/// DV frames and the isochronous packets that carry them (IEC 61834, IEC 61883-2), as a sender
/// makes them. Header only: used by the tests and by the kernel stand-in, which links nothing.
namespace takebox::test {

constexpr std::size_t kDIFBlockSize = 80;
constexpr std::size_t kDVPayloadSize = 480;
constexpr std::size_t kDVPacketSize = 488;
constexpr std::size_t kFrameSizeNTSC = 120000;
constexpr std::size_t kFrameSizePAL = 144000;

using DVFrame = std::vector<std::uint8_t>;
using DVPacket = std::array<std::uint8_t, kDVPacketSize>;

inline bool isPAL(const DVFrame& frame) {
    return frame.size() == kFrameSizePAL;
}

inline int packetsOf(const DVFrame& frame) {
    return static_cast<int>(frame.size() / kDVPayloadSize);
}

/// A frame with correct DIF block numbers and a content that no other number's frame has.
inline DVFrame makeFrame(bool pal, std::uint32_t number) {
    DVFrame frame(pal ? kFrameSizePAL : kFrameSizeNTSC);
    std::uint32_t state = number * 2654435761U + 12345U;
    for (auto& byte : frame) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<std::uint8_t>(state >> 24);
    }
    for (std::size_t block = 0; block < frame.size() / kDIFBlockSize; ++block) {
        const auto slot = block % 150;
        std::size_t type = 0;
        std::size_t count = 0;
        if (slot == 0) {
            type = 0;
        } else if (slot < 3) {
            type = 1;
            count = slot - 1;
        } else if (slot < 6) {
            type = 2;
            count = slot - 3;
        } else if ((slot - 6) % 16 == 0) {
            type = 3;
            count = (slot - 6) / 16;
        } else {
            type = 4;
            count = (slot - 6) / 16 * 15 + (slot - 6) % 16 - 1;
        }
        std::uint8_t* const id = frame.data() + block * kDIFBlockSize;
        id[0] = static_cast<std::uint8_t>(type << 5 | 0x1F);
        id[1] = static_cast<std::uint8_t>(block / 150 << 4 | 0x07);
        id[2] = static_cast<std::uint8_t>(count);
        if (slot == 0) {
            id[3] = pal ? 0xBF : 0x3F;
        }
    }
    return frame;
}

/// Common isochronous packet header; all of an empty packet.
inline void fillHeader(std::uint8_t* packet, std::uint8_t node, std::uint8_t dbc, bool pal) {
    const std::uint8_t header[8] = {
        static_cast<std::uint8_t>(node & 0x3F),       120,  0,   dbc, 0x80,
        static_cast<std::uint8_t>(pal ? 0x80 : 0x00), 0xFF, 0xFF};
    std::memcpy(packet, header, sizeof header);
}

inline DVPacket makePacket(const DVFrame& frame, int index, std::uint8_t node, std::uint8_t dbc) {
    DVPacket packet{};
    fillHeader(packet.data(), node, dbc, isPAL(frame));
    std::memcpy(packet.data() + 8, frame.data() + static_cast<std::size_t>(index) * kDVPayloadSize,
                kDVPayloadSize);
    return packet;
}

}  // namespace takebox::test
