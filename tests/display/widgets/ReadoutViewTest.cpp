#include "display/widgets/ReadoutView.h"

#include <gtest/gtest.h>

#include <QImage>

namespace takebox {
namespace {

int coloredPixels(ReadoutView& view, const QColor& color) {
    const QImage image = view.grab().toImage();
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            count += image.pixelColor(x, y) == color ? 1 : 0;
        }
    }
    return count;
}

TEST(ReadoutView, showsItsTextInItsColor) {
    ReadoutView view;
    view.resize(view.sizeHint());
    view.setColor(Qt::magenta);
    EXPECT_EQ(coloredPixels(view, Qt::magenta), 0);
    view.setText(QStringLiteral("10:00:00:00"));
    EXPECT_GT(coloredPixels(view, Qt::magenta), 50);
}

TEST(ReadoutView, growsWithItsSpace) {
    ReadoutView view;
    view.setFigureHeight(20);
    view.setColor(Qt::magenta);
    view.setText(QStringLiteral("10:00:00:00"));
    view.resize(view.sizeHint());
    const int small = coloredPixels(view, Qt::magenta);
    view.resize(view.sizeHint() * 3);
    EXPECT_GT(coloredPixels(view, Qt::magenta), small * 5);
}

TEST(ReadoutView, hasRoomForATimeCode) {
    ReadoutView small;
    small.setFigureHeight(20);
    ReadoutView large;
    large.setFigureHeight(40);
    EXPECT_GT(large.minimumSizeHint().width(), small.minimumSizeHint().width());
    EXPECT_EQ(large.figureHeight(), 40);
}

}  // namespace
}  // namespace takebox
