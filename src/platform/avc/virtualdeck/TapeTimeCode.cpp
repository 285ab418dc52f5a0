#include "platform/avc/virtualdeck/TapeTimeCode.h"

#include <QRegularExpression>
#include <algorithm>
#include <cstdio>

namespace takebox::avc {
namespace {

constexpr std::uint8_t toBCD(std::uint8_t value) {
    return static_cast<std::uint8_t>((value / 10) << 4 | value % 10);
}

constexpr std::uint8_t fromBCD(std::uint8_t byte, std::uint8_t tensMask) {
    return static_cast<std::uint8_t>(((byte & tensMask) >> 4) * 10 + (byte & 0x0F));
}

}  // namespace

std::optional<TapeTimeCode> TapeTimeCode::parse(const QString& text) {
    static const QRegularExpression form(
        QStringLiteral("^([01][0-9]|2[0-3]):([0-5][0-9]):([0-5][0-9]):([0-2][0-9])$"));
    const auto match = form.match(text);
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    const auto field = [&match](int index) {
        return static_cast<std::uint8_t>(match.captured(index).toUInt());
    };
    return TapeTimeCode{field(1), field(2), field(3), field(4)};
}

TapeTimeCode TapeTimeCode::advancedBy(std::uint64_t frameCount, DVStandard standard) const {
    const std::uint64_t rate = nominalRate(standard);
    std::uint64_t count = ((hours * 60ULL + minutes) * 60 + seconds) * rate + frames;
    count = (count + frameCount) % (24ULL * 3600 * rate);
    const std::uint64_t inSeconds = count / rate;
    return {static_cast<std::uint8_t>(inSeconds / 3600),
            static_cast<std::uint8_t>(inSeconds / 60 % 60),
            static_cast<std::uint8_t>(inSeconds % 60), static_cast<std::uint8_t>(count % rate)};
}

std::array<char, 12> TapeTimeCode::text() const {
    std::array<char, 12> result{"00:00:00:00"};
    const auto put = [&result](std::size_t position, std::uint8_t value) {
        result[position] = static_cast<char>('0' + value / 10 % 10);
        result[position + 1] = static_cast<char>('0' + value % 10);
    };
    put(0, hours);
    put(3, minutes);
    put(6, seconds);
    put(9, frames);
    return result;
}

std::array<std::uint8_t, 4> TapeTimeCode::packData() const {
    return {toBCD(frames), toBCD(seconds), toBCD(minutes), toBCD(hours)};
}

std::optional<TapeTimeCode> TapeTimeCode::fromPackData(std::span<const std::uint8_t, 4> data) {
    if (std::all_of(data.begin(), data.end(), [](std::uint8_t byte) { return byte == 0xFF; })) {
        return std::nullopt;
    }
    return TapeTimeCode{fromBCD(data[3], 0x30), fromBCD(data[2], 0x70), fromBCD(data[1], 0x70),
                        fromBCD(data[0], 0x30)};
}

}  // namespace takebox::avc
