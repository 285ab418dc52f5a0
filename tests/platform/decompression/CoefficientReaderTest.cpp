#include "platform/decompression/CoefficientReader.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "BlockWriter.h"

namespace takebox::decompression {
namespace {

struct Coefficient {
    unsigned index;
    int level;
    bool operator==(const Coefficient&) const = default;
};

std::vector<Coefficient> coefficientsOf(std::span<const std::uint8_t> area) {
    std::vector<Coefficient> found;
    CoefficientReader reader(area);
    while (reader.next()) {
        found.push_back({reader.index(), reader.level()});
    }
    return found;
}

TEST(CoefficientReader, readsTheHeader) {
    for (const int mean : {-256, -1, 0, 1, 255}) {
        EXPECT_EQ(CoefficientReader(BlockWriter().header(mean).area()).mean(), mean);
    }
    EXPECT_TRUE(CoefficientReader(BlockWriter().header(0, 1).area()).isOfFields());
    EXPECT_FALSE(CoefficientReader(BlockWriter().header(-1, 0, 3).area()).isOfFields());
    for (unsigned number = 0; number < 4; ++number) {
        const CoefficientReader reader(BlockWriter().header(-1, 1, number).area());
        EXPECT_EQ(reader.classNumber(), number);
    }
}

struct Word {
    const char* text;
    unsigned length;
    unsigned bits;  // with a sign of 0
    unsigned zeros;
    int level;
};

struct CodeWords : ::testing::TestWithParam<Word> {};

// One or more words of each length of the standard's table, first and last of their kind.
TEST_P(CodeWords, areRead) {
    const Word& word = GetParam();
    BlockWriter block;
    block.header(0).put(word.length, word.bits);
    if (word.level != 0) {
        block.put(word.length, word.bits | 1U);
    }
    block.endOfBlock();
    std::vector<Coefficient> expected{{word.zeros + 1, word.level}};
    if (word.level != 0) {
        expected.push_back({2 * (word.zeros + 1), -word.level});
    }
    EXPECT_EQ(coefficientsOf(block.area()), expected) << word.text;
}

INSTANTIATE_TEST_SUITE_P(
    CoefficientReader, CodeWords,
    ::testing::Values(
        Word{"00s", 3, 0b000, 0, 1}, Word{"010s", 4, 0b0100, 0, 2}, Word{"0111s", 5, 0b01110, 1, 1},
        Word{"1001s", 5, 0b10010, 0, 4}, Word{"10100s", 6, 0b101000, 2, 1},
        Word{"10111s", 6, 0b101110, 0, 6}, Word{"110000s", 7, 0b1100000, 3, 1},
        Word{"110011s", 7, 0b1100110, 0, 8}, Word{"1101000s", 8, 0b11010000, 5, 1},
        Word{"1101111s", 8, 0b11011110, 0, 11}, Word{"11100000s", 9, 0x1C0, 7, 1},
        Word{"11101111s", 9, 0x1DE, 0, 17}, Word{"111100000s", 10, 0x3C0, 11, 1},
        Word{"111101111s", 10, 0x3DE, 0, 22}, Word{"1111100000s", 11, 0x7C0, 5, 3},
        Word{"1111100110s", 11, 0x7CC, 1, 11}, Word{"11111001110", 11, 0x7CE, 0, 0},
        Word{"11111001111", 11, 0x7CF, 1, 0}, Word{"11111010000s", 12, 0xFA0, 6, 3},
        Word{"11111010101s", 12, 0xFAA, 1, 14}, Word{"111110101100", 12, 0xFAC, 2, 0},
        Word{"111110101111", 12, 0xFAF, 5, 0}, Word{"111110110000s", 13, 0x1F60, 7, 2},
        Word{"111110111111s", 13, 0x1F7E, 1, 17}, Word{"1111110000110", 13, 0x1F86, 6, 0},
        Word{"1111110111101", 13, 0x1FBD, 61, 0}, Word{"111111100010111s", 16, 0xFE2E, 0, 23},
        Word{"111111111111111s", 16, 0xFFFE, 0, 255}));

TEST(CoefficientReader, stopsAtAWordThatGoesOnElsewhere) {
    BlockWriter block;
    block.header(0);
    for (int i = 0; i < 33; ++i) {
        block.put(3, 0);  // 12 + 99 bits: one is left of 112
    }
    block.put(3, 0);
    EXPECT_EQ(coefficientsOf(block.area()).size(), 33U);
    EXPECT_EQ(coefficientsOf(block.area(10)).size(), 22U);
}

TEST(CoefficientReader, readsToTheLastBitOfTheArea) {
    BlockWriter block;
    block.header(0);
    for (int i = 0; i < 25; ++i) {
        block.put(4, 0b0100);
    }
    block.endOfBlock();
    EXPECT_EQ(coefficientsOf(block.area()).size(), 25U);
}

TEST(CoefficientReader, takesAnyBytes) {
    std::mt19937 random(7);
    for (int round = 0; round < 200000; ++round) {
        // On the heap and of the exact size, so that reading beyond it would be found.
        std::vector<std::uint8_t> area(9 + random() % 7);
        for (std::uint8_t& byte : area) {
            byte = static_cast<std::uint8_t>(random());
        }
        CoefficientReader reader(area);
        unsigned count = 0;
        unsigned last = 0;
        while (reader.next()) {
            ASSERT_GT(reader.index(), last);
            ASSERT_LE(std::abs(reader.level()), 255);
            last = reader.index();
            ++count;
        }
        ASSERT_LE(count, 8 * area.size() / 3);
    }
}

}  // namespace
}  // namespace takebox::decompression
