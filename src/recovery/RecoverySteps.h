#pragma once

#include <QString>
#include <QStringList>
#include <optional>

#include "platform/movietoolbox/MovieReader.h"
#include "recovery/Recovery.h"
#include "recovery/Replacement.h"

// What the two kinds of recovery share. Internal to this folder.
namespace takebox {

/// A file that has been opened and looked at.
struct OpenedMovie {
    QString path;
    const movietoolbox::FileBytes* file = nullptr;
    movietoolbox::MovieContents contents;
};

/// The self-contained movie that was cut off.
[[nodiscard]] RecoveryOutcome recoverCutOffMovie(const OpenedMovie& movie,
                                                 const RecordingFacts& facts,
                                                 const RecoveryProgress& progress);
/// The reference movie, to the length of its raw files.
[[nodiscard]] RecoveryOutcome fitReferenceMovie(const OpenedMovie& movie);

/// @param message marked with QT_TRANSLATE_NOOP("QObject", ...).
[[nodiscard]] RecoveryOutcome outcome(RecoveryOutcome::Kind kind, const char* message,
                                      const QStringList& arguments = {});
/// Puts the message into an outcome.
void tell(RecoveryOutcome& outcome, const char* message, const QStringList& arguments);
/// For an errno value that stopped the reading (of `path`) or the writing of the result.
[[nodiscard]] RecoveryOutcome unreadable(const QString& path, int error);
[[nodiscard]] RecoveryOutcome cannotWrite(int error);

/// For a new movie that, read again, is not what it was to be.
[[nodiscard]] RecoveryOutcome notAsWritten();
[[nodiscard]] RecoveryOutcome cancelled();

/// Gives the new movie the place of the original.
/// @return kRecovered with where the original is now; the message is the caller's to write.
[[nodiscard]] RecoveryOutcome putInPlace(Replacement& replacement);

/// What the time code track of a movie says of the first frame; nothing without such a track.
[[nodiscard]] std::optional<TimeCodeRecord> startTimeCodeOf(
    const movietoolbox::ByteSource& file, const movietoolbox::MovieContents& contents);

[[nodiscard]] std::string pathOnDisk(const QString& path);

}  // namespace takebox
