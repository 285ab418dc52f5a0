#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// The nodes' description under /sys and the messages of udev, in the folder to which
/// libumockdev-preload redirects a program.
namespace fakefirewire {

struct Node;

/// The folder that stands in for /, from FAKE_FIREWIRE_DIR; empty when there is none.
const std::string& worldFolder();

/// Makes the empty bus.
void prepareWorld();
void addToSysfs(const Node& node);
void removeFromSysfs(const Node& node);
/// Tells listening udev monitors; action is "add", "change" or "remove".
void sendUevent(const Node& node, const char* action);

/// Configuration ROM of a node, quadlets in the host's byte order.
std::vector<std::uint32_t> configROM(const Node& node);

}  // namespace fakefirewire
