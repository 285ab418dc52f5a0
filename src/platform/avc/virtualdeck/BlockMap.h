#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/avc/virtualdeck/DIFFrame.h"

namespace takebox::avc {

/// A colour by its luma and colour difference components (ITU-R BT.601, 8 bits).
struct BlockColour {
    std::uint8_t y = 16;
    std::uint8_t cb = 128;
    std::uint8_t cr = 128;
};

/// Where each 8x8 block of the picture lies in a DV frame, after the macro block shuffling of
/// IEC 61834-2 (525/60 in 4:1:1, 625/50 in 4:2:0), and how a block of one colour is written there.
class BlockMap {
public:
    static constexpr int kColumns = 90;

    explicit BlockMap(DVStandard standard);

    [[nodiscard]] int rows() const { return mRows; }

    /// Makes a luma block all of one brightness.
    void setLuma(std::span<std::uint8_t> frame, int column, int row, std::uint8_t y) const;

    /// One macro block: four luma blocks and one of each colour difference.
    struct MacroBlock {
        std::size_t offset;   ///< of its DIF block in the frame
        std::uint8_t column;  ///< of its top left luma block
        std::uint8_t row;
        bool isSquare;  ///< 2 x 2 luma blocks, else 4 in a row
    };
    [[nodiscard]] const std::vector<MacroBlock>& macroBlocks() const { return mMacroBlocks; }
    /// Makes the colour differences of a macro block all of one colour, and marks it as sound.
    static void setChroma(std::span<std::uint8_t> frame, const MacroBlock& block,
                          const BlockColour& colour);

private:
    void addMacroBlock(const MacroBlock& block);

    int mRows;
    std::vector<MacroBlock> mMacroBlocks;
    std::vector<std::uint32_t> mLumaOffsets;  // row by row
};

}  // namespace takebox::avc
