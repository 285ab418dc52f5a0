#pragma once

#include <cmath>

namespace takebox {

/// Amplitude to decibels: 1 is 0 dB, 0 is minus infinity.
[[nodiscard]] inline double ampdb(double amplitude) {
    return 20 * std::log10(amplitude);
}

/// Decibels to amplitude: 0 dB is 1.
[[nodiscard]] inline double dbamp(double decibels) {
    return std::pow(10, 0.05 * decibels);
}

}  // namespace takebox
