#include "platform/avc/virtualdeck/TestSignal.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <QByteArray>
#include <QFile>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <set>

namespace takebox::avc {
namespace {

using namespace Qt::StringLiterals;

struct Kind {
    DVStandard standard;
    bool wide;
};

QByteArray makeFrames(const TestSignal& signal, int count) {
    QByteArray all;
    std::vector<std::uint8_t> frame(signal.frameSize());
    for (int i = 0; i < count; ++i) {
        signal.writeFrame(static_cast<std::uint64_t>(i), frame);
        all.append(reinterpret_cast<const char*>(frame.data()),
                   static_cast<qsizetype>(frame.size()));
    }
    return all;
}

/// What a program makes of the bytes on its standard input.
struct Answer {
    QByteArray output;
    QByteArray complaints;
    bool isInstalled = false;
};

/// Not through QProcess, whose way of starting a program makes the thread sanitizer lose track of
/// the threads that the other tests of this program start.
Answer ask(const QString& command, const QByteArray& input) {
    QTemporaryDir folder;
    const QString inputPath = folder.filePath(u"input"_s);
    QFile inputFile(inputPath);
    if (!inputFile.open(QIODevice::WriteOnly) || inputFile.write(input) != input.size()) {
        return {};
    }
    inputFile.close();
    const QString complaintsPath = folder.filePath(u"complaints"_s);
    const QString line = u"%1 < '%2' 2> '%3'"_s.arg(command, inputPath, complaintsPath);
    std::FILE* const pipe = popen(line.toLocal8Bit().constData(), "r");
    if (pipe == nullptr) {
        return {};
    }
    Answer answer;
    std::array<char, 65536> part{};
    for (std::size_t count = 0; (count = std::fread(part.data(), 1, part.size(), pipe)) > 0;) {
        answer.output.append(part.data(), static_cast<qsizetype>(count));
    }
    constexpr int kCommandNotFound = 127;
    answer.isInstalled = WEXITSTATUS(pclose(pipe)) != kCommandNotFound;
    QFile complaintsFile(complaintsPath);
    if (complaintsFile.open(QIODevice::ReadOnly)) {
        answer.complaints = complaintsFile.readAll();
    }
    return answer;
}

std::uint8_t byteAt(const QByteArray& bytes, qsizetype position) {
    return static_cast<std::uint8_t>(bytes[position]);
}

class TestSignalOfKind : public ::testing::TestWithParam<Kind> {
protected:
    [[nodiscard]] bool isPAL() const { return GetParam().standard == DVStandard::kPAL; }

    TestSignal mSignal{GetParam().standard, GetParam().wide, {9, 59, 58, 10}, "Deck 7"};
};

INSTANTIATE_TEST_SUITE_P(
    All, TestSignalOfKind,
    ::testing::Values(Kind{DVStandard::kNTSC, false}, Kind{DVStandard::kNTSC, true},
                      Kind{DVStandard::kPAL, false}, Kind{DVStandard::kPAL, true}),
    [](const auto& kind) {
        return std::string(kind.param.standard == DVStandard::kPAL ? "PAL" : "NTSC") +
               (kind.param.wide ? "wide" : "narrow");
    });

TEST_P(TestSignalOfKind, isDecodedWithoutComplaint) {
    const QByteArray frames = makeFrames(mSignal, 30);
    const Answer answer = ask(u"ffmpeg -v warning -f dv -i - -f null -"_s, frames);
    ASSERT_TRUE(answer.isInstalled) << "ffmpeg is needed to judge the signal";
    EXPECT_EQ(answer.complaints, QByteArray());
}

TEST_P(TestSignalOfKind, tellsItsStandardAspectAndTimeCode) {
    // The time code is looked for only in what can be sought in.
    QTemporaryFile file;
    ASSERT_TRUE(file.open());
    file.write(makeFrames(mSignal, 5));
    file.close();
    const Answer answer =
        ask(u"ffprobe -v error -f dv -show_entries stream=pix_fmt,height,display_aspect_ratio,"
            u"r_frame_rate,sample_rate,channels:format_tags=timecode -of default=nw=1 '%1'"_s.arg(
                file.fileName()),
            {});
    ASSERT_TRUE(answer.isInstalled) << "ffprobe is needed to judge the signal";
    EXPECT_TRUE(answer.output.contains("TAG:timecode=09:59:58:10")) << answer.output.constData();
    EXPECT_TRUE(answer.output.contains(GetParam().wide ? "display_aspect_ratio=16:9"
                                                       : "display_aspect_ratio=4:3"));
    EXPECT_TRUE(answer.output.contains(isPAL() ? "height=576" : "height=480"));
    EXPECT_TRUE(answer.output.contains(isPAL() ? "pix_fmt=yuv420p" : "pix_fmt=yuv411p"));
    EXPECT_TRUE(answer.output.contains(isPAL() ? "r_frame_rate=25/1" : "r_frame_rate=30000/1001"));
    EXPECT_TRUE(answer.output.contains("sample_rate=48000"));
    EXPECT_TRUE(answer.output.contains("channels=2"));
}

TEST_P(TestSignalOfKind, carriesTheTonesWithoutABreak) {
    const QByteArray frames = makeFrames(mSignal, 23);
    const Answer answer = ask(u"ffmpeg -v error -f dv -i - -map 0:a:0 -f s16be -"_s, frames);
    ASSERT_TRUE(answer.isInstalled) << "ffmpeg is needed to judge the signal";
    QByteArray expected;
    for (std::uint64_t n = 0; n < TestSignal::firstSample(GetParam().standard, 23); ++n) {
        for (const std::int16_t sample : {TestSignal::leftSample(n), TestSignal::rightSample(n)}) {
            expected.append(static_cast<char>(sample >> 8)).append(static_cast<char>(sample));
        }
    }
    EXPECT_EQ(answer.output.size(), expected.size());
    EXPECT_TRUE(answer.output == expected);
}

TEST_P(TestSignalOfKind, showsBarsCounterAndMotion) {
    const QByteArray frames = makeFrames(mSignal, 2);
    const Answer answer = ask(u"ffmpeg -v error -f dv -i - -f rawvideo -pix_fmt gray -"_s, frames);
    ASSERT_TRUE(answer.isInstalled) << "ffmpeg is needed to judge the signal";
    const int height = isPAL() ? 576 : 480;
    ASSERT_EQ(answer.output.size(), 2 * 720 * height);
    const auto luma = [&](int frame, int column, int row) {
        return byteAt(answer.output, (frame * height + row * 8 + 4) * 720 + column * 8 + 4);
    };
    const std::array<int, 8> bars{180, 162, 131, 112, 84, 65, 35, 16};
    for (int bar = 0; bar < 8; ++bar) {
        // ffmpeg stretches the range of black to white to all of 0 to 255.
        const int bright = (bars[static_cast<std::size_t>(bar)] - 16) * 255 / 219;
        EXPECT_NEAR(luma(0, bar * 12, 0), bright, 2) << bar;
    }
    const int textTop = isPAL() ? 28 : 20;
    std::set<std::pair<int, int>> changed;
    for (int row = 0; row < height / 8; ++row) {
        for (int column = 0; column < 90; ++column) {
            if (luma(0, column, row) != luma(1, column, row)) {
                changed.insert({row, column});
            }
        }
    }
    // From frame 10 to 11 only the last digit changes, and the bar moves: one block column is left
    // dark and another one becomes bright.
    const int lastDigit = 90 / 2 + 65 / 2 - 5;
    const int motionTop = isPAL() ? 62 : 52;
    int inMotion = 0;
    for (const auto& [row, column] : changed) {
        if (row >= motionTop) {
            EXPECT_TRUE(column == 0 || column == 4) << column;
            ++inMotion;
        } else {
            EXPECT_GE(row, textTop + 20);
            EXPECT_GE(column, lastDigit);
        }
    }
    EXPECT_EQ(inMotion, 2 * (height / 8 - motionTop));
    EXPECT_GT(changed.size(), static_cast<std::size_t>(inMotion));
}

TEST_P(TestSignalOfKind, hasRunningTimeCodeInEverySequence) {
    std::vector<std::uint8_t> frame(mSignal.frameSize());
    for (std::uint64_t i = 0; i < 60; ++i) {
        mSignal.writeFrame(i, frame);
        const auto expected = mSignal.timeCode(i);
        for (std::size_t sequence = 0; sequence < sequenceCount(GetParam().standard); ++sequence) {
            const auto pack = std::span<const std::uint8_t>(frame).subspan(
                sequence * kDIFSequenceSize + kTimeCodeOffset - 1, 5);
            EXPECT_EQ(pack[0], 0x13);
            EXPECT_EQ(pack[1] & 0x40, 0) << "drop-frame flag";
            EXPECT_EQ(TapeTimeCode::fromPackData(pack.last<4>()), expected);
        }
    }
    EXPECT_EQ(mSignal.timeCode(0), (TapeTimeCode{9, 59, 58, 10}));
    EXPECT_EQ(mSignal.timeCode(60),
              isPAL() ? (TapeTimeCode{10, 0, 0, 20}) : (TapeTimeCode{10, 0, 0, 10}));
}

TEST_P(TestSignalOfKind, carriesItsAspectWhereItIsLookedFor) {
    const QByteArray frame = makeFrames(mSignal, 1);
    EXPECT_EQ(byteAt(frame, 453), 0x61);
    EXPECT_EQ((byteAt(frame, 455) & 0x02) != 0, GetParam().wide);
}

TEST_P(TestSignalOfKind, isItsOwnFileFormat) {
    const QByteArray frame = makeFrames(mSignal, 1);
    const auto bytes = std::span(reinterpret_cast<const std::uint8_t*>(frame.constData()),
                                 static_cast<std::size_t>(frame.size()));
    EXPECT_TRUE(isFrameHeader(bytes));
    EXPECT_EQ(standardOf(bytes), GetParam().standard);
    EXPECT_EQ(dvModeOf(bytes), isPAL() ? 0x80 : 0x00);
    EXPECT_EQ(bytes.size(), isPAL() ? 144000U : 120000U);
}

TEST(TestSignal, followsTheFiveFrameSequenceOfNTSCAudio) {
    const TestSignal signal(DVStandard::kNTSC, false, {});
    std::vector<std::uint8_t> frame(signal.frameSize());
    const std::array<std::uint32_t, 5> expected{1600, 1602, 1602, 1602, 1602};
    std::uint64_t first = 0;
    for (std::uint64_t i = 0; i < 12; ++i) {
        signal.writeFrame(i, frame);
        EXPECT_EQ(frame[4323], 0x50);
        EXPECT_EQ((frame[4324] & 0x3FU) + 1580, expected[i % 5]);
        EXPECT_EQ(TestSignal::sampleCount(DVStandard::kNTSC, i), expected[i % 5]);
        EXPECT_EQ(TestSignal::firstSample(DVStandard::kNTSC, i), first);
        first += expected[i % 5];
    }
}

TEST(TestSignal, hasADifferentToneInEachChannel) {
    int leftCrossings = 0;
    int rightCrossings = 0;
    int leftPeak = 0;
    int rightPeak = 0;
    for (std::uint64_t n = 0; n < TestSignal::kSampleRate; ++n) {
        leftCrossings += TestSignal::leftSample(n) <= 0 && TestSignal::leftSample(n + 1) > 0;
        rightCrossings += TestSignal::rightSample(n) <= 0 && TestSignal::rightSample(n + 1) > 0;
        leftPeak = std::max<int>(leftPeak, std::abs(TestSignal::leftSample(n)));
        rightPeak = std::max<int>(rightPeak, std::abs(TestSignal::rightSample(n)));
    }
    EXPECT_EQ(leftCrossings, 440);
    EXPECT_EQ(rightCrossings, 1000);
    EXPECT_EQ(leftPeak, TestSignal::kLeftPeak);
    EXPECT_EQ(rightPeak, TestSignal::kRightPeak);
}

TEST(TestSignal, isAFunctionOfTheFrameNumber) {
    const TestSignal signal(DVStandard::kPAL, false, {1, 0, 0, 0});
    const TestSignal same(DVStandard::kPAL, false, {1, 0, 0, 0});
    std::vector<std::uint8_t> inTurn(signal.frameSize());
    std::vector<std::uint8_t> direct(signal.frameSize());
    for (std::uint64_t i = 0; i < 7; ++i) {
        signal.writeFrame(i, inTurn);
    }
    same.writeFrame(6, direct);
    EXPECT_EQ(inTurn, direct);
    same.writeFrame(7, direct);
    EXPECT_NE(inTurn, direct);
}

TEST(TestSignal, takesANameOfAnyLengthAndSpelling) {
    for (const char* name : {"", "a", "A NAME THAT HAS NO ROOM ON A LINE OF THE PICTURE",
                             "\xC3\xA4\xC3\xB6\xC3\xBC \x01\xFF"}) {
        TestSignal signal(DVStandard::kNTSC, false, {}, name);
        EXPECT_EQ(makeFrames(signal, 1).size(), 120000) << name;
    }
}

}  // namespace
}  // namespace takebox::avc
