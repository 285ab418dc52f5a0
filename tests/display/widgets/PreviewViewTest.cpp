#include "display/widgets/PreviewView.h"

#include <gtest/gtest.h>

namespace takebox {
namespace {

TEST(PreviewView, showsAPictureAsLargeAsFits) {
    PreviewView view;
    view.resize(480, 200);
    QImage picture(180, 135, QImage::Format_RGB32);
    picture.fill(Qt::red);
    view.setImage(picture);
    const QRectF area = view.imageRect();
    EXPECT_NEAR(area.height(), 200, 0.5);
    EXPECT_NEAR(area.width(), 200 * 4.0 / 3, 0.5);
    EXPECT_NEAR(area.center().x(), 240, 0.5);
    const QImage shown = view.grab().toImage();
    EXPECT_EQ(shown.pixelColor(240, 100), QColor(Qt::red));
    EXPECT_NE(shown.pixelColor(10, 100), QColor(Qt::red));
}

TEST(PreviewView, leavesNoPixelOut) {
    QImage picture(180, 135, QImage::Format_RGB32);
    picture.fill(Qt::red);
    for (const double scale : {1.0, 1.25, 1.5, 2.0}) {
        for (const QSize size : {QSize(320, 240), QSize(333, 201), QSize(211, 307)}) {
            PreviewView view;
            view.resize(size);
            view.setImage(picture);
            QImage shown(size * scale, QImage::Format_RGB32);
            shown.setDevicePixelRatio(scale);
            shown.fill(Qt::green);
            view.render(&shown);
            int pixelsOfPicture = 0;
            for (int y = 0; y < shown.height(); ++y) {
                for (int x = 0; x < shown.width(); ++x) {
                    const QRgb pixel = shown.pixel(x, y);
                    ASSERT_EQ(qGreen(pixel), 0) << x << ", " << y << " at " << scale;
                    pixelsOfPicture += qRed(pixel) == 255 ? 1 : 0;
                }
            }
            const QSizeF area = view.imageRect().size() * scale;
            EXPECT_NEAR(pixelsOfPicture, area.width() * area.height(),
                        area.width() + area.height());
        }
    }
}

TEST(PreviewView, darkensAPictureThatIsNoLongerLive) {
    PreviewView view;
    view.resize(240, 135);
    QImage picture(240, 135, QImage::Format_RGB32);
    picture.fill(Qt::white);
    view.setImage(picture);
    view.setNotice(QStringLiteral("No signal"), QStringLiteral("Check the cable."));
    EXPECT_LT(view.grab().toImage().pixelColor(2, 2).lightness(), 120);
    EXPECT_EQ(view.accessibleDescription(), QStringLiteral("No signal. Check the cable."));
    view.setNotice({}, {});
    EXPECT_EQ(view.grab().toImage().pixelColor(2, 2), QColor(Qt::white));
    EXPECT_TRUE(view.accessibleDescription().isEmpty());
}

TEST(PreviewView, makesRoomForALongHint) {
    PreviewView view;
    view.resize(240, 135);
    QImage picture(240, 135, QImage::Format_RGB32);
    picture.fill(Qt::black);
    view.setImage(picture);
    view.setNotice(QStringLiteral("No signal"),
                   QStringLiteral("No permission to use %1 (/dev/fw1). Add yourself to the group "
                                  "video or install the udev rule.")
                       .arg(QStringLiteral("Nordlicht Recorder ").repeated(4)));
    const QImage shown = view.grab().toImage();
    const auto isBright = [&shown](int fromRow, int toRow) {
        for (int y = fromRow; y < toRow; ++y) {
            for (int x = 0; x < shown.width(); ++x) {
                if (shown.pixelColor(x, y).lightness() > 150) {
                    return true;
                }
            }
        }
        return false;
    };
    EXPECT_TRUE(isBright(0, 45)) << "the headline";
    EXPECT_TRUE(isBright(90, 130)) << "the end of the hint";
    EXPECT_FALSE(isBright(131, 135)) << "the border";
}

TEST(PreviewView, showsAnAlarmWithAndWithoutASignal) {
    PreviewView view;
    view.resize(240, 135);
    QImage picture(240, 135, QImage::Format_RGB32);
    picture.fill(Qt::blue);
    view.setImage(picture);
    view.setAlarm(QStringLiteral("Cannot write A.dv"));
    const auto pixel = [&view](int y) { return view.grab().toImage().pixelColor(2, y); };
    EXPECT_EQ(pixel(130), QColor(0xFF, 0xD4, 0x00));
    EXPECT_EQ(pixel(60), QColor(Qt::blue));
    EXPECT_EQ(view.accessibleDescription(), QStringLiteral("Cannot write A.dv"));
    view.setNotice(QStringLiteral("No signal"), QStringLiteral("Check the cable."));
    EXPECT_EQ(pixel(130), QColor(0xFF, 0xD4, 0x00));
    EXPECT_EQ(view.accessibleDescription(),
              QStringLiteral("Cannot write A.dv. No signal. Check the cable."));
    view.setNotice({}, {});
    view.setAlarm({});
    EXPECT_EQ(pixel(130), QColor(Qt::blue));
}

}  // namespace
}  // namespace takebox
