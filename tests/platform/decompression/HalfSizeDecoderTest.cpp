#include "platform/decompression/HalfSizeDecoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

#include "BlockWriter.h"

namespace takebox::decompression {
namespace {

using dvframe::Sampling;

constexpr std::size_t kNTSC = 120000;
constexpr std::size_t kPAL = 144000;

using Frame = std::vector<std::uint8_t>;

std::size_t sizeOf(Sampling sampling) {
    return sampling == Sampling::k525Lines411 ? kNTSC : kPAL;
}

void setBlock(Frame& frame, const dvframe::MacroBlock& block, std::size_t index,
              const BlockWriter& bits) {
    const auto [offset, size] = dvframe::kBlockAreas[index];
    std::ranges::copy(bits.area(size), &frame[block.offset + offset]);
}

// A frame whose blocks have nothing but a mean value.
Frame flatFrame(Sampling sampling, int luma, int cb, int cr) {
    Frame frame(sizeOf(sampling));
    for (const auto& block : dvframe::macroBlocks(sampling)) {
        for (std::size_t i = 0; i < dvframe::kBlockAreas.size(); ++i) {
            const int value = i < dvframe::kLumaBlocks ? luma : i == 4 ? cr : cb;
            setBlock(frame, block, i, BlockWriter().header(2 * (value - 128)).endOfBlock());
        }
    }
    return frame;
}

// Means of 2 x 2 pixels of a block that has one coefficient, by the definition of the transform.
std::array<double, 16> oneCoefficient(unsigned across, unsigned down, double coefficient) {
    const auto normal = [](unsigned k) { return k == 0 ? std::numbers::sqrt2 / 4 : 0.5; };
    const auto wave = [](unsigned k, unsigned n) {
        return std::cos((2 * n + 1) * k * std::numbers::pi / 16);
    };
    std::array<double, 16> means{};
    for (unsigned y = 0; y < 8; ++y) {
        for (unsigned x = 0; x < 8; ++x) {
            means[y / 2 * 4 + x / 2] +=
                coefficient * normal(across) * normal(down) * wave(across, x) * wave(down, y) / 4;
        }
    }
    return means;
}

struct EverySampling : ::testing::TestWithParam<Sampling> {};

TEST_P(EverySampling, showsTheMeanOfEveryBlock) {
    HalfSizeDecoder decoder;
    const auto& picture = decoder.decode(flatFrame(GetParam(), 200, 90, 160), GetParam());
    EXPECT_EQ(picture[0].width, 360);
    EXPECT_EQ(picture[0].height, GetParam() == Sampling::k525Lines411 ? 240 : 288);
    const std::array<std::uint8_t, 3> values{200, 90, 160};
    for (std::size_t i = 0; i < 3; ++i) {
        const auto& plane = picture[i];
        EXPECT_EQ(plane.samples.size(), static_cast<std::size_t>(plane.width * plane.height));
        EXPECT_EQ(std::ranges::count(plane.samples, values[i]), std::ssize(plane.samples));
    }
}

TEST_P(EverySampling, putsEveryBlockInItsPlace) {
    HalfSizeDecoder decoder;
    const auto blocks = dvframe::macroBlocks(GetParam());
    for (std::size_t i = 0; i < blocks.size(); i += 61) {
        const auto& block = blocks[i];
        Frame frame = flatFrame(GetParam(), 16, 128, 128);
        setBlock(frame, block, 3, BlockWriter().header(2 * (235 - 128)).endOfBlock());
        const auto& luma = decoder.decode(frame, GetParam())[0];
        EXPECT_EQ(std::ranges::count(luma.samples, 235), 16);
        const unsigned across = block.isSquare ? 2 : 4;
        const unsigned x = 4U * (block.column + 3 % across);
        const unsigned y = 4U * (block.row + 3 / across);
        EXPECT_EQ(luma.samples[y * 360 + x], 235);
        EXPECT_EQ(luma.samples[(y + 3) * 360 + x + 3], 235);
    }
}

TEST_P(EverySampling, takesNoise) {
    HalfSizeDecoder decoder;
    std::mt19937 random(3);
    Frame frame(sizeOf(GetParam()));
    for (int round = 0; round < 20; ++round) {
        for (std::uint8_t& byte : frame) {
            byte = static_cast<std::uint8_t>(random());
        }
        const Frame exact(frame.begin(),
                          frame.end() - static_cast<std::ptrdiff_t>(random() % frame.size()));
        EXPECT_EQ(decoder.decode(exact, GetParam())[0].width, 360);
    }
    EXPECT_EQ(decoder.decode(flatFrame(GetParam(), 77, 128, 128), GetParam())[0].samples[0], 77);
}

INSTANTIATE_TEST_SUITE_P(HalfSizeDecoder, EverySampling,
                         ::testing::Values(Sampling::k525Lines411, Sampling::k625Lines420,
                                           Sampling::k625Lines411));

TEST(HalfSizeDecoder, addsCoefficientsAsTheTransformDoes) {
    // Code words of level 8, class 2 and quantisation number 15: no shift, so that a level counts
    // two. The first three coefficients in turn; weights are those of the standard.
    constexpr std::array<std::pair<unsigned, unsigned>, 3> kOrder{{{1, 0}, {0, 1}, {0, 2}}};
    const double first = std::cos(std::numbers::pi / 4) /
                         (4 * std::cos(7 * std::numbers::pi / 16) * std::cos(std::numbers::pi / 8));
    const double second =
        std::cos(std::numbers::pi / 4) / (2 * std::cos(6 * std::numbers::pi / 16));
    const std::array weights{first, first, second};
    const auto block = dvframe::macroBlocks(Sampling::k625Lines420)[0];
    for (std::size_t i = 0; i < kOrder.size(); ++i) {
        Frame frame = flatFrame(Sampling::k625Lines420, 128, 128, 128);
        frame[block.offset + dvframe::kStatusOffset] = 15;
        BlockWriter bits;
        bits.header(0, 0, 2);
        for (std::size_t skipped = 0; skipped < i; ++skipped) {
            bits.put(11, 0x7CE);  // one zero
        }
        setBlock(frame, block, 0, bits.put(7, 0b1100110).endOfBlock());
        HalfSizeDecoder decoder;
        const auto& luma = decoder.decode(frame, Sampling::k625Lines420)[0];
        const auto expected = oneCoefficient(kOrder[i].first, kOrder[i].second, 2 * 8 / weights[i]);
        for (unsigned pixel = 0; pixel < 16; ++pixel) {
            const unsigned x = 4U * block.column + pixel % 4;
            const unsigned y = 4U * block.row + pixel / 4;
            EXPECT_NEAR(luma.samples[y * 360 + x], 128 + expected[pixel], 0.51) << i << pixel;
        }
    }
}

TEST(HalfSizeDecoder, keepsWhatAShortFrameLacks) {
    HalfSizeDecoder decoder;
    decoder.decode(flatFrame(Sampling::k525Lines411, 50, 128, 128), Sampling::k525Lines411);
    Frame cut = flatFrame(Sampling::k525Lines411, 150, 128, 128);
    cut.resize(60039);
    const auto& luma = decoder.decode(cut, Sampling::k525Lines411)[0];
    EXPECT_EQ(std::ranges::count(luma.samples, 50), std::ssize(luma.samples) / 2);
    EXPECT_EQ(std::ranges::count(luma.samples, 150), std::ssize(luma.samples) / 2);
}

TEST(HalfSizeDecoder, keepsDamageWhereItIs) {
    HalfSizeDecoder decoder;
    Frame frame = flatFrame(Sampling::k625Lines420, 100, 128, 128);
    const auto block = dvframe::macroBlocks(Sampling::k625Lines420)[77];
    std::fill_n(&frame[block.offset], dvframe::kDIFBlockSize, std::uint8_t{0xA5});
    const auto& luma = decoder.decode(frame, Sampling::k625Lines420)[0];
    EXPECT_GE(std::ranges::count(luma.samples, 100), std::ssize(luma.samples) - 64);
}

}  // namespace
}  // namespace takebox::decompression
