#pragma once

#include <QColor>
#include <QWidget>

namespace takebox {

/// A view in one solid colour. At first that is the colour of selected controls, see-through.
class CColorCustomView : public QWidget {
    Q_OBJECT

public:
    explicit CColorCustomView(QWidget* parent = nullptr);

    [[nodiscard]] const QColor& currentColor() const { return mCurrentColor; }
    /// Asks for no redraw: the next one shows the colour.
    void setCurrentColor(const QColor& color) { mCurrentColor = color; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor mCurrentColor;
};

}  // namespace takebox
