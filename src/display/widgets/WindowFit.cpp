#include "WindowFit.h"

#include <QLayout>
#include <QScreen>
#include <QScrollBar>
#include <QStyle>
#include <algorithm>

namespace takebox {
namespace {

constexpr int kLeastHeight = 120;  // pixels of a content that scrolls

// The frame that the desktop puts around the window; before it is shown, what it will be about.
QMargins frameMargins(const QWidget& window) {
    if (!window.isVisible()) {
        const int edge = window.style()->pixelMetric(QStyle::PM_MdiSubWindowFrameWidth);
        return {edge, window.style()->pixelMetric(QStyle::PM_TitleBarHeight), edge, edge};
    }
    const QRect inner = window.geometry();
    const QRect outer = window.frameGeometry();
    return {inner.left() - outer.left(), inner.top() - outer.top(), outer.right() - inner.right(),
            outer.bottom() - inner.bottom()};
}

QRect roomFor(const QWidget& window) {
    const QWidget* const owner = window.parentWidget();
    return (owner != nullptr ? owner->screen() : window.screen())->availableGeometry();
}

QSize wantedSize(const QWidget& window) {
    QSize size = window.sizeHint().expandedTo(window.minimumSize());
    if (window.hasHeightForWidth()) {
        size.setHeight(window.heightForWidth(size.width()));
    }
    // It may have been made larger.
    return window.testAttribute(Qt::WA_Resized) ? size.expandedTo(window.size()) : size;
}

}  // namespace

ContentScrollView::ContentScrollView(QWidget* parent) : QScrollArea(parent) {
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setFocusPolicy(Qt::NoFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

QSize ContentScrollView::sizeHint() const {
    if (widget() == nullptr) {
        return QScrollArea::sizeHint();
    }
    // The bar has its room from the start: it must not push a part of the content out.
    const QSize size = widget()
                           ->sizeHint()
                           .expandedTo(widget()->minimumSizeHint())
                           .expandedTo(widget()->minimumSize());
    const int height =
        widget()->hasHeightForWidth() ? widget()->heightForWidth(size.width()) : size.height();
    return {size.width() + verticalScrollBar()->sizeHint().width(), height};
}

QSize ContentScrollView::minimumSizeHint() const {
    const QSize size = sizeHint();
    return {size.width(), std::min(size.height(), kLeastHeight)};
}

void fitToScreen(QWidget& window) {
    for (QWidget* view : window.findChildren<ContentScrollView*>()) {
        view->updateGeometry();  // its content may have changed
    }
    const QSize room = roomFor(window).marginsRemoved(frameMargins(window)).size();
    window.resize(wantedSize(window).boundedTo(room));
}

void fitToScreen(QWidget& window, QPoint topLeft) {
    fitToScreen(window);
    const QRect room = roomFor(window);
    const QSize size = window.size().grownBy(frameMargins(window));
    const int x = std::min(topLeft.x(), room.x() + room.width() - size.width());
    const int y = std::min(topLeft.y(), room.y() + room.height() - size.height());
    window.move(std::max(x, room.x()), std::max(y, room.y()));
}

}  // namespace takebox
