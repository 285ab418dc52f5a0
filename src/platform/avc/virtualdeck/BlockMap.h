#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/avc/virtualdeck/DIFFrame.h"
#include "platform/dvframe/MacroBlocks.h"

namespace takebox::avc {

/// A colour by its luma and colour difference components (ITU-R BT.601, 8 bits).
struct BlockColour {
    std::uint8_t y = 16;
    std::uint8_t cb = 128;
    std::uint8_t cr = 128;
};

/// Where each 8x8 block of the picture lies in a DV frame (525/60 in 4:1:1, 625/50 in 4:2:0), and
/// how a block of one colour is written there.
class BlockMap {
public:
    static constexpr int kColumns = 90;

    explicit BlockMap(DVStandard standard);

    [[nodiscard]] int rows() const { return mRows; }

    /// Makes a luma block all of one brightness.
    void setLuma(std::span<std::uint8_t> frame, int column, int row, std::uint8_t y) const;

    [[nodiscard]] const std::vector<dvframe::MacroBlock>& macroBlocks() const {
        return mMacroBlocks;
    }
    /// Makes the colour differences of a macro block all of one colour, and marks it as sound.
    static void setChroma(std::span<std::uint8_t> frame, const dvframe::MacroBlock& block,
                          const BlockColour& colour);

private:
    int mRows;
    std::vector<dvframe::MacroBlock> mMacroBlocks;
    std::vector<std::uint32_t> mLumaOffsets;  // row by row
};

}  // namespace takebox::avc
