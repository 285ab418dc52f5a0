#include "display/meters/CVuMeterView.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <limits>

#include "support/WaitUntil.h"

namespace takebox {
namespace {

constexpr QRgb kGreen = 0xFF00E600;
constexpr QRgb kOrange = 0xFFFF9900;
constexpr QRgb kRed = 0xFFFF0000;
constexpr QRgb kGray = 0xFFE6E6E6;
constexpr QRgb kGap = 0xFF123456;

struct CountingMeter : CVuMeterView {
    int paints = 0;

protected:
    void paintEvent(QPaintEvent* event) override {
        ++paints;
        CVuMeterView::paintEvent(event);
    }
};

QImage pictureOf(CVuMeterView& meter) {
    QImage image(meter.size(), QImage::Format_RGB32);
    image.fill(kGap);
    QPainter painter(&image);
    meter.drawRect(painter, QRectF(0, 0, meter.width(), meter.height()), meter.height());
    return image;
}

// The colour that the line at a height above the lower edge must have.
QRgb expectedColor(int y, int height, double level) {
    const int y0 = y - y % 3;
    if (y % 3 == 2 || y0 + 2 > height) {
        return kGap;
    }
    if (level <= 0 || height * level < y0 + 2) {
        return kGray;
    }
    return y0 > 0.9 * height ? kRed : y0 > 0.8 * height ? kOrange : kGreen;
}

struct Case {
    int height;
    double level;
};

struct MeterColumn : ::testing::TestWithParam<Case> {};

TEST_P(MeterColumn, isDrawnAsItsArithmeticSays) {
    const auto [height, level] = GetParam();
    CVuMeterView meter;
    meter.resize(10, height);
    meter.setDoubleValue(level);
    const QImage image = pictureOf(meter);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < 10; ++x) {
            ASSERT_EQ(image.pixel(x, height - 1 - y), expectedColor(y, height, level))
                << "at " << x << ", " << y;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(CVuMeterView, MeterColumn,
                         ::testing::Values(Case{100, 0}, Case{100, 1.0}, Case{100, 0.5},
                                           Case{100, 0.02}, Case{100, 0.0199}, Case{100, -0.00916},
                                           Case{135, 0.87}, Case{135, 1.0}, Case{101, 0.99},
                                           Case{60, 0.33}, Case{1, 1.0}));

TEST(CVuMeterView, colorsTheTopOfAHundredPoints) {
    CVuMeterView meter;
    meter.resize(10, 100);
    meter.setDoubleValue(1.0);
    const QImage image = pictureOf(meter);
    const auto at = [&image](int y) { return image.pixel(5, 99 - y); };
    EXPECT_EQ(at(0), kGreen);
    EXPECT_EQ(at(78), kGreen);
    EXPECT_EQ(at(81), kOrange);
    EXPECT_EQ(at(90), kOrange);
    EXPECT_EQ(at(93), kRed);
    EXPECT_EQ(at(96), kRed);
    EXPECT_EQ(at(99), kGap);  // a segment would need two points
}

TEST(CVuMeterView, drawsInItsWidget) {
    CVuMeterView meter;
    meter.resize(10, 100);
    meter.setDoubleValue(0.5);
    const QImage image = meter.grab().toImage();
    EXPECT_EQ(image.pixel(5, 99), kGreen);
    EXPECT_EQ(image.pixel(5, 2), kGray);
}

TEST(CVuMeterView, drawsAnOldLevelFaintly) {
    CVuMeterView meter;
    meter.resize(10, 30);
    QPalette palette;
    palette.setColor(QPalette::Window, Qt::black);
    meter.setPalette(palette);
    meter.setDoubleValue(0.5);
    const auto colorAt = [&meter](int y) { return meter.grab().toImage().pixelColor(5, y); };
    EXPECT_EQ(colorAt(29).rgb(), kGreen);
    meter.setEnabled(false);
    EXPECT_LT(colorAt(29).green(), 150) << "a lit segment";
    EXPECT_LT(colorAt(2).green(), 150) << "an unlit one";
    meter.setEnabled(true);
    EXPECT_EQ(colorAt(29).rgb(), kGreen);
}

TEST(CVuMeterView, redrawsOnlyWhenTheLevelMovesByAStep) {
    CountingMeter meter;
    meter.setFixedSize(10, 100);
    meter.show();
    ASSERT_TRUE(test::waitUntil([&meter] { return meter.paints > 0; }));
    meter.setDoubleValue(0.5);
    ASSERT_TRUE(test::waitUntil([&meter, before = meter.paints] { return meter.paints > before; }));

    const int before = meter.paints;
    meter.setDoubleValue(0.52);
    EXPECT_EQ(meter.doubleValue(), 0.52);
    meter.setDBValue(-3);
    EXPECT_EQ(meter.doubleValue(), 0.52);
    // Whatever was asked for before this marker has been drawn when the marker comes.
    bool isMarked = false;
    QMetaObject::invokeMethod(
        &meter, [&isMarked] { isMarked = true; }, Qt::QueuedConnection);
    ASSERT_TRUE(test::waitUntil([&isMarked] { return isMarked; }));
    EXPECT_EQ(meter.paints, before);

    meter.setDoubleValue(0.53);
    ASSERT_TRUE(test::waitUntil([&meter, before] { return meter.paints > before; }));
    EXPECT_EQ(meter.paints, before + 1);
}

TEST(CVuMeterView, leavesTheMeterAsItIsForDecibels) {
    CVuMeterView meter;
    meter.resize(10, 100);
    meter.setDoubleValue(0.4);
    const QImage before = pictureOf(meter);
    meter.setDBValue(0);
    EXPECT_EQ(pictureOf(meter), before);
}

TEST(CVuMeterView, boundsALevelBeyondFullScale) {
    CVuMeterView meter;
    meter.resize(10, 100);
    meter.setDoubleValue(std::numeric_limits<double>::infinity());
    EXPECT_EQ(pictureOf(meter).pixel(5, 0), kGap);
    EXPECT_EQ(pictureOf(meter).pixel(5, 99), kGreen);
}

}  // namespace
}  // namespace takebox
