#pragma once

#include <QRect>
#include <QString>
#include <functional>
#include <memory>
#include <vector>

#include "platform/scripting/ScriptSupervisor.h"

namespace takebox {

struct AbandonedRecording;
class CDVDeviceWindowController;
class CTapedeckApplication;
class DeviceWindow;

/// What the program shows, on a desktop or, headless, in the log. Owned by main(), used by the
/// application object. Main thread.
class UserInterface {
public:
    virtual ~UserInterface() = default;

    /// The application that this interface serves; null before it is made and when it goes.
    virtual void setApplication(CTapedeckApplication* /*application*/) {}

    /// Null without windows.
    virtual std::unique_ptr<DeviceWindow> makeDeviceWindow(
        CDVDeviceWindowController& controller) = 0;

    /// Shows an application-modal alert with one button and returns at once.
    virtual void showCriticalAlert(const QString& title, const QString& message) = 0;

    /// Tells the operator of something that needs no answer; blocks nothing, also no other window.
    /// It has been logged already.
    virtual void showWarning(const QString& /*title*/, const QString& /*message*/) {}

    /// Offers to recover recordings that an earlier run of the program left cut off. The commands
    /// for it have been logged already.
    virtual void offerRecovery(const std::vector<AbandonedRecording>& /*recordings*/) {}

    /// The same as showCriticalAlert() for news; `dismissed` is called when the user has seen it.
    virtual void showInformationalAlert(const QString& title, const QString& message,
                                        std::function<void()> dismissed) = 0;

    /// Area of the main screen that windows can use, y growing upwards; empty without a screen.
    [[nodiscard]] virtual QRect visibleFrame() const = 0;

    /// "TapedeckIcon", "TapedeckPausedIcon" or "TapedeckStoppedIcon" in the tray and on windows.
    virtual void setApplicationIcon(const QString& name) = 0;

    /// The list of devices has changed.
    virtual void deviceListDidChange() = 0;

    virtual void editScheduledEvents() = 0;
    virtual void showPreferencePanel() = 0;
    virtual void orderFrontStandardAboutPanel() = 0;

    /// Watches over scripts; without a user to ask, long ones are ended.
    virtual std::unique_ptr<ScriptSupervisor> makeScriptSupervisor() {
        return std::make_unique<UnattendedScriptSupervisor>();
    }

    /// Brings the windows of the program to the front, because it was started a second time.
    virtual void activate() = 0;

    /// False when there is nothing to bring to the front.
    [[nodiscard]] virtual bool hasWindows() const { return true; }

protected:
    /// An alert as a line of the log.
    static void logAlert(const QString& title, const QString& message);
};

}  // namespace takebox
