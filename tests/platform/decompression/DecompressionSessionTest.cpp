#include "platform/decompression/DecompressionSession.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QRect>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>

#include "support/DVMaterial.h"
#include "support/Samples.h"

namespace takebox::decompression {
namespace {

struct DecompressionSessionTest : ::testing::Test {
    int calls = 0;
    int lastStatus = 0;
    std::uint32_t lastFlags = 0;
    std::int64_t lastTime = -1;
    PixelBuffer picture;

    std::unique_ptr<DecompressionSession> make(const ImageDescription& description,
                                               PixelBufferAttributes attributes = {180, 135},
                                               int accuracy = 512) {
        return DecompressionSession::create(
            description, attributes, {accuracy},
            [this](int status, std::uint32_t flags, const PixelBuffer* pixelBuffer,
                   std::int64_t time, std::int64_t, std::uint32_t) {
                ++calls;
                lastStatus = status;
                lastFlags = flags;
                lastTime = time;
                picture = pixelBuffer != nullptr ? *pixelBuffer : PixelBuffer{};
            });
    }

    static int decode(DecompressionSession& session, const QByteArray& frame,
                      const FrameTimeRecord& time = {}) {
        return session.decodeFrame(reinterpret_cast<const std::uint8_t*>(frame.constData()),
                                   static_cast<std::size_t>(frame.size()), time);
    }

    // Largest mean absolute difference of a colour channel from a picture of three bytes a pixel.
    [[nodiscard]] double differenceFrom(const QByteArray& other) const {
        return differenceFrom(other, {0, 0, picture.width, picture.height});
    }
    // The same in a part of the picture.
    [[nodiscard]] double differenceFrom(const QByteArray& other, const QRect& area) const {
        double worst = 0;
        for (unsigned channel = 0; channel < 3; ++channel) {
            double sum = 0;
            for (int y = area.top(); y <= area.bottom(); ++y) {
                for (int x = area.left(); x <= area.right(); ++x) {
                    const auto i = static_cast<std::size_t>(y * picture.width + x);
                    const auto at = static_cast<qsizetype>(3 * i + channel);
                    const auto mine = picture.pixels[i] >> (16 - 8 * channel) & 0xFFU;
                    sum += std::abs(static_cast<int>(mine) -
                                    static_cast<int>(static_cast<std::uint8_t>(other[at])));
                }
            }
            worst = std::max(worst, sum / (area.width() * area.height()));
        }
        return worst;
    }
};

// A PAL frame is made of super blocks, of which each DIF sequence carries one a column.
constexpr int kSuperBlockRows = 12;
constexpr int kSuperBlockColumns = 5;

int sequenceOfSuperBlock(int row, int column) {
    constexpr std::array<int, kSuperBlockColumns> kRowOfFirstSequence{0, 6, 2, 8, 4};
    return (row + kSuperBlockRows - kRowOfFirstSequence[static_cast<std::size_t>(column)]) %
           kSuperBlockRows;
}

// Where it is in a picture of 180 by 135, without its edges, where it mixes with its neighbours.
QRect superBlock(int row, int column) {
    constexpr double kHeight = 135.0 / kSuperBlockRows;
    constexpr int kWidth = 180 / kSuperBlockColumns;
    const int top = static_cast<int>(row * kHeight) + 3;
    const int bottom = static_cast<int>((row + 1) * kHeight) - 3;
    return {QPoint(column * kWidth + 3, top), QPoint((column + 1) * kWidth - 4, bottom)};
}

TEST_F(DecompressionSessionTest, needsADescriptionItCanDecodeAndASize) {
    EXPECT_NE(make(makeDVPALImageDescription()), nullptr);
    ImageDescription uncompressed = makeDVPALImageDescription();
    uncompressed.codecType = fourCharCode("2vuy");
    EXPECT_EQ(make(uncompressed), nullptr);
    EXPECT_EQ(make(makeDVPALImageDescription(), {0, 135}), nullptr);
    EXPECT_EQ(make(makeDVPALImageDescription(), {180, -1}), nullptr);
}

TEST_F(DecompressionSessionTest, emitsAFrameAtOnceUnlessItsTimeIsNotScheduled) {
    const auto frames = test::makeDVFrames(true, false, 2);
    ASSERT_EQ(frames.size(), 2U) << "ffmpeg is needed to make test pictures";
    const auto session = make(makeDVPALImageDescription());
    EXPECT_EQ(decode(*session, frames[0], {.value = 7, .scale = 2500}), 0);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(lastTime, 7);
    EXPECT_NE(lastFlags & DecompressionSession::kEmittingFrame, 0U);
    EXPECT_EQ(picture.width, 180);
    EXPECT_EQ(picture.height, 135);

    const FrameTimeRecord later{
        .value = 100, .scale = 2500, .flags = FrameTimeRecord::kNonScheduledDisplayTime};
    EXPECT_EQ(decode(*session, frames[1], later), 0);
    EXPECT_EQ(calls, 1);
    session->setNonScheduledDisplayTime(99, 2500);
    EXPECT_EQ(calls, 1);
    session->setNonScheduledDisplayTime(100, 2500);
    EXPECT_EQ(calls, 2);
    session->setNonScheduledDisplayTime(200, 2500);
    EXPECT_EQ(calls, 2);
}

TEST_F(DecompressionSessionTest, changesTheSizeOfThePictures) {
    const auto frames = test::makeDVFrames(true, true, 1);
    ASSERT_FALSE(frames.empty());
    const auto session = make(makeDVPALImageDescription());
    session->setPixelBufferAttributes({240, 135});
    EXPECT_EQ(decode(*session, frames[0]), 0);
    EXPECT_EQ(picture.width, 240);
    session->setPixelBufferAttributes({0, 135});
    EXPECT_EQ(decode(*session, frames[0]), 0);
    EXPECT_EQ(picture.width, 240);
}

TEST_F(DecompressionSessionTest, decodesEveryPixelForMoreAccuracyOrLargerPictures) {
    const auto frames = test::makeDVFrames(true, false, 2);
    ASSERT_EQ(frames.size(), 2U);
    const auto expected = test::picturesByFfmpeg({frames[1]}, {720, 576});
    ASSERT_EQ(expected.size(), 1U);
    for (const int accuracy : {512, 1023}) {
        const auto session = make(makeDVPALImageDescription(), {720, 576}, accuracy);
        EXPECT_EQ(decode(*session, frames[0]), 0);
        EXPECT_EQ(decode(*session, frames[1]), 0);
        EXPECT_LT(differenceFrom(expected[0]), 3);
    }
    const auto small = test::picturesByFfmpeg({frames[1]}, {180, 135});
    ASSERT_EQ(small.size(), 1U);
    const auto coarse = make(makeDVPALImageDescription(), {180, 135}, 512);
    EXPECT_EQ(decode(*coarse, frames[1]), 0);
    const double coarseDifference = differenceFrom(small[0]);
    const auto fine = make(makeDVPALImageDescription(), {180, 135}, 1023);
    EXPECT_EQ(decode(*fine, frames[1]), 0);
    EXPECT_LT(differenceFrom(small[0]), coarseDifference);
}

TEST_F(DecompressionSessionTest, takesFramesOfTheOtherStandard) {
    const auto pal = test::makeDVFrames(true, false, 1);
    const auto ntsc = test::makeDVFrames(false, false, 1);
    ASSERT_FALSE(pal.empty() || ntsc.empty());
    const auto session = make(makeDVNTSCImageDescription());
    for (const QByteArray& frame : {pal[0], ntsc[0], pal[0]}) {
        EXPECT_EQ(decode(*session, frame), 0);
        const auto expected = test::picturesByFfmpeg({frame}, {180, 135});
        ASSERT_EQ(expected.size(), 1U);
        EXPECT_LT(differenceFrom(expected[0]), 6);
    }
}

TEST_F(DecompressionSessionTest, refusesAFrameWithoutBytes) {
    const auto session = make(makeDVPALImageDescription());
    EXPECT_LT(decode(*session, {}), 0);
    EXPECT_EQ(calls, 1);
    EXPECT_LT(lastStatus, 0);
    EXPECT_TRUE(picture.pixels.empty());
}

TEST_F(DecompressionSessionTest, showsGreyForNoiseBeforeAnyFrame) {
    const auto session = make(makeDVPALImageDescription());
    EXPECT_EQ(decode(*session, QByteArray("no frame")), 0);
    ASSERT_FALSE(picture.pixels.empty());
    EXPECT_NEAR(static_cast<double>(picture.pixels.back() & 0xFFU), 128, 16);
}

TEST_F(DecompressionSessionTest, showsTheIntactPartOfADamagedFrame) {
    const auto first = test::makeDVFrames(true, false, 1);
    const auto second = test::makeDVFrames(true, false, 1, QStringLiteral("negate"));
    ASSERT_FALSE(first.empty() || second.empty());
    const auto session = make(makeDVPALImageDescription());
    ASSERT_EQ(decode(*session, first[0]), 0);
    // The second frame breaks off in its middle: where it is missing, the picture before stays.
    EXPECT_EQ(decode(*session, second[0].left(72000)), 0);
    const auto before = test::picturesByFfmpeg({first[0]}, {180, 135});
    const auto after = test::picturesByFfmpeg({second[0]}, {180, 135});
    ASSERT_EQ(before.size(), 1U);
    ASSERT_EQ(after.size(), 1U);
    for (int row = 0; row < kSuperBlockRows; ++row) {
        for (int column = 0; column < kSuperBlockColumns; ++column) {
            const bool isReceived = sequenceOfSuperBlock(row, column) < kSuperBlockRows / 2;
            const QRect area = superBlock(row, column);
            const QByteArray& shown = isReceived ? after[0] : before[0];
            const QByteArray& other = isReceived ? before[0] : after[0];
            // At their edges areas of both kinds run into each other, as the picture is scaled.
            EXPECT_LT(differenceFrom(shown, area), 20) << row << ", " << column;
            EXPECT_GT(differenceFrom(other, area), 2 * differenceFrom(shown, area))
                << row << ", " << column;
        }
    }
}

TEST_F(DecompressionSessionTest, survivesEveryKindOfDamage) {
    auto frames = test::makeDVFrames(false, false, 1);
    ASSERT_FALSE(frames.empty());
    const auto session = make(makeDVNTSCImageDescription());
    std::mt19937 random(1);
    for (int round = 0; round < 60; ++round) {
        QByteArray damaged = frames[0];
        for (int i = 0; i < 1 << (round % 12); ++i) {
            damaged[static_cast<qsizetype>(random() % 120000)] = static_cast<char>(random());
        }
        damaged.truncate(round % 3 == 0 ? static_cast<qsizetype>(random() % 120000) : 120000);
        decode(*session, damaged);
        EXPECT_EQ(calls, round + 1);
    }
    EXPECT_EQ(decode(*session, frames[0]), 0);
    const auto expected = test::picturesByFfmpeg({frames[0]}, {180, 135});
    ASSERT_EQ(expected.size(), 1U);
    EXPECT_LT(differenceFrom(expected[0]), 6);
}

struct Sample {
    const char* name;
    int frameSize;
    int width;
};

struct RealPictures : DecompressionSessionTest, ::testing::WithParamInterface<Sample> {};

TEST_P(RealPictures, areWhatFfmpegShows) {
    const auto& [name, frameSize, width] = GetParam();
    const QString folder = test::samplesFolder();
    std::vector<QByteArray> frames;
    if (folder.isEmpty()) {
        std::printf("no DV samples here; comparing generated pictures\n");
        frames = test::makeDVFrames(frameSize == 144000, width == 240, 10);
    } else {
        frames = test::readDVFrames(folder + u'/' + QString::fromUtf8(name), frameSize);
    }
    const auto expected = test::picturesByFfmpeg(frames, {width, 135});
    ASSERT_FALSE(frames.empty());
    ASSERT_EQ(expected.size(), frames.size());
    const bool isPAL = frameSize == 144000;
    const auto session =
        make(isPAL ? makeDVPALImageDescription() : makeDVNTSCImageDescription(), {width, 135});
    double worst = 0;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        ASSERT_EQ(decode(*session, frames[i]), 0);
        worst = std::max(worst, differenceFrom(expected[i]));
    }
    RecordProperty("worstDifference", std::to_string(worst));
    EXPECT_LT(worst, 6) << name;
}

INSTANTIATE_TEST_SUITE_P(
    DecompressionSession, RealPictures,
    ::testing::Values(Sample{"real_pal_32k_12b_4ch_4f.dv", 144000, 180},
                      Sample{"real_pal_stype1_48k_tc_15f.dv", 144000, 180},
                      Sample{"thirdparty_pal_16x9_noaudio_2f.dv", 144000, 240},
                      Sample{"thirdparty_pal_dvcpro25_411_noaudio_25f.dv", 144000, 180},
                      Sample{"SYNTHETIC_pal_48k_16x9_50f.dv", 144000, 240},
                      Sample{"real_ntsc_48k_16b_2ch_locked_8f.dv", 120000, 180},
                      Sample{"real_ntsc_32k_12b_4ch_5f.dv", 120000, 180},
                      Sample{"SYNTHETIC_ntsc_48k_16x9_60f.dv", 120000, 180}));

}  // namespace
}  // namespace takebox::decompression
