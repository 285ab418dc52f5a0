#pragma once

#include <QStringList>

/// What the program does for people on the command line instead of running as a recorder. Each
/// prints to standard output, errors to standard error, and returns the exit status of the process.
/// They block and need no event loop.
namespace takebox {

/// `takebox --remote HOST[:PORT] COMMAND...`: sends one command and prints the answer.
///
/// FRAME [NUMBER] [FILE] writes the picture to the file (frame.jpg; "-" is standard output).
/// @param arguments the host, then the words of the command.
/// @return 0; 1 when the recorder refused the command or has no picture; 2 when it could not be
///         asked.
[[nodiscard]] int runRemoteCommand(const QStringList& arguments);

/// `takebox --discover`: lists the recorders on the local network with their decks and whether
/// these record. Takes three seconds, and more only for recorders that do not answer.
/// @return 0; 1 when there is none; 2 without a service daemon.
[[nodiscard]] int runDiscover();

/// `takebox --check-playout ADDRESS`: tells whether a playout system answers at the address. Waits
/// for as long as one that has accepted the connection stays silent.
/// @return 0 when it does, else 1.
[[nodiscard]] int runCheckPlayout(const QString& address);

}  // namespace takebox
