#include "platform/decompression/DVFrameAssembly.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace takebox::decompression {
namespace {

constexpr std::size_t kPAL = DVFrameAssembly::kPALFrameSize;
constexpr std::size_t kNTSC = DVFrameAssembly::kNTSCFrameSize;

struct DVFrameAssemblyTest : ::testing::Test {
    std::unique_ptr<std::array<std::uint8_t, kPAL>> storage =
        std::make_unique<std::array<std::uint8_t, kPAL>>();

    static std::vector<std::uint8_t> frame(std::size_t size, std::uint8_t filling) {
        std::vector<std::uint8_t> bytes(size, filling);
        bytes[0] = 0x1F;
        bytes[1] = 0x07;
        bytes[2] = 0;
        bytes[3] = size == kPAL ? 0xBF : 0x3F;
        bytes[4] = 0xF8;
        bytes[451] = 0xE0;
        return bytes;
    }
};

TEST_F(DVFrameAssemblyTest, keepsAWholeFrameAsItIs) {
    DVFrameAssembly assembly(*storage, true);
    const auto ntsc = frame(kNTSC, 0x11);
    EXPECT_EQ(assembly.assemble(ntsc.data(), ntsc.size()), kNTSC);
    EXPECT_TRUE(std::equal(ntsc.begin(), ntsc.end(), storage->begin()));
    const auto pal = frame(kPAL, 0x22);
    EXPECT_EQ(assembly.assemble(pal.data(), pal.size()), kPAL);
    EXPECT_TRUE(std::equal(pal.begin(), pal.end(), storage->begin()));
}

TEST_F(DVFrameAssemblyTest, completesAShortFrameFromTheFrameBefore) {
    DVFrameAssembly assembly(*storage, false);
    const auto first = frame(kNTSC, 0x11);
    const auto second = frame(kNTSC, 0x22);
    EXPECT_EQ(assembly.assemble(first.data(), first.size()), kNTSC);
    EXPECT_EQ(assembly.assemble(second.data(), 60000), kNTSC);
    EXPECT_EQ((*storage)[59999], 0x22);
    EXPECT_EQ((*storage)[60000], 0x11);
    EXPECT_EQ((*storage)[kNTSC - 1], 0x11);
}

TEST_F(DVFrameAssemblyTest, restoresAHeaderThatWasLost) {
    DVFrameAssembly assembly(*storage, false);
    const auto good = frame(kPAL, 0x11);
    EXPECT_EQ(assembly.assemble(good.data(), good.size()), kPAL);
    const std::vector<std::uint8_t> damaged(kPAL, 0xFF);
    EXPECT_EQ(assembly.assemble(damaged.data(), damaged.size()), kPAL);
    EXPECT_EQ((*storage)[3], 0xBF);
    EXPECT_EQ((*storage)[4], 0xF8);
    EXPECT_EQ((*storage)[451], 0xE0);
}

TEST_F(DVFrameAssemblyTest, assumesTheGivenStandardUntilAFrameTells) {
    const std::vector<std::uint8_t> noise(kPAL, 0xFF);
    EXPECT_EQ(DVFrameAssembly(*storage, true).assemble(noise.data(), noise.size()), kPAL);
    EXPECT_EQ(DVFrameAssembly(*storage, false).assemble(noise.data(), noise.size()), kNTSC);
}

TEST_F(DVFrameAssemblyTest, ignoresWhatExceedsAFrame) {
    DVFrameAssembly assembly(*storage, true);
    const std::vector<std::uint8_t> tooLong(kPAL + 1000, 0xFF);
    EXPECT_EQ(assembly.assemble(tooLong.data(), tooLong.size()), kPAL);
}

TEST_F(DVFrameAssemblyTest, takesTheSecondVideoSystemOf625Lines) {
    DVFrameAssembly assembly(*storage, false);
    auto pal = frame(kPAL, 0x11);
    pal[451] = 0xE1;
    EXPECT_EQ(assembly.assemble(pal.data(), pal.size()), kPAL);
    EXPECT_EQ((*storage)[451], 0xE1);
}

}  // namespace
}  // namespace takebox::decompression
