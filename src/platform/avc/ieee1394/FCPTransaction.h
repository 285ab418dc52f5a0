#pragma once

#include <cstdint>
#include <span>
#include <stop_token>
#include <vector>

#include "platform/avc/ieee1394/NodeWatch.h"

namespace takebox::avc {

/// What became of an AV/C command.
struct FCPResult {
    /// 0 when answered; EAGAIN when a bus reset came between, which the watch has to tell;
    /// ETIMEDOUT, ENODEV or another errno value.
    int error = 0;
    std::vector<std::uint8_t> answer;
};

/// Sends an AV/C command to a node and waits for its final answer: 150 ms for the first sign, with
/// three tries, two seconds once the device has said that it is working on it. A stop request ends
/// the waiting early but lets the try under way have its answer.
[[nodiscard]] FCPResult sendFCPCommand(const NodeWatch& watch,
                                       std::span<const std::uint8_t> command,
                                       const std::stop_token& stop);

}  // namespace takebox::avc
