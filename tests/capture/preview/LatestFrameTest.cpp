#include "capture/preview/LatestFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

namespace takebox {
namespace {

TEST(LatestFrame, hasNothingBeforeTheFirstFrame) {
    LatestFrame frames;
    LatestFrame::Frame frame;
    EXPECT_FALSE(frames.take(frame));
}

TEST(LatestFrame, givesEachFrameOnceAndOnlyTheNewest) {
    LatestFrame frames;
    LatestFrame::Frame frame;
    const std::vector<std::uint8_t> one(120000, 1);
    const std::vector<std::uint8_t> two(144000, 2);
    frames.offer(one.data(), one.size());
    frames.offer(two.data(), two.size());
    ASSERT_TRUE(frames.take(frame));
    EXPECT_EQ(frame.number, 2U);
    EXPECT_TRUE(std::ranges::equal(frame.bytes, two));
    EXPECT_FALSE(frames.take(frame));
    frames.offer(one.data(), one.size());
    ASSERT_TRUE(frames.take(frame));
    EXPECT_EQ(frame.number, 3U);
}

TEST(LatestFrame, keepsATakenFrameWhileOthersArrive) {
    LatestFrame frames;
    LatestFrame::Frame frame;
    const std::vector<std::uint8_t> one(1000, 1);
    const std::vector<std::uint8_t> two(1000, 2);
    frames.offer(one.data(), one.size());
    ASSERT_TRUE(frames.take(frame));
    for (int i = 0; i < 5; ++i) {
        frames.offer(two.data(), two.size());
    }
    EXPECT_TRUE(std::ranges::equal(frame.bytes, one));
}

TEST(LatestFrame, cutsWhatIsTooLongAndTakesWhatIsEmpty) {
    LatestFrame frames;
    LatestFrame::Frame frame;
    const std::vector<std::uint8_t> tooLong(LatestFrame::kCapacity + 1, 3);
    frames.offer(tooLong.data(), tooLong.size());
    ASSERT_TRUE(frames.take(frame));
    EXPECT_EQ(frame.bytes.size(), LatestFrame::kCapacity);
    frames.offer(nullptr, 120000);
    ASSERT_TRUE(frames.take(frame));
    EXPECT_TRUE(frame.bytes.empty());
}

TEST(LatestFrame, neverShowsAFrameThatIsBeingWritten) {
    constexpr int kFrames = 3000;
    LatestFrame frames;
    std::jthread writer([&frames] {
        std::vector<std::uint8_t> bytes(20000);
        for (int i = 1; i <= kFrames; ++i) {
            std::ranges::fill(bytes, static_cast<std::uint8_t>(i));
            frames.offer(bytes.data(), bytes.size());
        }
    });
    std::uint64_t last = 0;
    while (last < kFrames) {
        LatestFrame::Frame frame;
        if (!frames.take(frame)) {
            std::this_thread::yield();
            continue;
        }
        ASSERT_GT(frame.number, last);
        last = frame.number;
        const auto expected = static_cast<std::uint8_t>(last);
        ASSERT_TRUE(
            std::ranges::all_of(frame.bytes, [expected](std::uint8_t b) { return b == expected; }));
    }
}

}  // namespace
}  // namespace takebox
