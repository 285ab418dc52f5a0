#include "capture/DVFrameParser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace takebox {
namespace {

class Parser : public DVFrameParser {
public:
    explicit Parser(DVStandard standard) { setStandard(standard); }
    int boundsUpdates = 0;

protected:
    void updatePreviewBounds() override { ++boundsUpdates; }
};

using Frame = std::vector<std::uint8_t>;

Frame ntscFrame(std::uint8_t audioSizeField = 22) {
    Frame frame(120000, 0);
    frame[4324] = static_cast<std::uint8_t>(0xC0 | audioSizeField);
    return frame;
}

std::uint32_t size(const Frame& frame) {
    return static_cast<std::uint32_t>(frame.size());
}

void putTimeCode(Frame& frame, std::array<std::uint8_t, 4> bytes) {
    std::copy(bytes.begin(), bytes.end(), frame.begin() + 111);
}

void putSample(Frame& frame, int sample, int channel, bool pal, std::int16_t value) {
    const auto offset = DVFrameParser::getOffsetOfAudioSample(sample, channel, pal);
    frame[offset] = static_cast<std::uint8_t>(static_cast<std::uint16_t>(value) >> 8U);
    frame[offset + 1] = static_cast<std::uint8_t>(value & 0xFF);
}

/// Where a sample stands, by the formulas of the standard.
std::uint32_t offsetByFormula(std::uint32_t n, std::uint32_t channel, bool pal) {
    const std::uint32_t D = pal ? 54 : 45, S = pal ? 6 : 5, B = pal ? 18 : 15;
    const std::uint32_t sequence = ((n % 3) * 2 + n / 3) % S + channel * S;
    const std::uint32_t block = 3 * (n % 3) + (n % D) / B;
    return sequence * 12000 + 480 + block * 1280 + 8 + 2 * (n / D);
}

TEST(DVFrameParser, hasTheGeometryOfItsStandard) {
    const Parser ntsc(kStandardNTSC);
    EXPECT_EQ(ntsc.frameSize(), 120000U);
    EXPECT_DOUBLE_EQ(ntsc.framesPerSecond(), 29.97);
    EXPECT_DOUBLE_EQ(ntsc.nominalFramesPerSecond(), 30.0);
    EXPECT_EQ(ntsc.standard(), 0U);
    const Parser pal(kStandardPAL);
    EXPECT_EQ(pal.frameSize(), 144000U);
    EXPECT_DOUBLE_EQ(pal.framesPerSecond(), 25.0);
    EXPECT_DOUBLE_EQ(pal.nominalFramesPerSecond(), 25.0);
    EXPECT_EQ(pal.standard(), 1U);
}

TEST(DVFrameParser, readsTheTimeCode) {
    Parser parser(kStandardPAL);
    Frame frame(144000);
    putTimeCode(frame, {0x24, 0x59, 0x58, 0x23});
    parser.extractTimeCode(frame.data(), size(frame));
    EXPECT_EQ(parser.currentTimeCode(), (TimeCodeRecord{23, 58, 59, 24}));
    EXPECT_EQ(parser.currentTimeCodeAsString(), QStringLiteral("23:58:59:24"));
    EXPECT_DOUBLE_EQ(parser.currentTimeCodeAsDouble(), 23 * 3600 + 58 * 60 + 59 + 24 / 25.0);
}

TEST(DVFrameParser, dividesNTSCFramesByTheTrueRate) {
    Parser parser(kStandardNTSC);
    Frame frame = ntscFrame();
    putTimeCode(frame, {0x15, 0x01, 0x00, 0x00});
    parser.extractTimeCode(frame.data(), size(frame));
    EXPECT_DOUBLE_EQ(parser.currentTimeCodeAsDouble(), 1 + 15 / 29.97);
}

TEST(DVFrameParser, takesFourBytesOfOnesAsNoTimeCode) {
    Parser parser(kStandardNTSC);
    Frame frame = ntscFrame();
    putTimeCode(frame, {0x10, 0x10, 0x10, 0x10});
    parser.extractTimeCode(frame.data(), size(frame));
    putTimeCode(frame, {0xFF, 0xFF, 0xFF, 0xFF});
    parser.extractTimeCode(frame.data(), size(frame));
    EXPECT_EQ(parser.currentTimeCode(), TimeCodeRecord{});
    putTimeCode(frame, {0xFF, 0xFF, 0xFF, 0xFE});
    parser.extractTimeCode(frame.data(), size(frame));
    EXPECT_EQ(parser.currentTimeCode(), (TimeCodeRecord{34, 75, 75, 35}));
}

TEST(DVFrameParser, ignoresFlagBitsAndWrapsTheUnitsDigit) {
    Parser parser(kStandardNTSC);
    Frame frame = ntscFrame();
    putTimeCode(frame, {0x59, 0x0C, 0x80, 0xC0});
    parser.extractTimeCode(frame.data(), size(frame));
    EXPECT_EQ(parser.currentTimeCode(), (TimeCodeRecord{0, 0, 2, 19}));
}

TEST(DVFrameParser, leavesTheTimeCodeOfATooShortFrame) {
    Parser parser(kStandardNTSC);
    Frame frame = ntscFrame();
    putTimeCode(frame, {0x10, 0x10, 0x10, 0x10});
    parser.extractTimeCode(frame.data(), 117);
    const TimeCodeRecord before = parser.currentTimeCode();
    EXPECT_EQ(before, (TimeCodeRecord{10, 10, 10, 10}));
    putTimeCode(frame, {0x11, 0x11, 0x11, 0x11});
    parser.extractTimeCode(frame.data(), 116);
    parser.extractTimeCode(nullptr, 120000);
    EXPECT_EQ(parser.currentTimeCode(), before);
}

TEST(DVFrameParser, tellsEachChangeOfThe16By9FlagOnce) {
    Parser parser(kStandardPAL);
    Frame frame(144000);
    parser.extract16By9Flag(frame.data(), size(frame));
    EXPECT_EQ(parser.boundsUpdates, 0);
    frame[455] = 0x02;
    parser.extract16By9Flag(frame.data(), 455);
    parser.extract16By9Flag(nullptr, 144000);
    EXPECT_FALSE(parser.is16By9());
    parser.extract16By9Flag(frame.data(), 456);
    parser.extract16By9Flag(frame.data(), size(frame));
    EXPECT_TRUE(parser.is16By9());
    EXPECT_EQ(parser.boundsUpdates, 1);
    frame[455] = 0xFD;
    parser.extract16By9Flag(frame.data(), size(frame));
    EXPECT_FALSE(parser.is16By9());
    EXPECT_EQ(parser.boundsUpdates, 2);
}

TEST(DVFrameParser, findsSamplesWhereTheStandardPutsThem) {
    EXPECT_EQ(DVFrameParser::getOffsetOfAudioSample(0, 0, false), 488U);
    EXPECT_EQ(DVFrameParser::getOffsetOfAudioSample(0, 1, false), 60488U);
    EXPECT_EQ(DVFrameParser::getOffsetOfAudioSample(1, 0, false), 28328U);
    EXPECT_EQ(DVFrameParser::getOffsetOfAudioSample(0, 1, true), 72488U);
    for (const bool pal : {false, true}) {
        for (std::uint32_t channel = 0; channel < 2; ++channel) {
            for (std::uint32_t n = 0; n < (pal ? 1920U : 1644U); ++n) {
                ASSERT_EQ(DVFrameParser::getOffsetOfAudioSample(static_cast<int>(n),
                                                                static_cast<int>(channel), pal),
                          offsetByFormula(n, channel, pal))
                    << n << ' ' << channel << ' ' << pal;
            }
        }
    }
}

class Extraction : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(BothStandards, Extraction, testing::Bool());

TEST_P(Extraction, copiesEverySampleInOrder) {
    const bool pal = GetParam();
    Parser parser(pal ? kStandardPAL : kStandardNTSC);
    Frame frame = pal ? Frame(144000) : ntscFrame(22);
    for (std::size_t i = 0; i < frame.size(); ++i) {
        frame[i] = static_cast<std::uint8_t>(i * 2654435761U >> 13U);
    }
    if (!pal) {
        frame[4324] = 0xC0 | 40;  // the most that fits the audio blocks
    }
    std::uint32_t bytes = 0;
    const auto* words = parser.extractAudioSamples(frame.data(), size(frame), bytes);
    ASSERT_EQ(bytes, pal ? 7680U : 1620U * 4);
    const auto* out = reinterpret_cast<const std::uint8_t*>(words);
    for (std::uint32_t n = 0; n < bytes / 4; ++n) {
        ASSERT_EQ(std::memcmp(out + 4 * n, &frame[offsetByFormula(n, 0, pal)], 2), 0) << n;
        ASSERT_EQ(std::memcmp(out + 4 * n + 2, &frame[offsetByFormula(n, 1, pal)], 2), 0) << n;
    }
}

TEST(DVFrameParser, countsTheSamplesThatAnNTSCFrameSays) {
    Parser parser(kStandardNTSC);
    std::uint32_t bytes = 0;
    const Frame frame = ntscFrame(22);
    EXPECT_EQ(DVFrameParser::getAudioSamplesCount(frame.data()), 1602);
    parser.extractAudioSamples(frame.data(), size(frame), bytes);
    EXPECT_EQ(bytes, 6408U);
    const Frame least = ntscFrame(0);
    parser.extractAudioSamples(least.data(), size(least), bytes);
    EXPECT_EQ(bytes, 1580U * 4);
    const Frame most = ntscFrame(63);
    parser.extractAudioSamples(most.data(), size(most), bytes);
    EXPECT_EQ(bytes, 1643U * 4);
}

TEST(DVFrameParser, givesNoSamplesForAFrameWithoutItsCount) {
    Parser parser(kStandardNTSC);
    const Frame frame = ntscFrame();
    std::uint32_t bytes = 99;
    parser.extractAudioSamples(frame.data(), 4324, bytes);
    EXPECT_EQ(bytes, 0U);
    parser.extractAudioSamples(frame.data(), 4325, bytes);
    EXPECT_EQ(bytes, 6408U);
}

TEST(DVFrameParser, readsSamplesBeyondTheReceivedSizeAsSilence) {
    for (const std::uint32_t length : {0U, 1U, 488U, 489U, 490U, 4325U, 60000U, 119999U, 143999U}) {
        for (const bool pal : {false, true}) {
            Parser parser(pal ? kStandardPAL : kStandardNTSC);
            // Exactly as large as received, so that a sanitizer sees every read beyond.
            Frame frame(length, 0x11);
            if (length > 4324) {
                frame[4324] = 22;
            }
            std::uint32_t bytes = 0;
            const auto* words = parser.extractAudioSamples(frame.data(), length, bytes);
            if (length == 0) {
                continue;
            }
            for (std::uint32_t n = 0; n < bytes / 4; ++n) {
                std::uint8_t sample[2];
                std::memcpy(sample, &words[n], 2);
                const std::uint32_t offset = offsetByFormula(n, 0, pal);
                if (offset == 4324 || offset == 4323) {
                    continue;
                }
                ASSERT_EQ(sample[0], offset + 2 <= length ? 0x11 : 0) << n << ' ' << length;
            }
        }
    }
}

TEST(DVFrameParser, raisesLevelsAtOnceAndLowersThemStepByStep) {
    Parser parser(kStandardPAL);
    Frame frame(144000);
    std::uint32_t bytes = 0;
    putSample(frame, 100, 0, true, 16384);
    putSample(frame, 1919, 1, true, 900);
    parser.extractAudioSamples(frame.data(), size(frame), bytes);
    EXPECT_DOUBLE_EQ(parser.audioLevelLeft(), 0.5);
    EXPECT_DOUBLE_EQ(parser.audioLevelRight(), 900 / 32768.0);
    const Frame silence(144000);
    parser.extractAudioSamples(silence.data(), size(silence), bytes);
    EXPECT_DOUBLE_EQ(parser.audioLevelLeft(), (16384 - 600) / 32768.0);
    EXPECT_DOUBLE_EQ(parser.audioLevelRight(), 300 / 32768.0);
    parser.extractAudioSamples(silence.data(), size(silence), bytes);
    EXPECT_DOUBLE_EQ(parser.audioLevelRight(), -300 / 32768.0);
    EXPECT_NEAR(parser.audioLevelRight(), -0.00916, 0.00001);
    parser.extractAudioSamples(silence.data(), size(silence), bytes);
    EXPECT_DOUBLE_EQ(parser.audioLevelRight(), 0.0);
}

TEST(DVFrameParser, takesNegativeSamplesForSilence) {
    Parser parser(kStandardPAL);
    Frame frame(144000);
    std::uint32_t bytes = 0;
    putSample(frame, 0, 0, true, 1000);
    parser.extractAudioSamples(frame.data(), size(frame), bytes);
    for (int n = 0; n < 1920; ++n) {
        putSample(frame, n, 0, true, -30000);
        putSample(frame, n, 1, true, -32768);
    }
    parser.extractAudioSamples(frame.data(), size(frame), bytes);
    EXPECT_DOUBLE_EQ(parser.audioLevelLeft(), 400 / 32768.0);
    EXPECT_DOUBLE_EQ(parser.audioLevelRight(), 0.0);
}

TEST(DVFrameParser, keepsTheBufferOfAnAbsentFrameAndLowersTheLevels) {
    Parser parser(kStandardPAL);
    Frame frame(144000);
    putSample(frame, 0, 0, true, 1000);
    std::uint32_t bytes = 0;
    const auto* words = parser.extractAudioSamples(frame.data(), size(frame), bytes);
    const std::uint32_t first = words[0];
    bytes = 0;
    words = parser.extractAudioSamples(nullptr, 144000, bytes);
    EXPECT_EQ(bytes, 7680U);
    EXPECT_EQ(words[0], first);
    EXPECT_DOUBLE_EQ(parser.audioLevelLeft(), 400 / 32768.0);
}

}  // namespace
}  // namespace takebox
