#include "platform/avc/ieee1394/ConfigROM.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace takebox::avc {
namespace {

using ROM = std::vector<std::uint32_t>;

/// Builds a ROM piece by piece; directories are given with the places of what they point to.
class Builder {
public:
    Builder() : mRom{0x04040000, 0x31333934, 0xE0008000, 0x08004601, 0x12345678} {}

    std::size_t leaf(std::string_view text) {
        const std::size_t place = mRom.size();
        const std::size_t quadlets = (text.size() + 3) / 4;
        mRom.push_back(static_cast<std::uint32_t>((quadlets + 2) << 16));
        mRom.push_back(0);
        mRom.push_back(0);
        for (std::size_t i = 0; i < quadlets * 4; i += 4) {
            std::uint32_t quadlet = 0;
            for (std::size_t j = 0; j < 4; ++j) {
                const auto character =
                    i + j < text.size() ? static_cast<unsigned char>(text[i + j]) : 0U;
                quadlet = quadlet << 8 | character;
            }
            mRom.push_back(quadlet);
        }
        return place;
    }

    /// Room for a directory, filled by set().
    std::size_t directory(std::size_t entries) {
        const std::size_t place = mRom.size();
        mRom.resize(mRom.size() + entries + 1);
        mRom[place] = static_cast<std::uint32_t>(entries << 16);
        return place;
    }
    void value(std::size_t directory, std::size_t entry, std::uint32_t key, std::uint32_t number) {
        mRom[directory + 1 + entry] = key << 24 | number;
    }
    void pointer(std::size_t directory, std::size_t entry, std::uint32_t key, std::size_t target) {
        value(directory, entry, key, static_cast<std::uint32_t>(target - directory - 1 - entry));
    }

    [[nodiscard]] const ROM& rom() const { return mRom; }

private:
    ROM mRom;
};

TEST(ConfigROM, namesBesideVendorAndModelInTheRootDirectory) {
    Builder builder;
    const auto root = builder.directory(4);
    builder.value(root, 0, 0x03, 0x00A0DE);
    builder.pointer(root, 1, 0x81, builder.leaf("Nordlicht"));
    builder.value(root, 2, 0x17, 1);
    builder.pointer(root, 3, 0x81, builder.leaf("DV-100 "));
    const auto names = configROMNames(builder.rom());
    EXPECT_EQ(names.vendor, "Nordlicht");
    EXPECT_EQ(names.model, "DV-100");
}

TEST(ConfigROM, modelNameInTheUnitDirectory) {
    Builder builder;
    const auto root = builder.directory(3);
    builder.value(root, 0, 0x03, 0x00A0DE);
    builder.pointer(root, 1, 0x81, builder.leaf("Nordlicht"));
    const auto unit = builder.directory(4);
    builder.pointer(root, 2, 0xD1, unit);
    builder.value(unit, 0, 0x12, 0x00A02D);
    builder.value(unit, 1, 0x13, 0x010001);
    builder.value(unit, 2, 0x17, 7);
    builder.pointer(unit, 3, 0x81, builder.leaf("Cam 7"));
    const auto names = configROMNames(builder.rom());
    EXPECT_EQ(names.vendor, "Nordlicht");
    EXPECT_EQ(names.model, "Cam 7");
}

TEST(ConfigROM, oldLayoutWithAVendorDirectory) {
    Builder builder;
    const auto root = builder.directory(2);
    builder.value(root, 0, 0x03, 0x00A0DE);
    const auto vendor = builder.directory(3);
    builder.pointer(root, 1, 0xC3, vendor);
    builder.pointer(vendor, 0, 0x81, builder.leaf("Nordlicht"));
    builder.value(vendor, 1, 0x17, 9);
    builder.pointer(vendor, 2, 0x81, builder.leaf("Old Cam"));
    const auto names = configROMNames(builder.rom());
    EXPECT_EQ(names.vendor, "Nordlicht");
    EXPECT_EQ(names.model, "Old Cam");
}

TEST(ConfigROM, hasNoNamesWhereThereAreNone) {
    EXPECT_EQ(configROMNames({}).vendor, "");
    Builder builder;
    const auto root = builder.directory(1);
    builder.value(root, 0, 0x03, 0x00A0DE);
    EXPECT_EQ(configROMNames(builder.rom()).vendor, "");
    EXPECT_EQ(configROMNames(builder.rom()).model, "");
}

TEST(ConfigROM, damagedOnesAreReadWithinTheirBounds) {
    Builder builder;
    const auto root = builder.directory(4);
    builder.value(root, 0, 0x03, 0x00A0DE);
    builder.pointer(root, 1, 0x81, builder.leaf("Nordlicht"));
    builder.pointer(root, 2, 0xD1, root);  // a directory that contains itself
    builder.value(root, 3, 0xC3, 0xFFFFFF);
    auto rom = builder.rom();
    EXPECT_EQ(configROMNames(rom).vendor, "Nordlicht");
    std::uint32_t state = 99;
    for (int round = 0; round < 2000; ++round) {
        auto damaged = rom;
        for (int change = 0; change < 3; ++change) {
            state = state * 1664525U + 1013904223U;
            damaged[(state >> 8) % damaged.size()] ^= state;
        }
        damaged.resize(1 + (state >> 4) % damaged.size());
        static_cast<void>(configROMNames(damaged));
    }
}

}  // namespace
}  // namespace takebox::avc
