#include "PreviewView.h"

#include <QAccessible>
#include <QPainter>
#include <QRegion>
#include <QTextOption>
#include <QtMath>
#include <algorithm>

namespace takebox {
namespace {

constexpr int kShade = 170;  // of 255, over a picture that is no longer live
constexpr int kGap = 6;      // between headline, hint and border
// Qt shares what is higher among threads, and waking these takes longer than drawing so little.
constexpr int kBandPixels = 64;
const QColor kAlarmColor(0xFF, 0xD4, 0x00);

}  // namespace

PreviewView::PreviewView(QWidget* parent) : QWidget(parent) {
    // Nothing below it needs to be painted for each picture.
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void PreviewView::setImage(const QImage& image) {
    mImage = image;
    update();
}

void PreviewView::setNotice(const QString& headline, const QString& hint) {
    if (headline != mHeadline || hint != mHint) {
        mHeadline = headline;
        mHint = hint;
        describe();
        update();
    }
}

void PreviewView::setAlarm(const QString& text) {
    if (text == mAlarm) {
        return;
    }
    mAlarm = text;
    describe();
    update();
    if (!text.isEmpty()) {
        QAccessibleEvent alert(this, QAccessible::Alert);
        QAccessible::updateAccessibility(&alert);
    }
}

void PreviewView::describe() {
    QStringList texts{mAlarm, mHeadline, mHint};
    texts.removeAll(QString());
    setAccessibleDescription(texts.join(QStringLiteral(". ")));
}

QRectF PreviewView::imageRect() const {
    const QSizeF size = QSizeF(mImage.size()).scaled(QSizeF(this->size()), Qt::KeepAspectRatio);
    return {QPointF((width() - size.width()) / 2, (height() - size.height()) / 2), size};
}

void PreviewView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    drawImage(painter);
    if (!mHeadline.isEmpty()) {
        painter.fillRect(rect(), QColor(0, 0, 0, kShade));
    }
    const QRect room = drawAlarm(painter);
    if (!mHeadline.isEmpty()) {
        drawNotice(painter, room);
    }
}

void PreviewView::drawImage(QPainter& painter) const {
    const QRectF target = mImage.isNull() ? QRectF() : imageRect();
    const QRect covered(QPoint(qCeil(target.left()), qCeil(target.top())),
                        QPoint(qFloor(target.right()) - 1, qFloor(target.bottom()) - 1));
    for (const QRect& margin : QRegion(rect()).subtracted(covered)) {
        painter.fillRect(margin, Qt::black);
    }
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const int bandHeight = std::max(1, qFloor(kBandPixels / devicePixelRatioF()));
    for (int top = 0; top < height() && !mImage.isNull(); top += bandHeight) {
        painter.setClipRect(0, top, width(), bandHeight);
        painter.drawImage(target, mImage);
    }
    painter.setClipping(false);
}

QRect PreviewView::drawAlarm(QPainter& painter) const {
    if (mAlarm.isEmpty()) {
        return rect();
    }
    QFont bold = font();
    bold.setBold(true);
    bold.setPixelSize(13);
    painter.setFont(bold);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);  // names may be long words
    const QRectF column = rect().adjusted(kGap, 0, -kGap, 0);
    const int textHeight = qCeil(painter.boundingRect(column, mAlarm, option).height());
    const int height = std::min(textHeight + 2 * kGap, this->height());
    const QRect band(0, this->height() - height, this->width(), height);
    painter.fillRect(band, kAlarmColor);
    painter.setPen(Qt::black);
    painter.drawText(QRectF(band.adjusted(kGap, kGap, -kGap, 0)), mAlarm, option);
    return rect().adjusted(0, 0, 0, -height);
}

void PreviewView::drawNotice(QPainter& painter, const QRect& room) const {
    QFont large = font();
    large.setBold(true);
    large.setPixelSize(22);
    QFont small = font();
    small.setPixelSize(12);
    const QRect area = room.adjusted(12, 0, -12, 0);
    constexpr int kHintFlags = Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap;
    painter.setFont(small);
    const int hintHeight = painter.boundingRect(area, kHintFlags, mHint).height();
    // The headline stands above the middle; a long hint pushes it up.
    const int middle = std::min(area.height() / 2, area.height() - hintHeight - 2 * kGap);
    painter.setPen(QColor(210, 210, 210));
    painter.drawText(area.adjusted(0, middle + kGap, 0, 0), kHintFlags, mHint);
    painter.setPen(Qt::white);
    painter.setFont(large);
    painter.drawText(QRect(area.x(), 0, area.width(), middle), Qt::AlignHCenter | Qt::AlignBottom,
                     mHeadline);
}

}  // namespace takebox
