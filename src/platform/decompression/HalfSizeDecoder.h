#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/decompression/CoefficientReader.h"
#include "platform/dvframe/MacroBlocks.h"

namespace takebox::decompression {

/// Decodes DV frames to pictures of half the width and height, 360 x 240 or 360 x 288, for a small
/// part of what whole pictures cost.
///
/// Only the coefficients of low frequencies are read, only where they lie in the area of their own
/// block, and each is added straight to the pixels, which are the mean values of 2 x 2 pixels of
/// the whole picture. What a block has stored in the space of other blocks is mostly detail that a
/// smaller picture cannot show; so every block stands by itself, and damage stays where it is.
///
/// Any bytes are taken, also noise. One thread at a time; nothing is allocated but when the
/// sampling changes.
class HalfSizeDecoder {
public:
    static constexpr int kWidth = 360;

    /// One component of a picture, line after line.
    struct Plane {
        int width = 0;
        int height = 0;
        std::vector<std::uint8_t> samples;
    };
    /// Luminance, Cb and Cr, eight bits, black at 16 and no colour at 128.
    using Picture = std::array<Plane, 3>;

    HalfSizeDecoder();

    /// @param frame as many bytes as the sequences of the sampling have; the blocks that a shorter
    ///              one lacks stay as they were.
    /// @return the picture; it belongs to the decoder and holds until the next call.
    const Picture& decode(std::span<const std::uint8_t> frame, dvframe::Sampling sampling);

private:
    // A block of 8 x 8 pixels at half size. Its lines are vectors of the processor (a notation that
    // GCC and Clang share): adding them up is most of the work.
    static constexpr unsigned kBlockWidth = 4;
    using Line [[gnu::vector_size(kBlockWidth * sizeof(float))]] = float;
    using LineOfNumbers [[gnu::vector_size(kBlockWidth * sizeof(std::int32_t))]] = std::int32_t;
    using LineOfBytes [[gnu::vector_size(kBlockWidth)]] = std::uint8_t;
    using BlockPixels = std::array<LineOfBytes, kBlockWidth>;
    // What a coefficient of 1 adds to each pixel.
    using Pattern = std::array<Line, kBlockWidth>;

    // Coefficients that are read. Of the detail left, nothing can be seen at a quarter of the size.
    static constexpr unsigned kCoefficients = 10;
    // Up to here coefficients belong to the first area of quantisation, from here to the second.
    static constexpr unsigned kSecondArea = 6;

    void setSampling(dvframe::Sampling sampling);
    void decodeMacroBlock(std::span<const std::uint8_t> bytes, const dvframe::MacroBlock& block);
    [[nodiscard]] BlockPixels decodeBlock(std::span<const std::uint8_t> area,
                                          unsigned quantisation) const;
    static BlockPixels limitedToBytes(const Pattern& sums);
    static void put(const BlockPixels& pixels, Plane& plane, unsigned x, unsigned y);
    static void putFolded(const BlockPixels& pixels, Plane& plane, unsigned x, unsigned y);

    Picture mPicture;
    dvframe::Sampling mSampling{};
    std::vector<dvframe::MacroBlock> mMacroBlocks;
    std::array<std::array<Pattern, kCoefficients>, 2> mPatterns{};  // by DCT mode
};

}  // namespace takebox::decompression
