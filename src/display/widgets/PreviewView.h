#pragma once

#include <QImage>
#include <QWidget>

namespace takebox {

/// The live picture of a device in its own shape, as large as fits, and over it a notice while
/// there is no signal and an alarm while something goes wrong. Main thread.
class PreviewView : public QWidget {
    Q_OBJECT

public:
    explicit PreviewView(QWidget* parent = nullptr);

    [[nodiscard]] const QImage& image() const { return mImage; }
    void setImage(const QImage& image);

    /// A headline and a hint over the darkened picture; an empty headline takes them away.
    void setNotice(const QString& headline, const QString& hint);
    [[nodiscard]] const QString& notice() const { return mHeadline; }

    /// A text in warning colours at the foot of the picture; an empty one takes it away.
    void setAlarm(const QString& text);
    [[nodiscard]] const QString& alarm() const { return mAlarm; }

    /// Where the picture is drawn.
    [[nodiscard]] QRectF imageRect() const;

    [[nodiscard]] QSize sizeHint() const override { return {240, 135}; }
    [[nodiscard]] QSize minimumSizeHint() const override { return {240, 135}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void drawImage(QPainter& painter) const;
    void drawNotice(QPainter& painter, const QRect& room) const;
    /// Returns the room that is left above the alarm.
    [[nodiscard]] QRect drawAlarm(QPainter& painter) const;
    void describe();

    QImage mImage;
    QString mHeadline;
    QString mHint;
    QString mAlarm;
};

}  // namespace takebox
