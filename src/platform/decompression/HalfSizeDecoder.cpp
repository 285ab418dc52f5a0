#include "HalfSizeDecoder.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <cmath>
#include <cstring>
#include <numbers>

namespace takebox::decompression {
namespace {

constexpr float kMiddle = 128;

// Frequencies of the coefficients across and down, in their order.
struct Frequencies {
    unsigned across;
    unsigned down;
};
constexpr std::array<Frequencies, 10> kOrderOfFrame{
    {{0, 0}, {1, 0}, {0, 1}, {0, 2}, {1, 1}, {2, 0}, {3, 0}, {2, 1}, {1, 2}, {0, 3}}};
// Sums and differences of the fields take turns here. The mean of both fields knows no differences.
constexpr std::array<Frequencies, 5> kOrderOfSums{{{0, 0}, {1, 0}, {0, 1}, {2, 0}, {1, 1}}};

// By how many bits the coefficients of the first two areas were shifted, by quantisation number and
// class together.
constexpr std::array<std::array<std::uint8_t, 2>, 22> kShifts{
    {{3, 3}, {3, 3}, {2, 3}, {2, 3}, {2, 2}, {2, 2}, {1, 2}, {1, 2}, {1, 1}, {1, 1}, {0, 1},
     {0, 1}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}}};
constexpr std::array<unsigned, 4> kClassOffsets{6, 3, 0, 1};
constexpr unsigned kCoarsestClass = 3;

double cosine(unsigned sixteenths) {
    return std::cos(sixteenths * std::numbers::pi / 16);
}

// The standard weakens coefficients by their frequency before it quantises them.
double weight(unsigned frequency) {
    switch (frequency) {
        case 1:
            return cosine(4) / (4 * cosine(7) * cosine(2));
        case 2:
            return cosine(4) / (2 * cosine(6));
        case 3:
            return 1 / (2 * cosine(5));
        default:
            return 1;
    }
}

double normal(unsigned frequency) {
    return frequency == 0 ? std::numbers::sqrt2 / 4 : 0.5;
}

// The mean of a frequency over two pixels.
double pairMean(unsigned frequency, unsigned pair) {
    return (cosine((4 * pair + 1) * frequency) + cosine((4 * pair + 3) * frequency)) / 2;
}

}  // namespace

HalfSizeDecoder::HalfSizeDecoder() {
    const auto fill = [](Pattern& pattern, double scale, auto valueAt) {
        for (unsigned y = 0; y < kBlockWidth; ++y) {
            for (unsigned x = 0; x < kBlockWidth; ++x) {
                pattern[y][x] = static_cast<float>(scale * valueAt(x, y));
            }
        }
    };
    static_assert(kOrderOfFrame.size() == kCoefficients);
    static_assert(2 * kOrderOfSums.size() == kCoefficients);
    for (unsigned i = 0; i < kOrderOfFrame.size(); ++i) {
        const Frequencies wave = kOrderOfFrame[i];
        fill(mPatterns[0][i],
             normal(wave.across) * normal(wave.down) / (weight(wave.across) * weight(wave.down)),
             [wave](unsigned x, unsigned y) {
                 return pairMean(wave.across, x) * pairMean(wave.down, y);
             });
    }
    for (unsigned i = 0; i < kOrderOfSums.size(); ++i) {
        const Frequencies wave = kOrderOfSums[i];
        fill(
            mPatterns[1][2 * i],
            normal(wave.across) * normal(wave.down) / (weight(wave.across) * weight(2 * wave.down)),
            [wave](unsigned x, unsigned y) {
                return pairMean(wave.across, x) * cosine((4 * y + 2) * wave.down);
            });
    }
    setSampling(dvframe::Sampling::k625Lines420);
}

void HalfSizeDecoder::setSampling(dvframe::Sampling sampling) {
    mSampling = sampling;
    mMacroBlocks = dvframe::macroBlocks(sampling);
    const int height = sampling == dvframe::Sampling::k525Lines411 ? 240 : 288;
    const bool is420 = sampling == dvframe::Sampling::k625Lines420;
    const int colourWidth = is420 ? kWidth / 2 : kWidth / 4;
    const int colourHeight = is420 ? height / 2 : height;
    mPicture[0] = {kWidth, height, {}};
    mPicture[1] = mPicture[2] = {colourWidth, colourHeight, {}};
    for (Plane& plane : mPicture) {
        plane.samples.assign(
            static_cast<std::size_t>(plane.width) * static_cast<std::size_t>(plane.height),
            static_cast<std::uint8_t>(kMiddle));
    }
}

const HalfSizeDecoder::Picture& HalfSizeDecoder::decode(std::span<const std::uint8_t> frame,
                                                        dvframe::Sampling sampling) {
    if (sampling != mSampling) {
        setSampling(sampling);
    }
    for (const dvframe::MacroBlock& block : mMacroBlocks) {
        if (block.offset + dvframe::kDIFBlockSize <= frame.size()) {
            decodeMacroBlock(frame.subspan(block.offset, dvframe::kDIFBlockSize), block);
        }
    }
    return mPicture;
}

void HalfSizeDecoder::decodeMacroBlock(std::span<const std::uint8_t> bytes,
                                       const dvframe::MacroBlock& block) {
    const unsigned quantisation = bytes[dvframe::kStatusOffset] & 0x0FU;
    const auto decodeArea = [&](std::size_t index) {
        const auto [offset, size] = dvframe::kBlockAreas[index];
        return decodeBlock(bytes.subspan(offset, size), quantisation);
    };
    const unsigned blocksAcross = block.isSquare ? 2 : 4;
    Plane& luma = mPicture[0];
    for (unsigned i = 0; i < dvframe::kLumaBlocks; ++i) {
        const unsigned x = kBlockWidth * (block.column + i % blocksAcross);
        const unsigned y = kBlockWidth * (block.row + i / blocksAcross);
        put(decodeArea(i), luma, x, y);
    }
    // A block of a colour covers the whole macro block, so that its place follows from that of the
    // luminance. In the half macro blocks at the right of 4:1:1 its right half goes below its left.
    const bool is420 = mSampling == dvframe::Sampling::k625Lines420;
    const unsigned x = kBlockWidth * block.column / (is420 ? 2 : 4);
    const unsigned y = kBlockWidth * block.row / (is420 ? 2 : 1);
    for (unsigned i = 0; i < 2; ++i) {
        const BlockPixels pixels = decodeArea(dvframe::kLumaBlocks + i);
        Plane& plane = mPicture[2 - i];
        if (block.isSquare && !is420) {
            putFolded(pixels, plane, x, y);
        } else {
            put(pixels, plane, x, y);
        }
    }
}

void HalfSizeDecoder::put(const BlockPixels& pixels, Plane& plane, unsigned x, unsigned y) {
    const auto stride = static_cast<unsigned>(plane.width);
    std::uint8_t* target = &plane.samples[y * stride + x];
    for (unsigned line = 0; line < kBlockWidth; ++line) {
        std::memcpy(target + line * stride, &pixels[line], sizeof pixels[line]);
    }
}

void HalfSizeDecoder::putFolded(const BlockPixels& pixels, Plane& plane, unsigned x, unsigned y) {
    const auto stride = static_cast<unsigned>(plane.width);
    for (unsigned i = 0; i < kBlockWidth * kBlockWidth; ++i) {
        const unsigned line = i / kBlockWidth;
        const unsigned column = i % kBlockWidth;
        const unsigned fold = column / (kBlockWidth / 2);
        plane.samples[(y + fold * kBlockWidth + line) * stride + x + column % (kBlockWidth / 2)] =
            pixels[line][column];
    }
}

HalfSizeDecoder::BlockPixels HalfSizeDecoder::decodeBlock(std::span<const std::uint8_t> area,
                                                          unsigned quantisation) const {
    CoefficientReader reader(area);
    const unsigned classNumber = reader.classNumber();
    const auto& shifts = kShifts[quantisation + kClassOffsets[classNumber]];
    const unsigned coarser = classNumber == kCoarsestClass ? 2 : 1;
    const std::array scales{static_cast<float>(1U << shifts[0] << coarser),
                            static_cast<float>(1U << shifts[1] << coarser)};
    const auto& patterns = mPatterns[reader.isOfFields() ? 1 : 0];
    // Half a step more, because the conversion to whole numbers cuts off.
    const Line mean = Line{} + (kMiddle + static_cast<float>(reader.mean()) / 2 + 0.5F);
    Pattern sums{mean, mean, mean, mean};
    while (reader.next() && reader.index() < kCoefficients) {
        const float value =
            static_cast<float>(reader.level()) * scales[reader.index() < kSecondArea ? 0 : 1];
        const Pattern& pattern = patterns[reader.index()];
        for (unsigned line = 0; line < kBlockWidth; ++line) {
            sums[line] += value * pattern[line];
        }
    }
    return limitedToBytes(sums);
}

HalfSizeDecoder::BlockPixels HalfSizeDecoder::limitedToBytes(const Pattern& sums) {
    BlockPixels pixels;
#ifdef __SSE2__
    // Packing limits sixteen values at once; compilers would go pixel by pixel.
    static_assert(sizeof pixels == sizeof(__m128i));
    const __m128i upper = _mm_packs_epi32(_mm_cvttps_epi32(sums[0]), _mm_cvttps_epi32(sums[1]));
    const __m128i lower = _mm_packs_epi32(_mm_cvttps_epi32(sums[2]), _mm_cvttps_epi32(sums[3]));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pixels.data()), _mm_packus_epi16(upper, lower));
#else
    constexpr Line kBlack{};
    constexpr Line kWhite = kBlack + 255.0F;
    for (unsigned line = 0; line < kBlockWidth; ++line) {
        const Line atLeastBlack = sums[line] > kBlack ? sums[line] : kBlack;
        const Line shown = atLeastBlack < kWhite ? atLeastBlack : kWhite;
        // Straight to bytes, compilers would go pixel by pixel.
        const auto whole = __builtin_convertvector(shown, LineOfNumbers);
        pixels[line] = __builtin_convertvector(whole, LineOfBytes);
    }
#endif
    return pixels;
}

}  // namespace takebox::decompression
