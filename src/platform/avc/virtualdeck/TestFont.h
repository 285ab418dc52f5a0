#pragma once

#include <array>
#include <cstdint>

namespace takebox::avc {

inline constexpr int kGlyphWidth = 5;
inline constexpr int kGlyphHeight = 7;

/// Rows from the top; bit 4 is the leftmost dot.
using Glyph = std::array<std::uint8_t, kGlyphHeight>;

/// Letters (small ones are shown as capitals), digits and some signs; empty for anything else.
[[nodiscard]] const Glyph& testGlyph(char character);

}  // namespace takebox::avc
