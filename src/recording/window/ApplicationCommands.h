#pragma once

#include <QString>
#include <cstdint>

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

protected:
    ApplicationCommands() = default;
    ApplicationCommands(const ApplicationCommands&) = default;
    ApplicationCommands& operator=(const ApplicationCommands&) = default;
};

}  // namespace takebox
