#include "platform/dvframe/MacroBlocks.h"

namespace takebox::dvframe {
namespace {

constexpr std::size_t kSegments = 27;  // video segments in a DIF sequence
constexpr std::size_t kPerSegment = 5;

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

MacroBlock macroBlock420(int superColumn, int superRow, int position) {
    constexpr int kWidth = 9;
    constexpr int kHeight = 3;
    const int column = superColumn * kWidth + position / kHeight;
    const int row = superRow * kHeight + serpentine(position, kHeight);
    return {0, static_cast<std::uint8_t>(2 * column), static_cast<std::uint8_t>(2 * row), true};
}

MacroBlock macroBlock411(int superColumn, int superRow, int position) {
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

}  // namespace

std::vector<MacroBlock> macroBlocks(Sampling sampling) {
    const std::size_t sequences = sequenceCount(sampling);
    std::vector<MacroBlock> blocks;
    blocks.reserve(sequences * kSegments * kPerSegment);
    for (std::size_t sequence = 0; sequence < sequences; ++sequence) {
        for (std::size_t index = 0; index < kSegments * kPerSegment; ++index) {
            const SuperBlock& super = kSuperBlocks[index % kPerSegment];
            const auto superRow = static_cast<int>((sequence + super.sequenceStep) % sequences);
            const auto position = static_cast<int>(index / kPerSegment);
            MacroBlock block = sampling == Sampling::k625Lines420
                                   ? macroBlock420(super.column, superRow, position)
                                   : macroBlock411(super.column, superRow, position);
            block.offset = videoBlockOffset(sequence, index);
            blocks.push_back(block);
        }
    }
    return blocks;
}

}  // namespace takebox::dvframe
