#pragma once

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QTemporaryDir>
#include <memory>

#include "recording/CDVDeviceWindowController.h"
#include "recording/window/ApplicationCommands.h"
#include "recording/window/TapedeckWindow.h"
#include "support/FakeDevice.h"
#include "support/ManualClock.h"
#include "support/WaitUntil.h"

namespace takebox::test {

/// The commands of an application that only counts them.
struct CountingCommands : ApplicationCommands {
    int schedules = 0;
    int preferences = 0;
    int abouts = 0;
    int quits = 0;

    void editScheduledEvents() override { ++schedules; }
    void showPreferencePanel() override { ++preferences; }
    void orderFrontStandardAboutPanel() override { ++abouts; }
    void terminate() override { ++quits; }
};

/// One deck with its controller and its real window, on a clock that the test moves.
class WindowFixture : public ::testing::Test, public RecordingServices {
protected:
    static constexpr std::uint64_t kGUID = 0x00112233445566AA;

    void SetUp() override;
    void TearDown() override;

    /// Makes deck, controller and window, and shows it.
    void openWindow(std::uint8_t dvMode = 0x80);
    void closeEverything();
    void sendFrames(int count);

    template <typename Widget>
    Widget& control(const char* name) {
        auto* found = window->findChild<Widget*>(QString::fromLatin1(name));
        EXPECT_NE(found, nullptr) << name;
        return *found;
    }
    void click(const char* name);

    // RecordingServices
    Clock& clock() override { return manualClock; }
    std::unique_ptr<DeviceWindow> makeDeviceWindow(CDVDeviceWindowController& owner) override;
    void showCriticalAlert(const QString& title, const QString& message) override;
    std::int32_t switchPlayout(const QString& /*address*/, bool /*on*/) override { return 0; }
    bool executeActionWithName(const QString& /*name*/) override { return true; }
    void editScheduledEvents() override { ++commands.schedules; }
    bool recycle(const QString& /*path*/) override { return true; }

    QTemporaryDir folder;
    ManualClock manualClock;
    CountingCommands commands;
    QStringList alerts;
    FakeDevice* deck = nullptr;
    std::shared_ptr<CDVDeviceWindowController> controller;
    TapedeckWindow* window = nullptr;
    int sentFrames = 0;
    int openResult = 0;  ///< of the deck, before its window is made
};

}  // namespace takebox::test
