#include "platform/avc/virtualdeck/FrameSchedule.h"

#include <gtest/gtest.h>

namespace takebox::avc {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

TEST(FrameSchedule, thirtyThousandNTSCFramesLast1001Seconds) {
    EXPECT_EQ(FrameSchedule::duration(DVStandard::kNTSC, 30'000, kRealTime), 1001 * kSecond);
    EXPECT_EQ(FrameSchedule::duration(DVStandard::kNTSC, 1, kRealTime), 33'366'666);
}

TEST(FrameSchedule, twentyFivePALFramesLastOneSecond) {
    EXPECT_EQ(FrameSchedule::duration(DVStandard::kPAL, 25, kRealTime), kSecond);
    EXPECT_EQ(FrameSchedule::duration(DVStandard::kPAL, 25 * 3600, kRealTime), 3600 * kSecond);
}

TEST(FrameSchedule, roundingDoesNotAddUpOverAnHourOrAYear) {
    FrameSchedule schedule(kRealTime);
    schedule.restart(5 * kSecond);
    // 107,892 frames: the first frame after an hour of 29.97 frames a second.
    const std::int64_t frames = 107'892;
    for (std::int64_t frame = 0; frame < frames; ++frame) {
        schedule.advance(DVStandard::kNTSC);
    }
    EXPECT_EQ(schedule.due(), 5 * kSecond + frames * 100'100'000 / 3);
    EXPECT_NEAR(static_cast<double>(schedule.due()) / kSecond, 5 + 3600, 0.01);

    const std::int64_t year = 30'000LL * 31'504;  // 1001-second stretches in a year
    EXPECT_EQ(FrameSchedule::duration(DVStandard::kNTSC, year, kRealTime), 1001 * kSecond * 31'504);
}

TEST(FrameSchedule, speedDividesTheTimeWithoutOverflow) {
    EXPECT_EQ(FrameSchedule::duration(DVStandard::kPAL, 25, 2 * kRealTime), kSecond / 2);
    EXPECT_EQ(FrameSchedule::duration(DVStandard::kPAL, 25, kRealTime / 4), 4 * kSecond);
    EXPECT_EQ(FrameSchedule::duration(DVStandard::kNTSC, 30'000, kFastest), 1001 * kSecond / 1000);
    const std::int64_t many = 30'000LL * 1000 * 100'000;
    EXPECT_EQ(FrameSchedule::duration(DVStandard::kNTSC, many, kFastest), 1001 * kSecond * 100'000);
}

TEST(FrameSchedule, aFrameLastsByItsOwnStandard) {
    FrameSchedule schedule(kRealTime);
    schedule.restart(0);
    EXPECT_EQ(schedule.due(), 0);
    for (int frame = 0; frame < 3; ++frame) {
        schedule.advance(DVStandard::kPAL);
    }
    EXPECT_EQ(schedule.due(), 120'000'000);
    for (int frame = 0; frame < 3; ++frame) {
        schedule.advance(DVStandard::kNTSC);
    }
    EXPECT_EQ(schedule.due(), 220'100'000);
    schedule.advance(DVStandard::kPAL);
    EXPECT_EQ(schedule.due(), 260'100'000);
}

TEST(FrameSchedule, aDelayPutsOffWhatFollows) {
    FrameSchedule schedule(kRealTime);
    schedule.restart(0);
    schedule.advance(DVStandard::kPAL);
    schedule.delay(7);
    EXPECT_EQ(schedule.due(), 40'000'007);
    schedule.advance(DVStandard::kPAL);
    EXPECT_EQ(schedule.due(), 80'000'007);
}

}  // namespace
}  // namespace takebox::avc
