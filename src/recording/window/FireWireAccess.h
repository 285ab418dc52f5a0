#pragma once

#include <QString>

namespace takebox {

/// What the system says about its FireWire sockets.
enum class FireWireAccess {
    kNoAdapter,     ///< there is no FireWire socket
    kNoPermission,  ///< there is one, but the user may not use it
    kReady,         ///< there is one that the user may use
};

/// @param folder with the system's device files; its FireWire ones are called "fw" and a number.
[[nodiscard]] FireWireAccess fireWireAccess(const QString& folder = QStringLiteral("/dev"));

}  // namespace takebox
