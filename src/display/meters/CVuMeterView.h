#pragma once

#include <QColor>
#include <QRectF>
#include <QWidget>

class QPainter;

namespace takebox {

/// A level meter: a column of segments, lit from the bottom up to a level between 0 and 1. The top
/// tenth is red, the tenth below it orange, the rest green. No peak hold, no decay: it shows the
/// last level that it was given; faintly while it is disabled, because the level is old. Main
/// thread.
class CVuMeterView : public QWidget {
    Q_OBJECT

public:
    explicit CVuMeterView(QWidget* parent = nullptr);

    /// @param level fraction of full scale. A change worth less than a segment and its gap is kept
    ///              but not drawn, so that a level with every display tick does not repaint.
    void setDoubleValue(double level);
    [[nodiscard]] double doubleValue() const { return _myValue; }

    /// Accepted and ignored: the meter is linear.
    void setDBValue(double decibels);

    /// Draws the column that fills a rectangle. The rectangle's y axis points up: (x, y) is its
    /// lower left corner.
    /// @param toDevice the height at which the upward axis begins in the painter's coordinates.
    void drawRect(QPainter& painter, const QRectF& rectangle, int toDevice) const;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    static constexpr int kBarHeight = 2;
    static constexpr int kSpaceHeight = 1;

    const QColor _myGreenColor = QColor::fromRgbF(0, 0.9F, 0);
    const QColor _myRedColor = QColor::fromRgbF(1, 0, 0);
    const QColor _myOrangeColor = QColor::fromRgbF(1, 0.6F, 0);
    const QColor _myGrayColor = QColor::fromRgbF(0.9F, 0.9F, 0.9F);
    double _myValue = 0;
    double _myPreviousValue = 0;  // level at the last redraw request
    double _myValueStep = 0;      // smallest change that is drawn
};

}  // namespace takebox
