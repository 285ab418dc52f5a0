#pragma once

#include <QDialog>
#include <QObject>
#include <QPointer>
#include <memory>

#include "app/UserInterface.h"
#include "recording/window/ApplicationCommands.h"

namespace takebox {

class AboutPanel;
class CSchedulingWindowController;
class CTapedeckApplication;
class NoDeviceWindow;
class PreferenceController;
class TrayMenu;

/// The program on a desktop: its windows, alerts, menus and tray icon. Made and destroyed on the
/// main thread, around the application object.
class DesktopInterface final : public QObject, public UserInterface, public ApplicationCommands {
    Q_OBJECT

public:
    DesktopInterface();
    ~DesktopInterface() override;

    // UserInterface
    void setApplication(CTapedeckApplication* application) override;
    std::unique_ptr<ScriptSupervisor> makeScriptSupervisor() override;
    std::unique_ptr<DeviceWindow> makeDeviceWindow(CDVDeviceWindowController& controller) override;
    void showCriticalAlert(const QString& title, const QString& message) override;
    void showWarning(const QString& title, const QString& message) override;
    void offerRecovery(const std::vector<AbandonedRecording>& recordings) override;
    void showInformationalAlert(const QString& title, const QString& message,
                                std::function<void()> dismissed) override;
    [[nodiscard]] QRect visibleFrame() const override;
    void setApplicationIcon(const QString& name) override;
    void deviceListDidChange() override;
    void activate() override;

    // UserInterface and ApplicationCommands
    void editScheduledEvents() override;
    void showPreferencePanel() override;
    void orderFrontStandardAboutPanel() override;

    /// Quits, and asks first when that ends a recording.
    void terminate() override;
    [[nodiscard]] bool needsDockMenu() const override;
    void fillDockMenu(QMenu& menu) override;
    [[nodiscard]] QString scheduleOfDevice(std::uint64_t guid) const override;

protected:
    /// Notices when somebody closes a window, as opposed to one that goes with its device, and asks
    /// first when it is the last one and the program would run on unseen.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showWhetherThereIsADevice();
    void keepMessagesInFront();
    [[nodiscard]] bool mustAskBeforeClosing(const QWidget& window) const;
    void askWhetherToClose(QWidget& window);
    void lastWindowClosed();

    CTapedeckApplication* mApplication = nullptr;
    // Both until the event loop has the word again.
    bool mIsUserClosing = false;
    bool mIsQuitting = false;
    const QWidget* mMayGo = nullptr;  // the window that is closed after a question
    std::unique_ptr<CSchedulingWindowController> mSchedulingController;
    std::unique_ptr<TrayMenu> mTrayMenu;
    std::unique_ptr<NoDeviceWindow> mNoDeviceWindow;
    std::unique_ptr<PreferenceController> mPreferenceController;
    std::unique_ptr<AboutPanel> mAboutPanel;
    QPointer<QDialog> mRecoveryOffer;  // destroys itself when it is closed
};

}  // namespace takebox
