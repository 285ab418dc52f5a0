#include "display/widgets/Theme.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <algorithm>
#include <cmath>

namespace takebox {
namespace {

double luminance(const QColor& color) {
    const auto linear = [](double value) {
        return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

double contrast(const QColor& one, const QColor& other) {
    const double a = luminance(one);
    const double b = luminance(other);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

TEST(Theme, isReadableInTheDark) {
    const QPalette palette = darkPalette();
    EXPECT_GT(contrast(palette.color(QPalette::WindowText), palette.color(QPalette::Window)), 7);
    EXPECT_GT(contrast(palette.color(QPalette::Text), palette.color(QPalette::Base)), 7);
    EXPECT_GT(contrast(palette.color(QPalette::ButtonText), palette.color(QPalette::Button)), 4.5);
    EXPECT_GT(
        contrast(palette.color(QPalette::HighlightedText), palette.color(QPalette::Highlight)), 4);
}

TEST(Theme, staysAsItIsWhereTheDesktopCannotSay) {
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
    const QColor before = QApplication::palette().color(QPalette::Window);
    followDesktopTheme();
    EXPECT_EQ(QApplication::palette().color(QPalette::Window), before);
}

}  // namespace
}  // namespace takebox
