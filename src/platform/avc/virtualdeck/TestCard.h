#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "platform/avc/virtualdeck/BlockMap.h"

namespace takebox::avc {

/// The picture of the test signal: colour bars, the program's and the deck's name, a counter, a
/// grey scale, and a bar that moves by one block with every frame. Every 8x8 block has one colour,
/// which makes drawing a frame a matter of microseconds.
class TestCard {
public:
    /// Characters of a deck's name that have room on a line.
    static constexpr std::size_t kLineLength = 15;

    explicit TestCard(DVStandard standard);

    /// Everything that does not change.
    void drawBackground(std::span<std::uint8_t> frame, std::string_view deckName) const;
    /// What changes, over the background.
    void drawMotion(std::span<std::uint8_t> frame, std::uint64_t frameNumber,
                    std::string_view counter) const;

private:
    [[nodiscard]] BlockColour background(int column, int row) const;
    void drawLine(std::span<std::uint8_t> frame, int line, std::string_view text) const;

    BlockMap mMap;
    // Rows of blocks where each part begins; the bars begin at the top.
    int mTextTop;
    int mScaleTop;
    int mMotionTop;
};

}  // namespace takebox::avc
