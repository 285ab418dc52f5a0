#include "display/TimeCodeFormatter.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>

namespace takebox {
namespace {

QString shown(const QVariant& seconds, double framesPerSecond = 25.0) {
    TimeCodeFormatter formatter;
    formatter.setFramesPerSecond(framesPerSecond);
    return formatter.stringForObjectValue(seconds);
}

std::optional<double> parsed(const char* text, double framesPerSecond = 25.0) {
    TimeCodeFormatter formatter;
    formatter.setFramesPerSecond(framesPerSecond);
    QVariant value;
    QString error = QStringLiteral("left over");
    const bool understood = formatter.getObjectValue(value, QString::fromUtf8(text), &error);
    EXPECT_TRUE(error.isEmpty());
    EXPECT_EQ(understood, value.isValid());
    return understood ? std::optional(value.toDouble()) : std::nullopt;
}

TEST(TimeCodeFormatter, countsTwentyFiveFramesUnlessTold) {
    EXPECT_EQ(TimeCodeFormatter().framesPerSecond(), 25.0);
}

TEST(TimeCodeFormatter, showsHoursMinutesSecondsAndFrames) {
    EXPECT_EQ(shown(0), QStringLiteral("00:00:00:00"));
    EXPECT_EQ(shown(3661.52), QStringLiteral("01:01:01:13"));
    EXPECT_EQ(shown(0.9), QStringLiteral("00:00:00:22"));
    EXPECT_EQ(shown(1.5005006, 29.97), QStringLiteral("00:00:01:15"));
}

TEST(TimeCodeFormatter, showsEveryFrameBoundaryAsThatFrame) {
    for (int frame = 0; frame < 25 * 3600; ++frame) {
        const QString text =
            QString::asprintf("00:%02d:%02d:%02d", frame / 1500, frame / 25 % 60, frame % 25);
        ASSERT_EQ(shown(frame / 25.0), text);
    }
}

TEST(TimeCodeFormatter, showsADayAndMoreInEightBitHours) {
    EXPECT_EQ(shown(90000.0), QStringLiteral("25:00:00:00"));
    EXPECT_EQ(shown(255 * 3600.0), QStringLiteral("255:00:00:00"));
    EXPECT_EQ(shown(256 * 3600.0), QStringLiteral("00:00:00:00"));
}

TEST(TimeCodeFormatter, showsZeroForWhatIsNoNumber) {
    EXPECT_EQ(shown({}), QStringLiteral("00:00:00:00"));
    EXPECT_EQ(shown(QVariantList()), QStringLiteral("00:00:00:00"));
    EXPECT_EQ(shown(std::numeric_limits<double>::quiet_NaN()), QStringLiteral("00:00:00:00"));
    EXPECT_EQ(shown(-std::numeric_limits<double>::infinity()), QStringLiteral("00:00:00:00"));
}

TEST(TimeCodeFormatter, readsDigitPairsFromTheRight) {
    EXPECT_EQ(parsed("5"), 5 / 25.0);
    EXPECT_EQ(parsed("12"), 12 / 25.0);
    EXPECT_EQ(parsed("112"), 1 + 12 / 25.0);
    EXPECT_EQ(parsed("1112"), 11 + 12 / 25.0);
    EXPECT_EQ(parsed("21112"), 120 + 11 + 12 / 25.0);
    EXPECT_EQ(parsed("221112"), 22 * 60 + 11 + 12 / 25.0);
    EXPECT_EQ(parsed("3221112"), 3 * 3600 + 22 * 60 + 11 + 12 / 25.0);
    EXPECT_EQ(parsed("33221112"), 33 * 3600 + 22 * 60 + 11 + 12 / 25.0);
    EXPECT_EQ(parsed("01:00:00:00"), 3600.0);
    EXPECT_EQ(parsed("99:99:99:99"), 99 * 3600 + 99 * 60 + 99 + 99 / 25.0);
}

TEST(TimeCodeFormatter, readsFramesAtItsRate) {
    EXPECT_NEAR(parsed("00:00:01:15", 29.97).value_or(0), 1.5005, 0.00001);
}

TEST(TimeCodeFormatter, refusesNoDigitsAndTooMany) {
    EXPECT_EQ(parsed(""), std::nullopt);
    EXPECT_EQ(parsed("abc"), std::nullopt);
    EXPECT_EQ(parsed("123456789"), std::nullopt);
}

TEST(TimeCodeFormatter, fillsAllFieldsOfARecord) {
    TimeCodeRecord record;
    TimeCodeFormatter().time(3661.52, record);
    EXPECT_EQ(record, (TimeCodeRecord{.hours = 1, .minutes = 1, .seconds = 1, .frames = 13}));
}

TEST(TimeCodeFormatter, readsARecordInTwentyFifthsWhateverItsRate) {
    EXPECT_EQ(TimeCodeFormatter::timeCodeRecordToTime(
                  {.hours = 0, .minutes = 0, .seconds = 1, .frames = 15}),
              1.6);
    EXPECT_EQ(TimeCodeFormatter::timeCodeRecordToTime(
                  {.hours = 255, .minutes = 255, .seconds = 255, .frames = 255}),
              255 * 3600 + 255 * 60 + 255 + 10.2);
}

}  // namespace
}  // namespace takebox
