#include "CVuMeterView.h"

#include <QPainter>
#include <QSizePolicy>
#include <algorithm>
#include <cmath>

namespace takebox {
namespace {

constexpr double kOldLevelOpacity = 0.3;

}  // namespace

CVuMeterView::CVuMeterView(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Expanding);
}

void CVuMeterView::setDoubleValue(double level) {
    _myValue = level;
    if (std::abs(level - _myPreviousValue) >= _myValueStep) {
        _myPreviousValue = level;
        update();
    }
}

void CVuMeterView::setDBValue(double /*decibels*/) {}

void CVuMeterView::drawRect(QPainter& painter, const QRectF& rectangle, int toDevice) const {
    const double height = rectangle.height();
    const double top = rectangle.y() + height;
    const int bottom = static_cast<int>(rectangle.y());
    const auto fillSegment = [&](int y0, const QColor& color) {
        painter.fillRect(
            QRectF(rectangle.x(), toDevice - y0 - kBarHeight, rectangle.width(), kBarHeight),
            color);
    };
    for (int y0 = bottom; y0 + kBarHeight <= top; y0 += kBarHeight + kSpaceHeight) {
        fillSegment(y0, _myGrayColor);
    }
    if (_myValue <= 0) {
        return;
    }
    const double level = std::min(_myValue, 1.0);
    for (int y0 = bottom; height * level + rectangle.y() >= y0 + kBarHeight;
         y0 += kBarHeight + kSpaceHeight) {
        if (y0 > 0.9 * height) {
            fillSegment(y0, _myRedColor);
        } else if (y0 > 0.8 * height) {
            fillSegment(y0, _myOrangeColor);
        } else {
            fillSegment(y0, _myGreenColor);
        }
    }
}

QSize CVuMeterView::sizeHint() const {
    return {14, 135};
}

QSize CVuMeterView::minimumSizeHint() const {
    return {8, 60};
}

void CVuMeterView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setOpacity(isEnabled() ? 1 : kOldLevelOpacity);
    drawRect(painter, QRectF(0, 0, width(), height()), height());
}

void CVuMeterView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    _myValueStep = height() > 0 ? 3.0 / height() : 0;
}

}  // namespace takebox
