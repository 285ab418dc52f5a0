#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace takebox::decompression {

/// Reads the coefficients of one block of 8 x 8 pixels as far as they lie in the block's own area.
///
/// The coefficients of low frequencies come first. Any bytes are taken, also noise, and nothing
/// beyond the area is looked at.
/// @see IEC 61834-2 and SMPTE 314M, variable length coding.
class CoefficientReader {
public:
    /// @param area 9 to 15 bytes.
    explicit CoefficientReader(std::span<const std::uint8_t> area)
        : mNext(bigEndian(area.data())),
          // The last eight bytes, without those that are among the first eight.
          mRest(bigEndian(&area[area.size() - 8]) << 8 * (16 - area.size())),
          mBitsLeft(static_cast<int>(8 * area.size())),
          mHeader(static_cast<unsigned>(mNext >> (64 - kHeaderLength))) {
        skip(kHeaderLength);
    }

    /// Twice the difference of the block's mean value from the middle value: -256 to 255.
    [[nodiscard]] int mean() const { return static_cast<int>(mHeader << 20) >> 23; }
    /// DCT mode: two transforms of four lines, of the sums and the differences of the fields.
    [[nodiscard]] bool isOfFields() const { return (mHeader & 4) != 0; }
    /// 0 to 3: how coarsely the block is quantised, in relation to its macro block.
    [[nodiscard]] unsigned classNumber() const { return mHeader & 3; }

    /// Goes to the next coefficient that has a code word of its own or ends a row of zeros.
    /// @return false at the end of the block or of its area.
    bool next() {
        const auto bits = static_cast<unsigned>(mNext >> (64 - kPeeked));
        const Code code = bits < kFirstLong ? kTables.shortCodes[bits >> (kPeeked - kShortBits)]
                                            : kTables.longCodes[(bits - kFirstLong) >> 1];
        mIndex += code.advance;
        const auto sign = static_cast<int>(bits >> (kPeeked - code.length) & 1);
        mLevel = (code.amplitude ^ -sign) + sign;
        skip(code.length);
        return mBitsLeft >= 0 && code.advance != 0;
    }

    /// Place of the coefficient in the order of the DCT mode. The mean has 0; noise may exceed 63.
    [[nodiscard]] unsigned index() const { return mIndex; }
    /// Quantised value of the coefficient: -255 to 255.
    [[nodiscard]] int level() const { return mLevel; }

private:
    // A DCT block begins with nine bits of the mean, one of the mode and two of the class.
    static constexpr unsigned kHeaderLength = 12;
    // The longest code word has 16 bits. A word is found by its first 8 bits or, when the first
    // four are ones, by its first 15.
    static constexpr unsigned kPeeked = 16;
    static constexpr unsigned kShortBits = 8;
    static constexpr unsigned kLongBits = 15;
    static constexpr unsigned kFirstLong = 0xF000;

    // What a code word says: the bits that it takes, sign included; by how many coefficients it
    // advances (none at the end of the block); the amplitude of the last of them.
    struct alignas(4) Code {
        std::uint8_t length;
        std::uint8_t advance;
        std::int16_t amplitude;
    };
    struct Tables {
        constexpr Tables();
        constexpr void add(unsigned wordLength, unsigned word, Code code);

        std::array<Code, 1U << kShortBits> shortCodes{};
        std::array<Code, (0x10000 - kFirstLong) / 2> longCodes{};
    };
    static const Tables kTables;

    static std::uint64_t bigEndian(const std::uint8_t* bytes) {
        std::uint64_t value = 0;
        std::memcpy(&value, bytes, sizeof value);
        return std::endian::native == std::endian::little ? __builtin_bswap64(value) : value;
    }

    // 1 to 63 bits.
    void skip(unsigned length) {
        mNext = mNext << length | mRest >> (64 - length);
        mRest <<= length;
        mBitsLeft -= static_cast<int>(length);
    }

    std::uint64_t mNext;
    std::uint64_t mRest;  // zeros follow the area
    int mBitsLeft;
    unsigned mHeader;
    unsigned mIndex = 0;
    int mLevel = 0;
};

}  // namespace takebox::decompression
