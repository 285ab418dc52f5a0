#pragma once

#include <string>
#include <vector>

namespace takebox::avc {

/// One finding about the system, for people.
struct DiagnosisLine {
    std::string topic;    ///< "FireWire driver"
    std::string finding;  ///< "firewire-ohci is not loaded"
    std::string advice;   ///< what to do; empty when there is nothing to do
};

/// Looks at everything that FireWire devices need: kernel modules, controllers, device files and
/// who may open them, devices with their names, GUIDs and signals. Any thread; no event loop
/// needed. Without a bus it takes milliseconds, with one up to 1.5 seconds for each device that
/// does not answer. Not to be called while a backend of this process receives.
[[nodiscard]] std::vector<DiagnosisLine> diagnoseFireWire();

/// What to do when a device's file could not be opened: for an errno value, empty for 0.
[[nodiscard]] std::string adviceAfterOpening(int error);

}  // namespace takebox::avc
