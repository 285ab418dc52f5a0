#pragma once

#include <QMenu>
#include <QSystemTrayIcon>

namespace takebox {

class CTapedeckApplication;

/// The program's icon in the tray: it shows whether a deck records, and its menu has Record and
/// Stop for each. Main thread.
class TrayMenu : public QObject {
    Q_OBJECT

public:
    /// @param application must outlive the tray menu.
    explicit TrayMenu(CTapedeckApplication& application);

    void setIcon(const QIcon& icon);
    /// Whether the desktop shows the icon.
    [[nodiscard]] bool isShown() const;
    [[nodiscard]] QMenu& menu() { return mMenu; }

    /// Makes the entries of this or another menu afresh: Record and Stop for each device.
    void fill(QMenu& menu);

Q_SIGNALS:
    /// The icon itself was clicked.
    void activated();

private:
    CTapedeckApplication& mApplication;
    QMenu mMenu;
    QSystemTrayIcon mIcon{this};
};

}  // namespace takebox
