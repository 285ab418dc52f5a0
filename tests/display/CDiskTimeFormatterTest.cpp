#include "display/CDiskTimeFormatter.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QPalette>
#include <limits>

namespace takebox {
namespace {

const QColor kGreen = QColor::fromRgbF(0.0F, 0.6F, 0.0F, 1.0F);
const QColor kOrange = QColor::fromRgbF(1.0F, 0.5F, 0.0F, 1.0F);
const QColor kRed = QColor::fromRgbF(1.0F, 0.0F, 0.0F, 1.0F);

QString shown(const QVariant& seconds) {
    return CDiskTimeFormatter().stringForObjectValue(seconds);
}

QColor colorOf(const QVariant& seconds) {
    return CDiskTimeFormatter().attributedStringForObjectValue(seconds, {}).color();
}

QColor knobColor() {
    return QGuiApplication::palette().color(QPalette::Highlight);
}

TEST(CDiskTimeFormatter, roundsToSecondsAndDropsTheSign) {
    EXPECT_EQ(shown(0), QStringLiteral("00:00:00"));
    EXPECT_EQ(shown(-0.0), QStringLiteral("00:00:00"));
    EXPECT_EQ(shown(0.59), QStringLiteral("00:00:00"));
    EXPECT_EQ(shown(0.61), QStringLiteral("00:00:01"));
    EXPECT_EQ(shown(-59.7), QStringLiteral("00:01:00"));
    EXPECT_EQ(shown(3599.7), QStringLiteral("01:00:00"));
    EXPECT_EQ(shown(3600), QStringLiteral("01:00:00"));
    EXPECT_EQ(shown(359999.0), QStringLiteral("99:59:59"));
}

TEST(CDiskTimeFormatter, showsAHundredHoursAsNone) {
    EXPECT_EQ(shown(360000), QStringLiteral("00:00:00"));
    EXPECT_EQ(shown(360000 + 61), QStringLiteral("00:01:01"));
    EXPECT_EQ(colorOf(360000), kGreen);
}

TEST(CDiskTimeFormatter, readsItsValueInSinglePrecision) {
    // 16777217 has no place in 24 bits: it is 16777216, that is 4660 hours, 20 minutes, 16 seconds.
    EXPECT_EQ(shown(16777217.0), QStringLiteral("00:20:16"));
    // The nearest single-precision number to this is 1800.
    EXPECT_EQ(colorOf(1799.99999), kOrange);
}

TEST(CDiskTimeFormatter, showsNothingForWhatIsNoNumber) {
    EXPECT_EQ(shown({}), QString());
    EXPECT_EQ(shown(QStringLiteral("3600")), QString());
    EXPECT_EQ(colorOf({}), kRed);
    EXPECT_EQ(colorOf(QStringLiteral("3600")), kRed);
    EXPECT_EQ(shown(std::numeric_limits<double>::infinity()), QStringLiteral("00:00:00"));
}

TEST(CDiskTimeFormatter, coloursByWhatIsLeft) {
    EXPECT_EQ(colorOf(0), knobColor());
    EXPECT_EQ(colorOf(-59.7), knobColor());
    EXPECT_EQ(colorOf(0.5), kRed);
    EXPECT_EQ(colorOf(1799.5), kRed);
    EXPECT_EQ(colorOf(1800), kOrange);
    EXPECT_EQ(colorOf(3599.7), kOrange);
    EXPECT_EQ(colorOf(3600), kGreen);
    EXPECT_EQ(colorOf(qint64{7200}), kGreen);
    EXPECT_EQ(colorOf(std::numeric_limits<double>::quiet_NaN()), kRed);
}

TEST(CDiskTimeFormatter, followsThePaletteForTheSelectedKnobColour) {
    const QPalette before = QGuiApplication::palette();
    QPalette changed = before;
    changed.setColor(QPalette::Highlight, QColor(1, 2, 3));
    QGuiApplication::setPalette(changed);
    EXPECT_EQ(colorOf(0), QColor(1, 2, 3));
    QGuiApplication::setPalette(before);
}

TEST(CDiskTimeFormatter, keepsTheOtherDefaultAttributes) {
    const QVariantMap defaults{{QStringLiteral("NSFont"), QStringLiteral("a font")},
                               {QStringLiteral("NSColor"), QColor(Qt::black)}};
    const auto result = CDiskTimeFormatter().attributedStringForObjectValue(3600, defaults);
    EXPECT_EQ(result.string, QStringLiteral("01:00:00"));
    EXPECT_EQ(result.attributes.value(QStringLiteral("NSFont")), QStringLiteral("a font"));
    EXPECT_EQ(result.attributes.value(QStringLiteral("NSColor")).value<QColor>(), kGreen);
    EXPECT_EQ(result.attributes.size(), 2);
}

TEST(CDiskTimeFormatter, readsTheIntegerAtTheStart) {
    const CDiskTimeFormatter formatter;
    QVariant value;
    QString error = QStringLiteral("left over");
    EXPECT_TRUE(formatter.getObjectValue(value, QStringLiteral("42 min"), &error));
    EXPECT_EQ(value, QVariant(42));
    EXPECT_TRUE(error.isEmpty());
    EXPECT_TRUE(formatter.getObjectValue(value, QStringLiteral("\t -7.9"), nullptr));
    EXPECT_EQ(value, QVariant(-7));
}

TEST(CDiskTimeFormatter, saysWhyItRefusesAText) {
    const CDiskTimeFormatter formatter;
    QVariant value = 5;
    QString error;
    for (const auto* text : {"abc", "", "  ", "min 42", "- 4"}) {
        EXPECT_FALSE(formatter.getObjectValue(value, QString::fromLatin1(text), &error));
        EXPECT_EQ(error, QStringLiteral("Couldn't convert to time"));
        EXPECT_FALSE(formatter.getObjectValue(value, QString::fromLatin1(text), nullptr));
    }
    EXPECT_EQ(value, QVariant(5));
}

}  // namespace
}  // namespace takebox
