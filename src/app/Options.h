#pragma once

#include <QString>
#include <QStringList>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/avc/virtualdeck/VirtualDeckSettings.h"

namespace takebox {

/// What the command line asks for.
struct Options {
    bool headless = false;
    std::vector<avc::VirtualDeckSettings> virtualDecks;
    std::uint16_t controlPort = 1026;
    /// Record every device once for so many seconds into recordFolder, then end.
    std::optional<double> recordSeconds;
    QString recordFolder;  ///< with diagnose: whose disk is measured

    // Tools that run instead of the recorder.
    bool diagnose = false;
    bool discover = false;
    QStringList remoteCommand;  ///< host, then the words of the command
    QString checkPlayoutAddress;
    QStringList recoverPaths;
};

/// The result of reading a command line: options, or a text to print and the status to end with.
struct ParsedOptions {
    std::optional<Options> options;
    QString text;
    int exitStatus = 0;
};

/// @param arguments the program's name first.
[[nodiscard]] ParsedOptions parseOptions(const QStringList& arguments);

}  // namespace takebox
