#pragma once

#include <cstdint>

namespace takebox::movietoolbox {

/// Four characters that name an atom, a media type or a codec, first character highest.
using FourCharCode = std::uint32_t;

[[nodiscard]] consteval FourCharCode fourCC(const char (&text)[5]) {
    FourCharCode code = 0;
    for (int i = 0; i < 4; ++i) {
        code = code << 8 | static_cast<unsigned char>(text[i]);
    }
    return code;
}

}  // namespace takebox::movietoolbox
