#include "platform/avc/ieee1394/DVSignal.h"

#include <gtest/gtest.h>

#include <vector>

namespace takebox::avc {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(DVSignal, onlyTheSignalsOf25MegabitCanBeRecorded) {
    for (const int mode : {0x00, 0x80, 0x78, 0xF8}) {
        EXPECT_TRUE(signalOfFormatByte(static_cast<std::uint8_t>(mode)).isDV25) << mode;
    }
    for (const int mode : {0x04, 0x08, 0x70, 0x74, 0x84, 0x88, 0xF0, 0xF4, 0x10, 0x40}) {
        EXPECT_FALSE(signalOfFormatByte(static_cast<std::uint8_t>(mode)).isDV25) << mode;
    }
}

TEST(DVSignal, reservedBitsAreLeftOutOfTheMode) {
    EXPECT_EQ(signalOfFormatByte(0x83).dvMode, 0x80);
    EXPECT_EQ(signalOfFormatByte(0x7B).dvMode, 0x78);
}

TEST(DVSignal, readsThePlugsSignalFormat) {
    const auto pal = outputPlugSignal(Bytes{0x0C, 0xFF, 0x18, 0x00, 0x80, 0x80, 0xFF, 0xFF});
    ASSERT_TRUE(pal.has_value());
    EXPECT_TRUE(pal->isDV25);
    EXPECT_EQ(pal->dvMode, 0x80);
    const auto ntsc = outputPlugSignal(Bytes{0x0C, 0xFF, 0x18, 0x00, 0x80, 0x00, 0xFF, 0xFF});
    ASSERT_TRUE(ntsc.has_value());
    EXPECT_EQ(ntsc->dvMode, 0x00);
    const auto hdv = outputPlugSignal(Bytes{0x0C, 0xFF, 0x18, 0x00, 0xA0, 0x80, 0xFF, 0xFF});
    ASSERT_TRUE(hdv.has_value());
    EXPECT_FALSE(hdv->isDV25);
}

TEST(DVSignal, aDeviceThatDoesNotSayGivesNothing) {
    EXPECT_FALSE(outputPlugSignal(Bytes{0x08, 0xFF, 0x18, 0x00, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_FALSE(outputPlugSignal(Bytes{0x0C, 0xFF, 0x18, 0x00, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_FALSE(outputPlugSignal(Bytes{0x0C, 0xFF, 0x18, 0x00, 0x80, 0xFF, 0xFF, 0xFF}));
    EXPECT_FALSE(outputPlugSignal(Bytes{0x0C, 0xFF, 0x18}));
    EXPECT_FALSE(outputSignalMode(Bytes{0x08, 0x20, 0x78, 0xFF}));
    EXPECT_FALSE(outputSignalMode(Bytes{}));
    EXPECT_FALSE(hasTapeSubunit(Bytes{0x0A, 0xFF, 0x31, 0x07, 0x20, 0xFF, 0xFF, 0xFF}));
}

TEST(DVSignal, readsTheTapesSignalMode) {
    EXPECT_EQ(outputSignalMode(Bytes{0x0C, 0x20, 0x78, 0x00})->dvMode, 0x00);
    EXPECT_TRUE(outputSignalMode(Bytes{0x0C, 0x20, 0x78, 0x80})->isDV25);
    for (const int mode : {0x10, 0x90, 0x1A, 0x9A}) {
        EXPECT_FALSE(
            outputSignalMode(Bytes{0x0C, 0x20, 0x78, static_cast<std::uint8_t>(mode)})->isDV25);
    }
}

TEST(DVSignal, findsTheTapeAmongTheSubunits) {
    EXPECT_TRUE(hasTapeSubunit(Bytes{0x0C, 0xFF, 0x31, 0x07, 0x38, 0x20, 0xFF, 0xFF}).value());
    EXPECT_TRUE(hasTapeSubunit(Bytes{0x0C, 0xFF, 0x31, 0x07, 0x21, 0xFF, 0xFF, 0xFF}).value());
    EXPECT_FALSE(hasTapeSubunit(Bytes{0x0C, 0xFF, 0x31, 0x07, 0x38, 0xFF, 0xFF, 0xFF}).value());
}

TEST(DVSignal, everyModeHasAName) {
    EXPECT_STREQ(signalName(0x00), "DV, 525/60");
    EXPECT_STREQ(signalName(0x80), "DV, 625/50");
    EXPECT_STREQ(signalName(0x40), "unknown");
}

}  // namespace
}  // namespace takebox::avc
