#pragma once

#include <string>
#include <string_view>

namespace fakefirewire {

/// Carries out one line of control (see README.md). @return the line to answer.
std::string runCommand(std::string_view line);

/// Answers on the socket "control" in the world's folder, for ever. Runs FAKE_FIREWIRE_SCRIPT
/// first.
void serveControl();
void runScript();

}  // namespace fakefirewire
