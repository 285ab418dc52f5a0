#include "platform/decompression/ImageDescription.h"

#include <gtest/gtest.h>

namespace takebox::decompression {
namespace {

TEST(ImageDescription, describesNTSC) {
    const ImageDescription description = makeDVNTSCImageDescription();
    EXPECT_EQ(description.codecType, 0x64766320U);
    EXPECT_EQ(description.width, 720);
    EXPECT_EQ(description.height, 480);
    EXPECT_EQ(description.name, "DV - NTSC");
    EXPECT_EQ(description.displayWidth, 640);
    EXPECT_EQ(description.displayHeight, 480);
}

TEST(ImageDescription, describesPAL) {
    const ImageDescription description = makeDVPALImageDescription();
    EXPECT_EQ(description.codecType, 0x64766370U);
    EXPECT_EQ(description.width, 720);
    EXPECT_EQ(description.height, 576);
    EXPECT_EQ(description.name, "DV - PAL");
    EXPECT_EQ(description.displayWidth, 768);
    EXPECT_EQ(description.displayHeight, 576);
}

TEST(ImageDescription, hasTheSameBaseForBothStandards) {
    for (const auto& description : {makeDVNTSCImageDescription(), makeDVPALImageDescription()}) {
        EXPECT_EQ(description.dataReferenceIndex, 1);
        EXPECT_EQ(description.version, 0);
        EXPECT_EQ(description.revision, 0);
        EXPECT_EQ(description.vendor, 0U);
        EXPECT_EQ(description.temporalQuality, 0U);
        EXPECT_EQ(description.spatialQuality, 512U);
        EXPECT_EQ(description.horizontalResolution, 0x00480000U);
        EXPECT_EQ(description.verticalResolution, 0x00480000U);
        EXPECT_EQ(description.dataSize, 0U);
        EXPECT_EQ(description.frameCount, 0);
        EXPECT_EQ(description.depth, 24);
        EXPECT_EQ(description.colorTableID, -1);
        EXPECT_FALSE(description.color.has_value());
    }
}

}  // namespace
}  // namespace takebox::decompression
