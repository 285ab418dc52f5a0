#pragma once

#include <QMainWindow>
#include <QString>
#include <QTimer>
#include <memory>

namespace Ui {
class NoDeviceWindow;
}

namespace takebox {

class ApplicationCommands;

/// Stands in for the deck windows while there is no deck, and says what to do about it. Main
/// thread.
class NoDeviceWindow : public QMainWindow {
    Q_OBJECT

public:
    /// @param commands must outlive the window.
    /// @param deviceFolder the folder of the system's device files.
    explicit NoDeviceWindow(ApplicationCommands& commands,
                            QString deviceFolder = QStringLiteral("/dev"));
    ~NoDeviceWindow() override;

protected:
    void changeEvent(QEvent* event) override;

private:
    void showAccess();

    std::unique_ptr<Ui::NoDeviceWindow> mUi;
    QString mDeviceFolder;
    QTimer mAccessTimer;
};

}  // namespace takebox
