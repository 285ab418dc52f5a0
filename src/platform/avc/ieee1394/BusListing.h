#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct udev;
struct udev_device;

namespace takebox::avc {

/// A node on a FireWire bus, as the system describes it to everybody.
struct BusNode {
    int number = -1;  ///< N of /dev/fwN
    std::uint64_t guid = 0;
    bool isLocal = false;  ///< this computer's own controller
    bool isDVCandidate = false;
    bool isAVC = false;  ///< its units promise AV/C
    std::string name;    ///< maker and model, or its GUID
};

/// Reads a device of the subsystem "firewire"; nothing when it is not a node but a unit of one.
[[nodiscard]] std::optional<BusNode> busNode(udev_device* device);

/// All nodes of all buses. Reads only what is open to everybody; quick.
[[nodiscard]] std::vector<BusNode> listBusNodes(udev* context);

}  // namespace takebox::avc
