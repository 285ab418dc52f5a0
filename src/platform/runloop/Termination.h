#pragma once

#include <csignal>

namespace takebox {

/// The signals that tell the program to end: SIGTERM, SIGINT and SIGHUP. Any thread.
[[nodiscard]] sigset_t terminationSignals();

/// Whether one of them waits, blocked, for the main thread's event loop: for what holds that thread
/// up and can stop to. Any thread.
[[nodiscard]] bool isTerminationPending();

}  // namespace takebox
