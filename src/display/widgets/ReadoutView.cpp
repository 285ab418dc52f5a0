#include "ReadoutView.h"

#include <QAccessible>
#include <QFontDatabase>
#include <QFontMetrics>
#include <QPainter>
#include <algorithm>

namespace takebox {
namespace {

const QString kWidestText = QStringLiteral("00:00:00:00");

}  // namespace

ReadoutView::ReadoutView(QWidget* parent) : QWidget(parent) {
    QFont figures = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    figures.setBold(true);
    setFont(figures);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void ReadoutView::setText(const QString& text) {
    if (text == mText) {
        return;
    }
    mText = text;
    if (QAccessible::isActive()) {
        setAccessibleDescription(text);
    }
    update();
}

void ReadoutView::setColor(const QColor& color) {
    if (color != mColor) {
        mColor = color;
        update();
    }
}

void ReadoutView::setFigureHeight(int height) {
    mFigureHeight = height;
    updateGeometry();
}

QSize ReadoutView::sizeHint() const {
    const QFontMetrics metrics(fontOfHeight(mFigureHeight));
    return {metrics.horizontalAdvance(kWidestText), metrics.height()};
}

QFont ReadoutView::fontOfHeight(int height) const {
    QFont figures = font();
    figures.setPixelSize(height);
    return figures;
}

void ReadoutView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    // The figures grow with the view: a large window can be read across a room.
    const QSize least = sizeHint();
    const double growth = std::min(static_cast<double>(width()) / least.width(),
                                   static_cast<double>(height()) / least.height());
    mShownFont = fontOfHeight(std::max(1, static_cast<int>(mFigureHeight * growth)));
}

void ReadoutView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setFont(mShownFont);
    painter.setPen(mColor);
    painter.drawText(rect(), Qt::AlignLeft | Qt::AlignVCenter, mText);
}

}  // namespace takebox
