#include "display/TimeFormatter.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <limits>
#include <optional>

namespace takebox {
namespace {

QString shown(const QVariant& seconds) {
    return TimeFormatter().stringForObjectValue(seconds);
}

std::optional<double> parsed(const char* text) {
    QVariant value;
    QString error = QStringLiteral("left over");
    const bool understood = TimeFormatter().getObjectValue(value, QString::fromUtf8(text), &error);
    EXPECT_TRUE(error.isEmpty());
    EXPECT_EQ(understood, value.isValid());
    if (!understood) {
        return std::nullopt;
    }
    EXPECT_EQ(value.typeId(), QMetaType::Double);
    return value.toDouble();
}

TEST(TimeFormatter, showsHoursMinutesAndWholeSeconds) {
    EXPECT_EQ(shown(0.0), QStringLiteral("00:00:00"));
    EXPECT_EQ(shown(59.999), QStringLiteral("00:00:59"));
    EXPECT_EQ(shown(60), QStringLiteral("00:01:00"));
    EXPECT_EQ(shown(3725.9), QStringLiteral("01:02:05"));
    EXPECT_EQ(shown(86399.9), QStringLiteral("23:59:59"));
}

TEST(TimeFormatter, showsHoursModuloADay) {
    EXPECT_EQ(shown(86400.0), QStringLiteral("00:00:00"));
    EXPECT_EQ(shown(90000.0), QStringLiteral("01:00:00"));
    EXPECT_EQ(shown(255 * 3600.0 + 61), QStringLiteral("15:01:01"));
}

TEST(TimeFormatter, countsHoursInEightBits) {
    // 256 hours leave the hours field at 0 and all seconds to the two smaller fields.
    EXPECT_EQ(shown(256 * 3600.0), QStringLiteral("00:00:00"));
    EXPECT_EQ(shown(256 * 3600.0 + 60), QStringLiteral("00:01:00"));
    EXPECT_EQ(shown(-1.0), QStringLiteral("15:59:59"));
}

TEST(TimeFormatter, showsZeroForWhatIsNoNumber) {
    EXPECT_EQ(shown({}), QStringLiteral("00:00:00"));
    EXPECT_EQ(shown(QVariant::fromValue(QDateTime::currentDateTime())), QStringLiteral("00:00:00"));
    EXPECT_EQ(shown(std::numeric_limits<double>::infinity()), QStringLiteral("00:00:00"));
    EXPECT_EQ(shown(std::numeric_limits<double>::quiet_NaN()), QStringLiteral("00:00:00"));
    EXPECT_EQ(shown(1.0e300), QStringLiteral("00:00:00"));
}

TEST(TimeFormatter, readsDigitPairsFromTheRight) {
    EXPECT_EQ(parsed("7"), 7.0);
    EXPECT_EQ(parsed("42"), 42.0);
    EXPECT_EQ(parsed("130"), 90.0);
    EXPECT_EQ(parsed("1234"), 12 * 60.0 + 34);
    EXPECT_EQ(parsed("13000"), 5400.0);
    EXPECT_EQ(parsed("123456"), 12 * 3600.0 + 34 * 60 + 56);
}

TEST(TimeFormatter, ignoresEverythingBetweenTheDigits) {
    EXPECT_EQ(parsed("1:30:00"), 5400.0);
    EXPECT_EQ(parsed("1 30 00"), 5400.0);
    EXPECT_EQ(parsed(" 1h30m00s "), 5400.0);
    EXPECT_EQ(parsed("1:2"), 12.0);
}

TEST(TimeFormatter, doesNotCheckTheRangeOfAField) {
    EXPECT_EQ(parsed("9999"), 6039.0);
    EXPECT_EQ(parsed("999999"), 99 * 3600.0 + 99 * 60 + 99);
}

TEST(TimeFormatter, refusesNoDigitsAndTooMany) {
    EXPECT_EQ(parsed(""), std::nullopt);
    EXPECT_EQ(parsed("::"), std::nullopt);
    EXPECT_EQ(parsed("1234567"), std::nullopt);
    EXPECT_EQ(parsed("00:00:00:0"), std::nullopt);
}

TEST(TimeFormatter, leavesTheFramesOfARecordAlone) {
    TimeCodeRecord record{.hours = 9, .minutes = 9, .seconds = 9, .frames = 9};
    TimeFormatter::time(90061.0, record);
    EXPECT_EQ(record, (TimeCodeRecord{.hours = 1, .minutes = 1, .seconds = 1, .frames = 9}));
}

TEST(TimeFormatter, needsNoPlaceForAnErrorDescription) {
    QVariant value = 5.0;
    EXPECT_FALSE(TimeFormatter().getObjectValue(value, QStringLiteral("x"), nullptr));
    EXPECT_EQ(value.toDouble(), 5.0);
}

}  // namespace
}  // namespace takebox
