#include "platform/avc/virtualdeck/BlockMap.h"

namespace takebox::avc {
namespace {

constexpr std::size_t kSegments = 27;  // video segments in a DIF sequence
constexpr std::size_t kPerSegment = 5;

// Bytes in a video DIF block: ID, quantiser and status, then the areas of the six blocks.
constexpr std::size_t kStatusOffset = 3;
constexpr std::size_t kLumaOffset = 4;
constexpr std::size_t kLumaAreaSize = 14;
constexpr std::size_t kCrOffset = 60;
constexpr std::size_t kCbOffset = 70;

// A segment takes its macro blocks from five super blocks, far apart on the picture.
struct SuperBlock {
    std::size_t sequenceStep;
    int column;
};
constexpr std::array<SuperBlock, kPerSegment> kSuperBlocks{
    {{2, 2}, {6, 1}, {8, 3}, {0, 0}, {4, 4}}};

/// The row within columns of a super block that are walked down and up in turn.
constexpr int serpentine(int position, int height) {
    const int inPair = position % (2 * height);
    return inPair < height ? inPair : 2 * height - 1 - inPair;
}

constexpr std::size_t videoBlockOffset(std::size_t sequence, std::size_t videoBlock) {
    // Seven blocks of other sections come first, then one audio block before every fifteen.
    const std::size_t block = 7 + videoBlock / 15 * 16 + videoBlock % 15;
    return sequence * kDIFSequenceSize + block * kDIFBlockSize;
}

BlockMap::MacroBlock macroBlock625(int superColumn, int superRow, int position) {
    constexpr int kWidth = 9;
    constexpr int kHeight = 3;
    const int column = superColumn * kWidth + position / kHeight;
    const int row = superRow * kHeight + serpentine(position, kHeight);
    return {0, static_cast<std::uint8_t>(2 * column), static_cast<std::uint8_t>(2 * row), true};
}

BlockMap::MacroBlock macroBlock525(int superColumn, int superRow, int position) {
    // Super blocks are four and a half macro blocks wide: the second and fourth begin in the lower
    // half of the column that the one on their left ends in.
    constexpr std::array<int, kPerSegment> kFirstColumns{0, 4, 9, 13, 18};
    constexpr int kHeight = 6;
    constexpr int kLastColumn = 22;
    if (superColumn == 1 || superColumn == 3) {
        position += kHeight / 2;
    }
    const int column = kFirstColumns[static_cast<std::size_t>(superColumn)] + position / kHeight;
    const int step = serpentine(position, kHeight);
    // The rightmost 16 pixels have room for half a macro block only, so these are square there.
    const bool isSquare = column == kLastColumn;
    const int row = superRow * kHeight + (isSquare ? 2 * step : step);
    return {0, static_cast<std::uint8_t>(4 * column), static_cast<std::uint8_t>(row), isSquare};
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
      mLumaOffsets(static_cast<std::size_t>(mRows) * std::size_t{kColumns}) {
    const std::size_t sequences = sequenceCount(standard);
    mMacroBlocks.reserve(sequences * kSegments * kPerSegment);
    for (std::size_t sequence = 0; sequence < sequences; ++sequence) {
        for (std::size_t index = 0; index < kSegments * kPerSegment; ++index) {
            const SuperBlock& super = kSuperBlocks[index % kPerSegment];
            const auto superRow = static_cast<int>((sequence + super.sequenceStep) % sequences);
            const auto position = static_cast<int>(index / kPerSegment);
            MacroBlock block = standard == DVStandard::kPAL
                                   ? macroBlock625(super.column, superRow, position)
                                   : macroBlock525(super.column, superRow, position);
            block.offset = videoBlockOffset(sequence, index);
            addMacroBlock(block);
        }
    }
}

void BlockMap::addMacroBlock(const MacroBlock& block) {
    const int width = block.isSquare ? 2 : 4;
    for (int luma = 0; luma < 4; ++luma) {
        const int place = (block.row + luma / width) * kColumns + block.column + luma % width;
        mLumaOffsets[static_cast<std::size_t>(place)] = static_cast<std::uint32_t>(
            block.offset + kLumaOffset + static_cast<std::size_t>(luma) * kLumaAreaSize);
    }
    mMacroBlocks.push_back(block);
}

void BlockMap::setLuma(std::span<std::uint8_t> frame, int column, int row, std::uint8_t y) const {
    const int place = row * kColumns + column;
    writeFlatBlock(&frame[mLumaOffsets[static_cast<std::size_t>(place)]], y);
}

void BlockMap::setChroma(std::span<std::uint8_t> frame, const MacroBlock& block,
                         const BlockColour& colour) {
    frame[block.offset + kStatusOffset] = 0x0F;  // no error, finest quantiser
    writeFlatBlock(&frame[block.offset + kCrOffset], colour.cr);
    writeFlatBlock(&frame[block.offset + kCbOffset], colour.cb);
}

}  // namespace takebox::avc
