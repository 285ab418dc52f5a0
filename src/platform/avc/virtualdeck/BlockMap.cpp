#include "platform/avc/virtualdeck/BlockMap.h"

namespace takebox::avc {
namespace {

dvframe::Sampling samplingOf(DVStandard standard) {
    return standard == DVStandard::kPAL ? dvframe::Sampling::k625Lines420
                                        : dvframe::Sampling::k525Lines411;
}

void writeFlatBlock(std::uint8_t* area, std::uint8_t value) {
    // Nine bits of the mean, DCT mode 0, class 0, and end of block (0110): 16 bits in all.
    const int mean = 2 * (static_cast<int>(value) - 128);
    area[0] = static_cast<std::uint8_t>(mean >> 1);
    area[1] = static_cast<std::uint8_t>((mean & 1) << 7 | 0x06);
}

}  // namespace

BlockMap::BlockMap(DVStandard standard)
    : mRows(standard == DVStandard::kPAL ? 72 : 60),
      mMacroBlocks(dvframe::macroBlocks(samplingOf(standard))),
      mLumaOffsets(static_cast<std::size_t>(mRows) * std::size_t{kColumns}) {
    for (const dvframe::MacroBlock& block : mMacroBlocks) {
        const int width = block.isSquare ? 2 : 4;
        for (int luma = 0; luma < static_cast<int>(dvframe::kLumaBlocks); ++luma) {
            const int place = (block.row + luma / width) * kColumns + block.column + luma % width;
            const auto& area = dvframe::kBlockAreas[static_cast<std::size_t>(luma)];
            mLumaOffsets[static_cast<std::size_t>(place)] =
                static_cast<std::uint32_t>(block.offset + area.offset);
        }
    }
}

void BlockMap::setLuma(std::span<std::uint8_t> frame, int column, int row, std::uint8_t y) const {
    const int place = row * kColumns + column;
    writeFlatBlock(&frame[mLumaOffsets[static_cast<std::size_t>(place)]], y);
}

void BlockMap::setChroma(std::span<std::uint8_t> frame, const dvframe::MacroBlock& block,
                         const BlockColour& colour) {
    frame[block.offset + dvframe::kStatusOffset] = 0x0F;  // no error, finest quantiser
    writeFlatBlock(&frame[block.offset + dvframe::kBlockAreas[4].offset], colour.cr);
    writeFlatBlock(&frame[block.offset + dvframe::kBlockAreas[5].offset], colour.cb);
}

}  // namespace takebox::avc
