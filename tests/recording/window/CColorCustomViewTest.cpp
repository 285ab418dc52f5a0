#include "recording/window/CColorCustomView.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>
#include <QPalette>

namespace takebox {
namespace {

TEST(CColorCustomView, beginsWithTheColorOfSelectedControls) {
    const CColorCustomView view;
    EXPECT_EQ(view.currentColor().rgb(),
              QGuiApplication::palette().color(QPalette::Highlight).rgb());
    EXPECT_NEAR(view.currentColor().alphaF(), 0.7, 0.005);
}

TEST(CColorCustomView, fillsItselfWithItsColor) {
    CColorCustomView view;
    view.resize(20, 10);
    view.setCurrentColor(Qt::black);
    EXPECT_EQ(view.currentColor(), QColor(Qt::black));
    const QImage image = view.grab().toImage();
    EXPECT_EQ(image.pixel(0, 0), qRgb(0, 0, 0));
    EXPECT_EQ(image.pixel(19, 9), qRgb(0, 0, 0));
}

}  // namespace
}  // namespace takebox
