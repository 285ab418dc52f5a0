#include "platform/dvframe/MacroBlocks.h"

#include <gtest/gtest.h>

#include <set>

namespace takebox::dvframe {
namespace {

constexpr int kColumns = 90;

struct MacroBlocks : ::testing::TestWithParam<Sampling> {};

TEST_P(MacroBlocks, coverThePictureOnce) {
    const int rows = GetParam() == Sampling::k525Lines411 ? 60 : 72;
    std::set<std::pair<int, int>> covered;
    for (const MacroBlock& block : macroBlocks(GetParam())) {
        const int width = block.isSquare ? 2 : 4;
        for (int i = 0; i < 4; ++i) {
            const int column = block.column + i % width;
            const int row = block.row + i / width;
            EXPECT_LT(column, kColumns);
            EXPECT_LT(row, rows);
            EXPECT_TRUE(covered.emplace(column, row).second) << column << ", " << row;
        }
    }
    EXPECT_EQ(covered.size(), static_cast<std::size_t>(kColumns * rows));
}

TEST_P(MacroBlocks, lieInVideoBlocksInTheOrderOfTheFrame) {
    const auto blocks = macroBlocks(GetParam());
    ASSERT_EQ(blocks.size(), 135 * sequenceCount(GetParam()));
    EXPECT_EQ(blocks.front().offset, 7 * kDIFBlockSize);
    EXPECT_EQ(blocks.back().offset, (sequenceCount(GetParam()) * 150 - 1) * kDIFBlockSize);
    for (std::size_t i = 1; i < blocks.size(); ++i) {
        EXPECT_GT(blocks[i].offset, blocks[i - 1].offset);
        EXPECT_NE((blocks[i].offset / kDIFBlockSize % 150 - 6) % 16, 0U) << "an audio block";
    }
}

INSTANTIATE_TEST_SUITE_P(OfEverySampling, MacroBlocks,
                         ::testing::Values(Sampling::k525Lines411, Sampling::k625Lines420,
                                           Sampling::k625Lines411));

TEST(MacroBlocks, areHalvesAtTheRightOf411Only) {
    for (const MacroBlock& block : macroBlocks(Sampling::k525Lines411)) {
        EXPECT_EQ(block.isSquare, block.column == 88);
    }
    for (const MacroBlock& block : macroBlocks(Sampling::k625Lines420)) {
        EXPECT_TRUE(block.isSquare);
    }
}

}  // namespace
}  // namespace takebox::dvframe
