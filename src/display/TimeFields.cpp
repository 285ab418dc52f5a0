#include "display/TimeFields.h"

#include <cmath>

namespace takebox {

std::optional<double> secondsOfValue(const QVariant& value) {
    if (!value.isValid() || !value.canConvert<double>()) {
        return std::nullopt;
    }
    return value.toDouble();
}

std::uint8_t byteField(double wholeNumber) {
    // Beyond this a double cannot be converted to an integer at all.
    constexpr double kLimit = 9.0e18;
    if (!(std::fabs(wholeNumber) < kLimit)) {
        return 0;
    }
    return static_cast<std::uint8_t>(static_cast<std::int64_t>(wholeNumber));
}

}  // namespace takebox
