#pragma once

#include <QString>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/runloop/Clock.h"

class QRect;

namespace takebox {

class CDVDeviceWindowController;
struct RecordingNote;

/// What a window on the screen does for its controller. Main thread; owned by the controller.
class DeviceWindow {
public:
    virtual ~DeviceWindow() = default;
    [[nodiscard]] virtual QRect frame() const = 0;
    /// Top-left corner, with y growing upwards from the bottom of the screen.
    virtual void setFrameTopLeftPoint(int x, int y) = 0;
    virtual void show() = 0;
    /// Whether a picture in the window could be seen now.
    [[nodiscard]] virtual bool isShowing() const { return true; }
    virtual void showSettingsSheet() = 0;
    virtual void closeSettingsSheet() = 0;
    /// Lets the user choose one folder, beginning at `folder`; calls back only when one was chosen.
    virtual void chooseFolder(const QString& title, const QString& folder,
                              std::function<void(const QString&)> chosen) = 0;
};

/// What the recording controllers need of the program around them; owned by the application, which
/// outlives them. Main thread.
class RecordingServices {
public:
    virtual ~RecordingServices() = default;

    [[nodiscard]] virtual Clock& clock() = 0;

    /// The controller's device has begun to record what the note names.
    virtual void recordingDidStart(CDVDeviceWindowController& /*controller*/,
                                   const RecordingNote& /*note*/) {}

    /// Tells the operator, in the log and where there are windows in one that blocks nothing.
    virtual void showWarning(const QString& /*title*/, const QString& /*message*/) {}

    /// Makes the window of a controller; null in a program without windows.
    virtual std::unique_ptr<DeviceWindow> makeDeviceWindow(
        CDVDeviceWindowController& controller) = 0;

    /// Shows an application-modal alert with one button and returns at once; without windows it is
    /// a line in the log.
    virtual void showCriticalAlert(const QString& title, const QString& message) = 0;

    /// Switches one playout system; blocks. @return 0, or -1 when it could not be told.
    [[nodiscard]] virtual std::int32_t switchPlayout(const QString& address, bool on) = 0;

    /// Runs a script action. @return whether it gave a result.
    virtual bool executeActionWithName(const QString& name) = 0;

    /// Opens the scheduling window.
    virtual void editScheduledEvents() = 0;

    /// Moves a file to the desktop's trash, or where there is none to a folder beside it.
    virtual bool recycle(const QString& path) = 0;
};

}  // namespace takebox
