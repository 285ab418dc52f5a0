#include "platform/movietoolbox/SampleDescriptions.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "platform/movietoolbox/Status.h"

namespace takebox::test {
namespace {

using namespace movietoolbox;

AudioStreamBasicDescription stereo() {
    return {48000.0, fourCC("lpcm"), 6, 4, 1, 4, 2, 16};
}

TEST(SoundDescription, describesSixteenBitBigEndianStereo) {
    const auto description = QTSoundDescriptionCreate(stereo());
    ASSERT_TRUE(description);
    EXPECT_EQ(description->dataFormat, fourCC("twos"));
    EXPECT_EQ(description->numChannels, 2);
    EXPECT_EQ(description->sampleSize, 16);
    EXPECT_EQ(description->sampleRate, 48000U << 16);
    EXPECT_EQ(description->samplesPerPacket, 1U);
    EXPECT_EQ(description->bytesPerPacket, 2U);
    EXPECT_EQ(description->bytesPerFrame, 4U);
    EXPECT_EQ(description->bytesPerSample, 2U);
}

TEST(SoundDescription, isNotMadeOfAStreamThatItWouldMisrepresent) {
    auto littleEndian = stereo();
    littleEndian.mFormatFlags = AudioStreamBasicDescription::kIsSignedInteger;
    EXPECT_FALSE(QTSoundDescriptionCreate(littleEndian));
    auto deep = stereo();
    deep.mBitsPerChannel = 24;
    EXPECT_FALSE(QTSoundDescriptionCreate(deep));
    auto fast = stereo();
    fast.mSampleRate = 96000.0;
    EXPECT_FALSE(QTSoundDescriptionCreate(fast));
    auto compressed = stereo();
    compressed.mFormatID = fourCC("aac ");
    EXPECT_FALSE(QTSoundDescriptionCreate(compressed));
}

TEST(AudioChannelLayout, hasATagForStereoButNotForTwoMonoChannels) {
    AudioChannelLayout layout;
    layout.mNumberChannelDescriptions = 2;
    layout.mChannelDescriptions[0].mChannelLabel = 1;
    layout.mChannelDescriptions[1].mChannelLabel = 2;
    EXPECT_EQ(tagForChannelDescriptions(layout), 0x650002U);
    layout.mChannelDescriptions[0].mChannelLabel = 42;
    layout.mChannelDescriptions[1].mChannelLabel = 42;
    EXPECT_EQ(tagForChannelDescriptions(layout), std::nullopt);
    layout.mNumberChannelDescriptions = 1;
    EXPECT_EQ(tagForChannelDescriptions(layout), 0x640001U);
}

struct FrameNumber {
    std::uint32_t flags;
    std::uint8_t framesPerSecond;
    std::uint8_t hours, minutes, seconds, frames;
    std::uint32_t number;
};
class TimeCodeNumber : public testing::TestWithParam<FrameNumber> {};

TEST_P(TimeCodeNumber, countsFromMidnight) {
    const auto& row = GetParam();
    const TimeCodeDef definition{row.flags, 0, 100, row.framesPerSecond};
    EXPECT_EQ(TCTimeCodeToFrameNumber(definition, row.hours, row.minutes, row.seconds, row.frames),
              row.number);
}
INSTANTIATE_TEST_SUITE_P(
    Examples, TimeCodeNumber,
    testing::Values(FrameNumber{2, 25, 0, 0, 0, 0, 0}, FrameNumber{2, 25, 1, 0, 0, 0, 90000},
                    FrameNumber{2, 25, 23, 59, 59, 24, 2159999},
                    FrameNumber{2, 30, 23, 59, 59, 29, 2591999},
                    FrameNumber{3, 30, 0, 0, 59, 29, 1799}, FrameNumber{3, 30, 0, 1, 0, 2, 1800},
                    FrameNumber{3, 30, 0, 10, 0, 0, 17982}, FrameNumber{3, 30, 1, 0, 0, 0, 107892},
                    FrameNumber{3, 30, 23, 59, 59, 29, 2589407}));

TEST(Status, standsForTheReasonsThatUsersMeet) {
    EXPECT_EQ(statusOfErrno(0), 0);
    EXPECT_EQ(statusOfErrno(ENOSPC), -34);
    EXPECT_EQ(statusOfErrno(ENOENT), -43);
    EXPECT_EQ(statusOfErrno(EACCES), -54);
    EXPECT_EQ(statusOfErrno(EIO), -36);
    EXPECT_EQ(statusOfErrno(12345), -36);
}

}  // namespace
}  // namespace takebox::test
