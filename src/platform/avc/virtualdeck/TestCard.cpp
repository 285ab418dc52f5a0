#include "platform/avc/virtualdeck/TestCard.h"

#include <algorithm>
#include <array>

#include "platform/avc/virtualdeck/TestFont.h"

namespace takebox::avc {
namespace {

constexpr std::uint8_t kBlack = 16;
constexpr std::uint8_t kWhite = 235;
constexpr std::uint8_t kMotionGround = 48;
constexpr std::uint8_t kMotionBar = 200;
constexpr int kMotionBarWidth = 4;

// Bars as wide as three macro blocks of 4:1:1, so that no colour runs into its neighbour.
constexpr int kBarWidth = 12;
constexpr std::array<BlockColour, 8> kBars{{
    {180, 128, 128},
    {162, 44, 142},
    {131, 156, 44},
    {112, 72, 58},
    {84, 184, 198},
    {65, 100, 212},
    {35, 212, 114},
    {kBlack, 128, 128},
}};

constexpr int kTextHeight = 28;
constexpr int kFirstLine = 2;
constexpr int kLineHeight = kGlyphHeight + 2;
constexpr int kCharacterWidth = kGlyphWidth + 1;

}  // namespace

TestCard::TestCard(DVStandard standard)
    : mMap(standard),
      mTextTop(standard == DVStandard::kPAL ? 28 : 20),
      mScaleTop(mTextTop + kTextHeight),
      mMotionTop(standard == DVStandard::kPAL ? 62 : 52) {}

BlockColour TestCard::background(int column, int row) const {
    if (row < mTextTop) {
        return kBars[static_cast<std::size_t>(column / kBarWidth)];
    }
    if (row < mScaleTop) {
        return {};
    }
    if (row < mMotionTop) {
        const int step = (kWhite - kBlack) * column / (BlockMap::kColumns - 1);
        return {static_cast<std::uint8_t>(kBlack + step)};
    }
    return {kMotionGround};
}

void TestCard::drawBackground(std::span<std::uint8_t> frame, std::string_view deckName) const {
    for (const auto& block : mMap.macroBlocks()) {
        BlockMap::setChroma(frame, block, background(block.column, block.row));
    }
    for (int row = 0; row < mMap.rows(); ++row) {
        for (int column = 0; column < BlockMap::kColumns; ++column) {
            mMap.setLuma(frame, column, row, background(column, row).y);
        }
    }
    drawLine(frame, 0, "TAKEBOX");
    drawLine(frame, 1, deckName.substr(0, kLineLength));
}

void TestCard::drawMotion(std::span<std::uint8_t> frame, std::uint64_t frameNumber,
                          std::string_view counter) const {
    drawLine(frame, 2, counter);
    const auto left = static_cast<int>(frameNumber % BlockMap::kColumns);
    for (int column = left; column < left + kMotionBarWidth; ++column) {
        for (int row = mMotionTop; row < mMap.rows(); ++row) {
            mMap.setLuma(frame, column % BlockMap::kColumns, row, kMotionBar);
        }
    }
}

void TestCard::drawLine(std::span<std::uint8_t> frame, int line, std::string_view text) const {
    const auto width = static_cast<int>(text.size()) * kCharacterWidth - 1;
    int left = (BlockMap::kColumns - width) / 2;
    const int top = mTextTop + kFirstLine + line * kLineHeight;
    for (const char character : text) {
        const Glyph& glyph = testGlyph(character);
        for (int y = 0; y < kGlyphHeight; ++y) {
            for (int x = 0; x < kGlyphWidth; ++x) {
                if ((glyph[static_cast<std::size_t>(y)] >> (kGlyphWidth - 1 - x) & 1) != 0) {
                    mMap.setLuma(frame, left + x, top + y, kWhite);
                }
            }
        }
        left += kCharacterWidth;
    }
}

}  // namespace takebox::avc
