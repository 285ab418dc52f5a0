#pragma once

#include <QRect>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>

#include "capture/CDVDevicesController.h"
#include "recording/CDVDeviceWindowController.h"
#include "recording/RecordingServices.h"
#include "remote/RemoteCommands.h"
#include "remote/TCPServer.h"

namespace takebox::test {

/// A recorder without windows: virtual decks, their controllers, and the control server on a port
/// of its own. One at a time: the device list is the process's. Preferences and recordings go into
/// a folder that goes away with it.
class TestRecorder final : public DevicesEnvironment, public RecordingServices {
public:
    /// @param decks as on the command line of the program, such as "pal,name=Deck".
    explicit TestRecorder(const QStringList& decks);
    ~TestRecorder() override;

    [[nodiscard]] std::uint16_t port() const { return mServer.port(); }
    [[nodiscard]] CDVDeviceWindowController& controller(int index);
    [[nodiscard]] QString folder() const { return mFolder.path(); }
    /// Titles of the alerts that are up; nobody ever closes them.
    [[nodiscard]] const QStringList& alerts() const { return mAlerts; }
    /// Where playout systems are looked for.
    void setPlayoutPort(std::uint16_t port) { mPlayoutPort = port; }

    std::shared_ptr<DeviceWindowController> makeWindowController(
        std::shared_ptr<CDVDevice> device) override;
    [[nodiscard]] QRect visibleFrame() const override { return {}; }
    void setApplicationIcon(const QString& /*name*/) override {}

    [[nodiscard]] Clock& clock() override { return Clock::system(); }
    std::unique_ptr<DeviceWindow> makeDeviceWindow(CDVDeviceWindowController& controller) override;
    void showCriticalAlert(const QString& title, const QString& message) override;
    [[nodiscard]] std::int32_t switchPlayout(const QString& address, bool on) override;
    bool executeActionWithName(const QString& /*name*/) override { return false; }
    void editScheduledEvents() override {}
    bool recycle(const QString& /*path*/) override { return false; }

private:
    QTemporaryDir mFolder;
    QStringList mAlerts;
    std::uint16_t mPlayoutPort = 0;
    std::unique_ptr<RemoteCommands> mCommands;
    TCPServer mServer;
};

}  // namespace takebox::test
