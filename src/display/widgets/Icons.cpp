#include "Icons.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QSvgRenderer>

namespace takebox {
namespace {

QString iconPath(const QString& name) {
    return QStringLiteral(":/icons/%1.svg").arg(name);
}

class SymbolicIconEngine : public QIconEngine {
public:
    SymbolicIconEngine(QString name, QColor color) : mName(std::move(name)), mColor(color) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode,
               QIcon::State state) override {
        const qreal ratio =
            painter->device() != nullptr ? painter->device()->devicePixelRatio() : 1;
        painter->drawPixmap(rect, scaledPixmap(rect.size() * ratio, mode, state, ratio));
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return scaledPixmap(size, mode, state, 1);
    }

    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State /*state*/,
                         qreal /*scale*/) override {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        QSvgRenderer(iconPath(mName)).render(&painter);
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(pixmap.rect(), colorFor(mode));
        return pixmap;
    }

    [[nodiscard]] QIconEngine* clone() const override {
        return std::make_unique<SymbolicIconEngine>(mName, mColor).release();
    }

private:
    [[nodiscard]] QColor colorFor(QIcon::Mode mode) const {
        const QPalette palette = QGuiApplication::palette();
        if (mode == QIcon::Disabled) {
            return palette.color(QPalette::Disabled, QPalette::ButtonText);
        }
        if (mColor.isValid()) {
            return mColor;
        }
        return mode == QIcon::Selected ? palette.color(QPalette::HighlightedText)
                                       : palette.color(QPalette::ButtonText);
    }

    QString mName;
    QColor mColor;
};

}  // namespace

QIcon applicationIcon(const QString& name) {
    return QIcon(iconPath(name));
}

QIcon symbolicIcon(const QString& name) {
    return symbolicIcon(name, {});
}

QIcon symbolicIcon(const QString& name, const QColor& color) {
    return QIcon(
        std::make_unique<SymbolicIconEngine>(name + QStringLiteral("-symbolic"), color).release());
}

}  // namespace takebox
