#pragma once

#include <QPoint>
#include <QScrollArea>

namespace takebox {

/// Holds the content of a window that may have to be lower than its content asks for: the content
/// scrolls then. Asks for all the room of its content, and is content with little. Main thread.
class ContentScrollView : public QScrollArea {
    Q_OBJECT

public:
    explicit ContentScrollView(QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
};

/// Makes the window as large as it asks for, or as it is already, as far as its screen has room:
/// that of the window it belongs to.
void fitToScreen(QWidget& window);
/// The same, with the corner of its frame there, or as near as the whole window is on the screen.
void fitToScreen(QWidget& window, QPoint topLeft);

}  // namespace takebox
