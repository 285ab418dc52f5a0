#include "storage/FrameRanges.h"

#include <gtest/gtest.h>

namespace takebox {
namespace {

TEST(FrameRanges, countFramesThatAreInSeveralOnce) {
    EXPECT_EQ(countFrames({}), 0U);
    EXPECT_EQ(countFrames({{5, 10}, {0, 5}}), 15U);
    EXPECT_EQ(countFrames({{0, 10}, {5, 10}}), 15U);
    EXPECT_EQ(countFrames({{0, 100}, {20, 10}, {90, 20}, {200, 1}}), 111U);
    EXPECT_EQ(countFrames({{7, 3}, {7, 3}, {7, 1}}), 3U);
}

TEST(FrameRanges, refusedFramesInARowAreOneRange) {
    RefusedFrames refused;
    refused.add({10, 5});
    refused.add({15, 5});
    refused.add({20, 0});
    refused.add({30, 5});
    const FrameRanges ranges = refused.ranges();
    ASSERT_EQ(ranges.size(), 2U);
    EXPECT_EQ(ranges[0].first, 10U);
    EXPECT_EQ(ranges[0].count, 10U);
    EXPECT_EQ(ranges[1].first, 30U);
}

}  // namespace
}  // namespace takebox
