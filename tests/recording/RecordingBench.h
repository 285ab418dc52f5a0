#pragma once

#include <gtest/gtest.h>

#include <QStringList>
#include <QTemporaryDir>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "recording/CDVDeviceWindowController.h"
#include "support/FakeDevice.h"
#include "support/LogCapture.h"
#include "support/ManualClock.h"

namespace takebox::test {

/// What a recording controller needs of the program: remembers what it was asked for.
class FakeServices final : public RecordingServices {
public:
    [[nodiscard]] Clock& clock() override { return manualClock; }
    std::unique_ptr<DeviceWindow> makeDeviceWindow(CDVDeviceWindowController& controller) override;
    void showWarning(const QString& title, const QString& message) override {
        warnings.emplace_back(title, message);
    }
    void showCriticalAlert(const QString& title, const QString& message) override {
        alerts.emplace_back(title, message);
    }
    [[nodiscard]] std::int32_t switchPlayout(const QString& address, bool on) override;
    bool executeActionWithName(const QString& name) override;
    void editScheduledEvents() override { ++schedulesOpened; }
    bool recycle(const QString& path) override;

    ManualClock manualClock{QDateTime(QDate(2008, 3, 7), QTime(9, 5, 2, 500))};
    std::vector<std::pair<QString, QString>> alerts;
    std::vector<std::pair<QString, QString>> warnings;  ///< title and message
    std::vector<std::pair<QString, bool>> switched;     ///< address and what it was told
    std::int32_t switchResult = 0;
    std::function<void()> whenSwitched = [] {};
    QStringList actions;
    int schedulesOpened = 0;
    QStringList recycled;
    bool recycles = true;  ///< moves the file away; else the trash refuses it
};

/// The device list of the process with fake devices, and a window controller for each. Files go to
/// a folder of the test's own.
class RecordingBench : public testing::Test, public DevicesEnvironment {
protected:
    RecordingBench();
    ~RecordingBench() override;

    /// A device for the next makeControllers().
    FakeDevice& addDeck(std::uint8_t dvMode = kPALMode);
    /// Controllers for the devices so far; settings as the defaults have them, folders in ours.
    void makeControllers();
    void makeController(std::uint8_t dvMode = kPALMode) {
        addDeck(dvMode);
        makeControllers();
    }

    /// The controller of a device, by its place.
    [[nodiscard]] CDVDeviceWindowController& controller(std::size_t index = 0) const;
    [[nodiscard]] CDVDevice& device(std::size_t index = 0) const {
        return *controller(index).device();
    }
    [[nodiscard]] FakeDevice& deck(std::size_t index = 0) const { return *mDecks[index]; }

    /// Turns the kinds of movie on and off.
    void want(bool referenceMovie, bool selfContainedMovie) const;
    void send(int frames, std::size_t index = 0);
    /// Until all writers have finished.
    static void finishWriting();

    /// A path in the test's folder; its folders are made.
    [[nodiscard]] QString path(const QString& name) const;
    /// Makes a file with some content.
    void make(const QString& name, const QByteArray& content = "old") const;
    [[nodiscard]] QByteArray contents(const QString& name) const;
    [[nodiscard]] bool exists(const QString& name) const;
    /// A file that can be neither removed nor written: a folder with something in it.
    void makeUnremovable(const QString& name) const;

    // DevicesEnvironment
    std::shared_ptr<DeviceWindowController> makeWindowController(
        std::shared_ptr<CDVDevice> device) override;
    [[nodiscard]] QRect visibleFrame() const override { return {}; }
    void setApplicationIcon(const QString& name) override { icons.push_back(name.toStdString()); }

    static constexpr std::uint8_t kPALMode = 0x80;
    static constexpr std::uint8_t kNTSCMode = 0x00;

    LogCapture log;
    FakeServices services;
    std::vector<std::string> icons;

private:
    const QTemporaryDir mFolder;
    std::vector<FakeDevice*> mDecks;
    std::vector<std::unique_ptr<avc::AVCDevice>> mToOffer;
    int mFramesSent = 0;
};

}  // namespace takebox::test
