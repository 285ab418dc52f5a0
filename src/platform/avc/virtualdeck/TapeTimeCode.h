#pragma once

#include <QString>
#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/avc/virtualdeck/DIFFrame.h"

namespace takebox::avc {

/// A time code as it stands on a tape; counted without dropping frames.
struct TapeTimeCode {
    std::uint8_t hours = 0;
    std::uint8_t minutes = 0;
    std::uint8_t seconds = 0;
    std::uint8_t frames = 0;

    friend constexpr bool operator==(const TapeTimeCode&, const TapeTimeCode&) = default;

    /// Reads "hh:mm:ss:ff"; nothing when it is written otherwise or out of range (frames: 0 to 29).
    [[nodiscard]] static std::optional<TapeTimeCode> parse(const QString& text);
    /// The time code this many frames later, round midnight.
    [[nodiscard]] TapeTimeCode advancedBy(std::uint64_t frameCount, DVStandard standard) const;
    /// "hh:mm:ss:ff"
    [[nodiscard]] std::array<char, 12> text() const;

    /// The data bytes of a time code pack: binary coded decimal, all flags off.
    [[nodiscard]] std::array<std::uint8_t, 4> packData() const;
    /// Reads the data bytes of a time code pack, whatever its flags; nothing when they are all set,
    /// which means no time code.
    [[nodiscard]] static std::optional<TapeTimeCode> fromPackData(
        std::span<const std::uint8_t, 4> data);
};

}  // namespace takebox::avc
