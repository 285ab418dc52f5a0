#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace takebox::decompression {

/// Writes the bits of a DCT block for tests.
class BlockWriter {
public:
    BlockWriter& put(unsigned length, unsigned bits) {
        for (unsigned i = length; i-- > 0; ++mPosition) {
            const unsigned bit = bits >> i & 1;
            mBytes.at(mPosition / 8) |= static_cast<std::uint8_t>(bit << (7 - mPosition % 8));
        }
        return *this;
    }
    BlockWriter& header(int mean, unsigned mode = 0, unsigned classNumber = 0) {
        return put(9, static_cast<unsigned>(mean) & 0x1FF).put(1, mode).put(2, classNumber);
    }
    BlockWriter& endOfBlock() { return put(4, 0b0110); }
    [[nodiscard]] std::span<const std::uint8_t> area(std::size_t size = 14) const {
        return {mBytes.data(), size};
    }

private:
    std::array<std::uint8_t, 20> mBytes{};
    unsigned mPosition = 0;
};

}  // namespace takebox::decompression
