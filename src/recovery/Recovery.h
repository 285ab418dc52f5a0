#pragma once

#include <QString>
#include <cstdint>
#include <functional>
#include <optional>

#include "platform/movietoolbox/TimeCodeRecord.h"

namespace takebox {

/// What is known of a recording beside its files.
struct RecordingFacts {
    QString rawPath;  ///< of the raw files, without extension; empty when they are not known
    std::optional<TimeCodeRecord> startTimeCode;
    bool monoTracks = false;
};

/// What became of a file that was to be recovered.
struct RecoveryOutcome {
    enum class Kind : std::uint8_t {
        kRecovered,        ///< a complete movie stands in its place
        kNothingToDo,      ///< it was complete already
        kCancelled,        ///< everything is as it was before; so it is for all that follow
        kFailed,           ///< the result could not be written
        kNotAMovie,        ///< the file is none of ours
        kNothingRecorded,  ///< not a single whole frame was found
        kUnreadable,       ///< the file, or one that it needs, cannot be read
        kNoRoom,           ///< the disk has no room for the result
        kBeingRecorded,    ///< a program is writing it
    };
    Kind kind = Kind::kFailed;
    QString message;           ///< one sentence for the log and the command line, in English
    QString localMessage;      ///< the same in the language of the desktop
    QString original;          ///< where the original file is now; empty when it was not touched
    std::uint64_t frames = 0;  ///< in the movie
    std::uint64_t audioSamples = 0;  ///< sample frames in the movie

    [[nodiscard]] bool isWell() const {
        return kind == Kind::kRecovered || kind == Kind::kNothingToDo;
    }
};

/// Hears how far the work is, in bytes; false ends it.
using RecoveryProgress = std::function<bool(std::uint64_t done, std::uint64_t total)>;

/// Makes a complete movie out of one that was cut off, or fits a reference movie to its raw files.
///
/// The new movie is written beside the old one under a temporary name, brought to the disk and read
/// again. Only then do both change their names, in one step where the file system can: the movie
/// gets the name of the original, and the original is kept as "NAME (original)". docs/recovery.md
/// has the details.
///
/// A self-contained movie holds every whole frame and sample of its media data, and what its raw
/// files have beyond that, where they are the same recording. Frames at the end that never reached
/// the disk are left out.
///
/// Any thread but a receive thread; blocks for the disk. @param path as the user gave it.
[[nodiscard]] RecoveryOutcome recoverFile(const QString& path, const RecordingFacts& facts,
                                          const RecoveryProgress& progress);

}  // namespace takebox
