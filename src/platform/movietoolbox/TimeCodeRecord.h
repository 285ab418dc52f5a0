#pragma once

#include <bit>
#include <cstdint>

namespace takebox {

/// An SMPTE time code in four bytes, or a number of seconds split into its fields.
struct TimeCodeRecord {
    std::uint8_t hours = 0;
    std::uint8_t minutes = 0;
    std::uint8_t seconds = 0;
    std::uint8_t frames = 0;

    /// The same four bytes read as one signed number.
    [[nodiscard]] constexpr std::int32_t counter() const {
        return std::bit_cast<std::int32_t>(*this);
    }
    [[nodiscard]] static constexpr TimeCodeRecord fromCounter(std::int32_t counter) {
        return std::bit_cast<TimeCodeRecord>(counter);
    }

    friend constexpr bool operator==(const TimeCodeRecord&, const TimeCodeRecord&) = default;
};
static_assert(sizeof(TimeCodeRecord) == 4);

}  // namespace takebox
