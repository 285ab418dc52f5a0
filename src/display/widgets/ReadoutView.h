#pragma once

#include <QColor>
#include <QFont>
#include <QString>
#include <QWidget>

namespace takebox {

/// A time or time code in large figures of equal width. A new text repaints this widget and nothing
/// else, for it changes with every frame. Main thread.
class ReadoutView : public QWidget {
    Q_OBJECT
    Q_PROPERTY(QString text READ text WRITE setText)
    Q_PROPERTY(int figureHeight READ figureHeight WRITE setFigureHeight)
    Q_PROPERTY(QColor color READ color WRITE setColor)

public:
    explicit ReadoutView(QWidget* parent = nullptr);

    [[nodiscard]] const QString& text() const { return mText; }
    void setText(const QString& text);

    [[nodiscard]] const QColor& color() const { return mColor; }
    void setColor(const QColor& color);

    /// Least height of the figures in points of the screen; in a larger view they are larger.
    [[nodiscard]] int figureHeight() const { return mFigureHeight; }
    void setFigureHeight(int height);

    /// Room for a time code at the least.
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    [[nodiscard]] QFont fontOfHeight(int height) const;

    QString mText;
    int mFigureHeight = 20;
    QFont mShownFont;
    QColor mColor = Qt::white;
};

}  // namespace takebox
