#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace takebox::decompression {

/// A four-character code as it is written in QuickTime files: first character in the top byte.
[[nodiscard]] constexpr std::uint32_t fourCharCode(const char (&code)[5]) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
        value = value << 8U | static_cast<std::uint8_t>(code[i]);
    }
    return value;
}

/// Colour parameters of a description: codes of ITU-T H.273.
struct ColorParameters {
    std::uint16_t primaries = 0;
    std::uint16_t transferFunction = 0;
    std::uint16_t matrix = 0;

    friend bool operator==(const ColorParameters&, const ColorParameters&) = default;
};

/// What a picture stream holds: the QuickTime image description, with its extensions as optional
/// members.
/// @see QuickTime File Format, video sample description.
struct ImageDescription {
    static constexpr std::size_t kSize = 86;             ///< bytes of the structure in a file
    static constexpr std::uint32_t kCodecName = 31;      ///< characters of the name at most
    static constexpr std::uint32_t k72dpi = 0x00480000;  ///< 16.16 fixed point

    std::uint32_t codecType = 0;
    std::uint16_t dataReferenceIndex = 1;
    std::uint16_t version = 0;
    std::uint16_t revision = 0;
    std::uint32_t vendor = 0;
    std::uint32_t temporalQuality = 0;
    std::uint32_t spatialQuality = 512;
    std::uint16_t width = 0;   ///< stored pixels, not square in DV
    std::uint16_t height = 0;  ///< lines of both fields
    std::uint32_t horizontalResolution = k72dpi;
    std::uint32_t verticalResolution = k72dpi;
    std::uint32_t dataSize = 0;
    std::uint16_t frameCount = 0;
    std::string name;
    std::uint16_t depth = 24;
    std::int16_t colorTableID = -1;

    std::optional<int> displayWidth;   ///< square pixels
    std::optional<int> displayHeight;  ///< square pixels
    std::optional<ColorParameters> color;
};

/// 720 x 480 DV, shown as 640 x 480.
[[nodiscard]] ImageDescription makeDVNTSCImageDescription();

/// 720 x 576 DV, shown as 768 x 576.
[[nodiscard]] ImageDescription makeDVPALImageDescription();

}  // namespace takebox::decompression
