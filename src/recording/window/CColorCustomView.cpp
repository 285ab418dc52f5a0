#include "CColorCustomView.h"

#include <QPaintEvent>
#include <QPainter>

#include "display/CDiskTimeFormatter.h"

namespace takebox {

CColorCustomView::CColorCustomView(QWidget* parent)
    : QWidget(parent), mCurrentColor(CDiskTimeFormatter::selectedKnobColor()) {
    mCurrentColor.setAlphaF(0.7F);
}

void CColorCustomView::paintEvent(QPaintEvent* event) {
    QPainter(this).fillRect(event->rect(), mCurrentColor);
}

}  // namespace takebox
