#pragma once

#include <QStringList>
#include <cstdint>

namespace takebox {

/// One program for a user's session: two would fight for the control port and the devices.
class SingleInstance {
public:
    enum class Outcome : std::uint8_t {
        kFirst,       ///< this is the one: go on (also without a session bus)
        kHandedOver,  ///< another one runs and brings its windows to the front: end
        kNoWindows,   ///< another one runs and has no windows: end
        kNoAnswer,    ///< another one runs but cannot be told anything (logged): end with a failure
    };

    /// Claims the program's name on the session bus or, where it is taken, tells its owner, with
    /// our arguments. A lock in the user's data folder keeps out a second one that is on another
    /// session bus or on none. May wait for some seconds. Before the devices are opened.
    [[nodiscard]] static Outcome claim(const QStringList& arguments);
};

}  // namespace takebox
