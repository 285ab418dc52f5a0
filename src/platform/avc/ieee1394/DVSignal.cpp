#include "platform/avc/ieee1394/DVSignal.h"

#include <algorithm>

#include "platform/avc/ieee1394/FCPMatcher.h"

namespace takebox::avc {
namespace {

struct Mode {
    std::uint8_t mode;
    bool isDV25;
    const char* name;
};

// Signal types of IEC 61883-2 and the maker's extensions to it, for both video systems.
constexpr std::array kModes{
    Mode{0x00, true, "DV, 525/60"},        Mode{0x80, true, "DV, 625/50"},
    Mode{0x04, false, "DV SDL, 525/60"},   Mode{0x84, false, "DV SDL, 625/50"},
    Mode{0x08, false, "DV HD, 1125/60"},   Mode{0x88, false, "DV HD, 1250/50"},
    Mode{0x70, false, "DVCPRO HD, 60 Hz"}, Mode{0xF0, false, "DVCPRO HD, 50 Hz"},
    Mode{0x74, false, "DVCPRO50, 525/60"}, Mode{0xF4, false, "DVCPRO50, 625/50"},
    Mode{0x78, true, "DVCPRO 25, 525/60"}, Mode{0xF8, true, "DVCPRO 25, 625/50"},
};

constexpr std::uint8_t kReservedBits = 0x03;
constexpr std::uint8_t kPlugFormatDV = 0x80;
constexpr std::uint8_t kNoInformation = 0xFF;
constexpr std::uint8_t kTapeSubunit = 0x20;
constexpr std::uint8_t kSubunitTypeMask = 0xF8;
// Signal modes of tape subunits that are transport streams, not DV.
constexpr std::array<std::uint8_t, 4> kSignalModesHDV{0x10, 0x90, 0x1A, 0x9A};

const Mode* findMode(std::uint8_t mode) {
    const auto* const found = std::find_if(kModes.begin(), kModes.end(),
                                           [mode](const Mode& row) { return row.mode == mode; });
    return found != kModes.end() ? found : nullptr;
}

bool isStatus(std::span<const std::uint8_t> answer, std::size_t size) {
    return answer.size() >= size && (answer[0] == kStable || answer[0] == kInTransition);
}

}  // namespace

DVSignal signalOfFormatByte(std::uint8_t format) {
    const auto mode = static_cast<std::uint8_t>(format & ~kReservedBits);
    const Mode* const row = findMode(mode);
    return {row != nullptr && row->isDV25, mode};
}

std::optional<DVSignal> outputPlugSignal(std::span<const std::uint8_t> answer) {
    if (!isStatus(answer, 6) || answer[4] == kNoInformation) {
        return std::nullopt;
    }
    if (answer[4] != kPlugFormatDV) {
        return DVSignal{};
    }
    if (answer[5] == kNoInformation) {
        return std::nullopt;
    }
    return signalOfFormatByte(answer[5]);
}

std::optional<DVSignal> outputSignalMode(std::span<const std::uint8_t> answer) {
    if (!isStatus(answer, 4) || answer[3] == kNoInformation) {
        return std::nullopt;
    }
    if (std::find(kSignalModesHDV.begin(), kSignalModesHDV.end(), answer[3]) !=
        kSignalModesHDV.end()) {
        return DVSignal{};
    }
    return signalOfFormatByte(answer[3]);
}

std::optional<bool> hasTapeSubunit(std::span<const std::uint8_t> answer) {
    if (!isStatus(answer, 8)) {
        return std::nullopt;
    }
    const auto page = answer.subspan(4, 4);
    return std::any_of(page.begin(), page.end(), [](std::uint8_t entry) {
        return (entry & kSubunitTypeMask) == kTapeSubunit;
    });
}

const char* signalName(std::uint8_t dvMode) {
    const Mode* const row = findMode(dvMode);
    return row != nullptr ? row->name : "unknown";
}

}  // namespace takebox::avc
