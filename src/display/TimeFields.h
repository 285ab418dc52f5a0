#pragma once

#include <QString>
#include <QVariant>
#include <array>
#include <cstdint>
#include <optional>

/// What the formatters of times have in common.
namespace takebox {

/// The value as seconds; nothing when it is of a kind that has no number in it.
[[nodiscard]] std::optional<double> secondsOfValue(const QVariant& value);

/// A whole number in an 8-bit field: its lowest eight bits. A value that no integer holds gives 0.
[[nodiscard]] std::uint8_t byteField(double wholeNumber);

/// Reads the decimal digits of a text in pairs from the right, whatever stands between them:
/// result[0] is the last pair. Groups that the text does not reach are 0, and a pair is not checked
/// against a range. Nothing when there is no digit, or more than two for each of the groups.
template <std::size_t Groups>
[[nodiscard]] std::optional<std::array<std::uint8_t, Groups>> digitPairs(const QString& text) {
    std::array<std::uint8_t, Groups> pairs{};
    std::size_t count = 0;
    for (qsizetype i = text.size() - 1; i >= 0; --i) {
        const int digit = text.at(i).digitValue();
        if (digit < 0 || !text.at(i).isDigit()) {
            continue;
        }
        if (count == Groups * 2) {
            return std::nullopt;
        }
        auto& pair = pairs.at(count / 2);
        pair = static_cast<std::uint8_t>(count % 2 == 0 ? digit : pair + 10 * digit);
        ++count;
    }
    return count == 0 ? std::nullopt : std::optional(pairs);
}

}  // namespace takebox
