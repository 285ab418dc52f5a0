#include "display/widgets/Icons.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPalette>

#include "display/widgets/Resources.h"

namespace takebox {
namespace {

QImage pictureOf(const QIcon& icon, int size, QIcon::Mode mode = QIcon::Normal) {
    return icon.pixmap(QSize(size, size), 1, mode).toImage().convertToFormat(QImage::Format_ARGB32);
}

TEST(Icons, tellTheStatesApartInATray) {
    loadResources();
    const QImage recording = pictureOf(applicationIcon(QStringLiteral("TapedeckIcon")), 22);
    const QImage paused = pictureOf(applicationIcon(QStringLiteral("TapedeckPausedIcon")), 22);
    const QImage stopped = pictureOf(applicationIcon(QStringLiteral("TapedeckStoppedIcon")), 22);
    ASSERT_EQ(recording.size(), QSize(22, 22));
    // The badge, off its middle.
    const QColor red = recording.pixelColor(14, 12);
    const QColor amber = paused.pixelColor(10, 15);
    EXPECT_GT(red.red(), 180);
    EXPECT_LT(red.green(), 110);
    EXPECT_GT(amber.green(), 120);
    EXPECT_NE(recording, paused);
    EXPECT_NE(paused, stopped);
    EXPECT_NE(recording, stopped);
}

TEST(Icons, exist) {
    loadResources();
    for (const char* name : {"record", "stop", "pause", "settings", "schedule", "folder", "add",
                             "remove", "check", "warning"}) {
        const QImage image = pictureOf(symbolicIcon(QString::fromLatin1(name)), 16);
        bool isDrawn = false;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                isDrawn = isDrawn || qAlpha(image.pixel(x, y)) > 0;
            }
        }
        EXPECT_TRUE(isDrawn) << name;
    }
}

TEST(Icons, arePaintedAsTheyAreAsPixmaps) {
    loadResources();
    const QIcon icon = symbolicIcon(QStringLiteral("stop"), Qt::red);
    QIcon copy = icon;
    copy.setIsMask(false);  // it is one of its own now
    for (const QIcon& painted : {icon, copy}) {
        QImage image(32, 32, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        image.setDevicePixelRatio(2);
        QPainter painter(&image);
        painted.paint(&painter, QRect(0, 0, 16, 16));
        painter.end();
        image.setDevicePixelRatio(1);
        EXPECT_EQ(image, pictureOf(icon, 32)) << "as fine as the screen";
    }
}

TEST(Icons, takeTheColorOfTheTextBesideThem) {
    loadResources();
    const QPalette before = QGuiApplication::palette();
    const QIcon icon = symbolicIcon(QStringLiteral("stop"));
    QPalette palette = before;
    palette.setColor(QPalette::ButtonText, Qt::green);
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, Qt::blue);
    QGuiApplication::setPalette(palette);
    EXPECT_EQ(pictureOf(icon, 16).pixelColor(8, 8), QColor(Qt::green));
    EXPECT_EQ(pictureOf(icon, 16, QIcon::Disabled).pixelColor(8, 8), QColor(Qt::blue));
    const QIcon colored = symbolicIcon(QStringLiteral("record"), Qt::red);
    EXPECT_EQ(pictureOf(colored, 16).pixelColor(8, 8), QColor(Qt::red));
    EXPECT_EQ(pictureOf(colored, 16, QIcon::Disabled).pixelColor(8, 8), QColor(Qt::blue));
    QGuiApplication::setPalette(before);
}

}  // namespace
}  // namespace takebox
