#include "platform/avc/ieee1394/ConfigROM.h"

#include <cstddef>

namespace takebox::avc {
namespace {

using ROM = std::span<const std::uint32_t>;

enum Key : std::uint32_t {
    kVendorID = 0x03,
    kModelID = 0x17,
    kTextLeaf = 0x81,
    kVendorDirectory = 0xC3,
    kUnitDirectory = 0xD1,
};

constexpr std::size_t kTextHeaderQuadlets = 2;
constexpr int kDepthMax = 3;

/// The quadlets of the directory or leaf at a place, without its header; cut at the ROM's end.
ROM contents(ROM rom, std::size_t place) {
    if (place >= rom.size()) {
        return {};
    }
    const std::size_t length = rom[place] >> 16;
    const std::size_t available = rom.size() - place - 1;
    return rom.subspan(place + 1, length < available ? length : available);
}

/// Text of a minimal ASCII leaf, without control characters and surrounding space.
std::string leafText(ROM rom, std::size_t place) {
    const ROM leaf = contents(rom, place);
    if (leaf.size() <= kTextHeaderQuadlets || leaf[0] != 0) {
        return {};
    }
    std::string text;
    for (const std::uint32_t quadlet : leaf.subspan(kTextHeaderQuadlets)) {
        for (int shift = 24; shift >= 0; shift -= 8) {
            const auto character = static_cast<unsigned char>(quadlet >> shift);
            if (character >= 0x20 && character < 0x7F) {
                text += static_cast<char>(character);
            }
        }
    }
    const auto first = text.find_first_not_of(' ');
    const auto last = text.find_last_not_of(' ');
    return first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
}

void setIfEmpty(std::string& name, const std::string& text) {
    if (name.empty()) {
        name = text;
    }
}

void readDirectory(ROM rom, std::size_t place, int depth, ConfigROMNames& names) {
    const ROM entries = contents(rom, place);
    std::uint32_t named = depth == 0 ? 0 : static_cast<std::uint32_t>(kVendorID);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const std::uint32_t key = entries[i] >> 24;
        const std::size_t target = place + 1 + i + (entries[i] & 0xFFFFFF);
        if (key == kTextLeaf) {
            // A text names the entry before it.
            if (named == kModelID) {
                setIfEmpty(names.model, leafText(rom, target));
            } else if (named == kVendorID || named == kVendorDirectory) {
                setIfEmpty(names.vendor, leafText(rom, target));
            }
        } else if ((key == kVendorDirectory || key == kUnitDirectory) && depth < kDepthMax) {
            readDirectory(rom, target, depth + 1, names);
        }
        named = key;
    }
}

}  // namespace

ConfigROMNames configROMNames(ROM rom) {
    ConfigROMNames names;
    if (!rom.empty()) {
        readDirectory(rom, 1 + (rom[0] >> 24), 0, names);
    }
    return names;
}

}  // namespace takebox::avc
