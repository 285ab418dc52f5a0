#pragma once

#include <cstdint>
#include <stop_token>

#include "platform/avc/ieee1394/NodeWatch.h"

namespace takebox::avc {

/// What was found out about a device.
struct ProbeResult {
    int error = 0;                ///< of opening its device file; nothing was asked then
    bool isDVTapeDevice = false;  ///< DV on plug 0 and a tape to drive
    bool isDVConverter = false;   ///< DV on plug 0 and no tape
    std::uint8_t dvMode = 0x80;
    bool wasInterrupted = false;  ///< by a bus reset or an end of the device: incomplete
};

/// What is known before asking.
struct ProbeHints {
    bool isAVC = false;    ///< its units promise AV/C
    bool isKnown = false;  ///< it was here before, with dvMode
    std::uint8_t dvMode = 0x80;
    bool mayListen = true;  ///< nobody receives from it now
};

/// Result for a device that cannot be asked, because its file may not be opened: what its kind
/// usually is, so that it is shown.
[[nodiscard]] ProbeResult unprobed(int error, const ProbeHints& hints);

/// Asks an open device for its signal and its parts; takes up to 1.5 seconds when it does not
/// answer. A device without AV/C is listened to instead.
[[nodiscard]] ProbeResult probeDevice(const NodeWatch& watch, const ProbeHints& hints,
                                      const std::stop_token& stop);

}  // namespace takebox::avc
