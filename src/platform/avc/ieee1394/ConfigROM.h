#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace takebox::avc {

/// The names in a device's configuration ROM. Empty where it has none.
struct ConfigROMNames {
    std::string vendor;
    std::string model;
};

/// Reads the names out of a configuration ROM (IEEE 1212), in the layout of today and in the older
/// one with a vendor directory, which the kernel does not look into. Any content is safe to pass.
/// @param rom quadlets from the start of the bus information block, in the host's byte order.
[[nodiscard]] ConfigROMNames configROMNames(std::span<const std::uint32_t> rom);

}  // namespace takebox::avc
