#pragma once

#include <sys/socket.h>

#include <cstdint>

/// The client of Castline playout systems: a TCP connection over IPv4 for each command, two bytes
/// without a terminator, one reply of up to 255 bytes, which is printed.
///
/// Threads. One call at a time in the process: the time limit of a connection attempt is kept by
/// the process's alarm clock. The calling thread lets SIGALRM in for as long as the attempt takes;
/// every other thread must have it blocked, so that no other is interrupted in its stead: it is
/// blocked before the first thread starts, and threads inherit that.
namespace takebox {

inline constexpr std::uint16_t kPlayoutPort = 1025;
inline constexpr unsigned kPlayoutConnectSeconds = 2;

/// Sends "SL" (on) or "SB" (off) and waits, without a time limit, for the reply or for the system
/// to close the connection; only a signal that tells the program to end ends the wait.
/// @param address host name or dotted IPv4 address.
/// @return 0 when the connection was made, whatever became of it then; -1 when the address could
///         not be resolved or did not accept a connection within 2 seconds.
[[nodiscard]] std::int32_t TCPSwitch(const char* address, bool on,
                                     std::uint16_t port = kPlayoutPort);

/// Asks "AT". @return 1 when a playout system answers at the address, else 0. The second byte of
/// the reply can only make an answer positive: a system that took the two bytes counts as present.
[[nodiscard]] std::int32_t TCPCheckIfPresent(const char* address,
                                             std::uint16_t port = kPlayoutPort);

/// Connects a blocking socket, and gives up after so many seconds. On failure the socket has been
/// closed.
/// @return 0, or -1 with errno set: ETIMEDOUT when the time was over.
[[nodiscard]] int switch_connect_with_timeout(int socket, const sockaddr* address, socklen_t length,
                                              unsigned seconds);

/// Handler of SIGALRM while a connection attempt runs. Does nothing: that it is called at all
/// interrupts the attempt.
void connect_alarm(int signal);

using SignalHandler = void (*)(int);

/// Installs a handler; calls that it interrupts are restarted, except for SIGALRM.
/// @return the handler before, SIG_ERR for a signal that cannot have one.
SignalHandler Switch_Signal(int signal, SignalHandler handler);

}  // namespace takebox
