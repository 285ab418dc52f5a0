#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/// Where the picture lies in a DV frame of 25 Mbit/s (IEC 61834-2, SMPTE 314M).
namespace takebox::dvframe {

inline constexpr std::size_t kDIFBlockSize = 80;
inline constexpr std::size_t kDIFSequenceSize = 150 * kDIFBlockSize;

/// Lines and chrominance sampling of a picture.
enum class Sampling : std::uint8_t {
    k525Lines411,
    k625Lines420,
    k625Lines411,  ///< DVCPRO
};

[[nodiscard]] constexpr std::size_t sequenceCount(Sampling sampling) {
    return sampling == Sampling::k525Lines411 ? 10 : 12;
}

/// One macro block: four luminance blocks of 8 x 8 pixels and one of each colour difference.
struct MacroBlock {
    std::size_t offset;   ///< of its DIF block in the frame
    std::uint8_t column;  ///< of its top left luminance block, in blocks
    std::uint8_t row;
    bool isSquare;  ///< 2 x 2 luminance blocks, else 4 in a row
};

/// Every macro block of a frame in the order of the frame, shuffled over the picture as the
/// standard has it.
[[nodiscard]] std::vector<MacroBlock> macroBlocks(Sampling sampling);

/// Offset of the byte of a macro block's DIF block with the error status (high four bits) and the
/// quantisation number (low four bits).
inline constexpr std::size_t kStatusOffset = 3;

/// The area in which a block of 8 x 8 pixels begins; what does not fit continues in the space that
/// others leave over.
struct BlockArea {
    std::size_t offset;  ///< bytes from the start of the DIF block
    std::size_t size;    ///< bytes
};

inline constexpr std::size_t kLumaBlocks = 4;
/// Four luminance blocks, then Cr and Cb.
inline constexpr std::array<BlockArea, kLumaBlocks + 2> kBlockAreas{
    {{4, 14}, {18, 14}, {32, 14}, {46, 14}, {60, 10}, {70, 10}}};

}  // namespace takebox::dvframe
