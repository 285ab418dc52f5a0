#pragma once

#include "app/UserInterface.h"

namespace takebox {

/// The interface of a program without windows: alerts are log lines.
class HeadlessInterface final : public UserInterface {
public:
    std::unique_ptr<DeviceWindow> makeDeviceWindow(CDVDeviceWindowController& controller) override;
    void showCriticalAlert(const QString& title, const QString& message) override;
    void showInformationalAlert(const QString& title, const QString& message,
                                std::function<void()> dismissed) override;
    [[nodiscard]] QRect visibleFrame() const override { return {}; }
    void setApplicationIcon(const QString& /*name*/) override {}
    void deviceListDidChange() override {}
    void editScheduledEvents() override {}
    void showPreferencePanel() override {}
    void orderFrontStandardAboutPanel() override {}
    void activate() override {}
    [[nodiscard]] bool hasWindows() const override { return false; }
};

}  // namespace takebox
