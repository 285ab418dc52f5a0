#pragma once

#include <QString>
#include <cstdint>

class QMenu;

namespace takebox {

/// The commands of the application that stand in the menus of its windows. Main thread; owned by
/// the application, which outlives its windows.
class ApplicationCommands {
public:
    virtual ~ApplicationCommands() = default;
    virtual void editScheduledEvents() = 0;
    virtual void showPreferencePanel() = 0;
    virtual void orderFrontStandardAboutPanel() = 0;
    virtual void terminate() = 0;
    /// What the schedule holds for a device, for the tool tip of its window; may be empty.
    [[nodiscard]] virtual QString scheduleOfDevice(std::uint64_t /*guid*/) const { return {}; }

    /// Whether the desktop has no tray, so that its menu belongs into the menu bar.
    [[nodiscard]] virtual bool needsDockMenu() const { return false; }
    /// Puts Record and Stop for each device into the menu, in place of what is in it.
    virtual void fillDockMenu(QMenu& /*menu*/) {}

protected:
    ApplicationCommands() = default;
    ApplicationCommands(const ApplicationCommands&) = default;
    ApplicationCommands& operator=(const ApplicationCommands&) = default;
};

}  // namespace takebox
