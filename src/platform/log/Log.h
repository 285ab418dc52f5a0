#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

/// The system log (standard error, one line a message, with local date and time) and the few
/// messages that go to standard output instead.
namespace takebox {

/// Writes one line to the log; line ends and other control characters become spaces. Any thread
/// except a receive thread: it may wait for the terminal.
void logMessage(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Hands one line to the log without waiting, locking or allocating; for receive threads. The line
/// comes out, with the time of this call, at the next drainReceiveThreadLog() or logMessage(). When
/// a thousand lines wait, further ones are counted and the count is logged in their place.
/// Lines are cut at 200 bytes.
void logFromReceiveThread(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Writes what logFromReceiveThread() has collected. Any thread except a receive thread.
void drainReceiveThreadLog();

/// A descriptor (eventfd, owned by the log) that becomes readable when a receive thread has handed
/// over a line; drainReceiveThreadLog() makes it unreadable again.
int receiveThreadLogDescriptor();

/// Prints to standard output as it stands, without time or line end, and flushes.
void printMessage(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Receives every log line (without time and line end) instead of standard error; null puts back
/// standard error. For tests. The sink is called under the log's lock: it must not log.
using LogSink = std::function<void(std::string_view)>;
void setLogSink(LogSink sink);

}  // namespace takebox
