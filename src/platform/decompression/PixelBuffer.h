#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace takebox::decompression {

/// One decoded picture. A pixel is a 32-bit word 0xFFRRGGBB in the machine's byte order; rows
/// follow each other from the top without padding.
struct PixelBuffer {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels;

    [[nodiscard]] int bytesPerRow() const { return width * 4; }
};

}  // namespace takebox::decompression
