#pragma once

#include <QObject>
#include <cstdint>
#include <memory>
#include <vector>

#include "app/Options.h"
#include "app/ScriptingService.h"
#include "capture/CDVDevicesController.h"
#include "recording/RecordingServices.h"

namespace takebox {

class CScheduler;
class DeviceListDecks;
class RecordingJournal;
class RemoteCommands;
class ScriptSupervisor;
class ScriptableDecks;
class ScheduledDecks;
class TCPServer;
class UserInterface;

/// An entry of the tray menu.
struct DockMenuItem {
    enum class Kind : std::uint8_t { kDeviceName, kRecord, kStop, kSeparator };
    Kind kind;
    std::int32_t tag = 0;  ///< index of the device
    QString title;
    bool isChecked = false;
};

/// The application: start-up in its order, what the parts of the program need of one another, and
/// the way out. Main thread; one per process, made by main() when the event loop can be run.
class CTapedeckApplication : public QObject,
                             public DevicesEnvironment,
                             public RecordingServices,
                             public ScriptedApplication {
    Q_OBJECT

public:
    /// The defaults that hold where the user has set nothing.
    static void initialize();

    CTapedeckApplication(Options options, UserInterface& interface);
    /// Ends what runs: recordings are closed, complete up to the last frame received.
    ~CTapedeckApplication() override;

    /// Start-up. @return false when the program is to end instead (old preferences were taken over,
    /// the user was told, and the program will end by itself).
    bool finishLaunching();

    /// Saves the scheduled events, puts back the normal icon and ends the event loop. Recordings
    /// are closed when this object goes.
    void terminate();

    // Tray menu.
    [[nodiscard]] std::vector<DockMenuItem> dockMenu() const;
    void dockMenuRecordAction(std::int32_t tag);
    void dockMenuStopAction(std::int32_t tag);

    // Scripting commands that name no device go to the first one.
    void handleStartRecording();
    void handleStopRecording();
    void handlePauseRecording();

    void orderFrontStandardAboutPanel();
    void showPreferencePanel();

    /// "version 1.0.0"
    [[nodiscard]] static QString versionText();

    // DevicesEnvironment
    std::shared_ptr<DeviceWindowController> makeWindowController(
        std::shared_ptr<CDVDevice> device) override;
    [[nodiscard]] QRect visibleFrame() const override;
    void setApplicationIcon(const QString& name) override;
    void deviceListDidChange() override;

    // ScriptedApplication
    [[nodiscard]] bool hasWindows() const override;
    [[nodiscard]] bool runCommand(const QString& command) override;

    // RecordingServices
    [[nodiscard]] Clock& clock() override;
    std::unique_ptr<DeviceWindow> makeDeviceWindow(CDVDeviceWindowController& controller) override;
    void recordingDidStart(CDVDeviceWindowController& controller,
                           const RecordingNote& note) override;
    void showWarning(const QString& title, const QString& message) override;
    void showCriticalAlert(const QString& title, const QString& message) override;
    [[nodiscard]] std::int32_t switchPlayout(const QString& address, bool on) override;
    bool executeActionWithName(const QString& name) override;
    void editScheduledEvents() override;
    bool recycle(const QString& path) override;

    /// The device's controller at an index of the device list; null outside it.
    [[nodiscard]] static std::shared_ptr<CDVDeviceWindowController> controllerAtIndex(
        std::int32_t index);

    /// The device list as the schedule sees it.
    [[nodiscard]] ScheduledDecks& scheduledDecks();

    [[nodiscard]] const TCPServer* server() const { return mTCPServer.get(); }

Q_SIGNALS:
    void deviceListChanged();

private:
    [[nodiscard]] bool migratePreferences();
    void startServer();
    void startScripting();
    void offerRecovery();
    [[nodiscard]] avc::AVCBackends makeBackends();

    Options mOptions;
    UserInterface& mInterface;
    std::unique_ptr<RecordingJournal> mJournal;
    std::unique_ptr<RemoteCommands> mRemoteCommands;  // answers what the server receives
    std::unique_ptr<TCPServer> mTCPServer;
    std::unique_ptr<DeviceListDecks> mScheduledDecks;
    std::unique_ptr<ScriptableDecks> mScriptDecks;
    std::unique_ptr<ScriptSupervisor> mScriptSupervisor;
    std::unique_ptr<ScriptingService> mScriptingService;
};

}  // namespace takebox
