#pragma once

#include <QString>
#include <QStringList>
#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace takebox {

/// A service found on the local network.
struct FoundService {
    QString name;  ///< As its owner announces it.
    QString host;  ///< Such as "studio.local"
    std::uint16_t port = 0;
    QStringList addresses;  ///< IPv4 before IPv6; link-local IPv6 ones with their interface.
};

/// Looks for services of one type (such as "_takebox._tcp.") for the whole of the given time, since
/// there is no telling when the last has answered. Blocks; any thread but a receive thread.
///
/// @return what was found, by name; nothing at all (not even an empty list) without a service
///         daemon, for which it may wait up to 25 seconds.
[[nodiscard]] std::optional<std::vector<FoundService>> findServices(const QString& type,
                                                                    std::chrono::milliseconds time);

}  // namespace takebox
