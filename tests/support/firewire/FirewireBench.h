#pragma once

#include <map>
#include <string>

/// The test program's side of the kernel stand-in.
namespace takebox::test {

/// To be called first in main(): starts the program again with the stand-in preloaded and a folder
/// of its own, and does nothing when that has been done.
/// @param arguments of main().
void enterFirewireBench(char** arguments);
/// At the end of main(): removes the folder.
void leaveFirewireBench();

/// Sends a command to the bus (tests/support/firewire/README.md). @return the answer's line; the
/// test fails when that is an error.
std::string firewire(const std::string& command);

/// The values of "status GUID".
std::map<std::string, std::string> deckStatus(const std::string& guid);

}  // namespace takebox::test
