#pragma once

#include <QStringList>
#include <cstdint>
#include <memory>

#include "capture/RecordingTally.h"
#include "display/Wording.h"
#include "storage/BufferedFile.h"
#include "storage/QuickTimeMovie.h"

namespace takebox {

/// What one recording made and what it lost. Valid for the recording that runs or, after it, for
/// the last one. The files tell their part once their writers have finished.
struct RecordingReport {
    bool wantedRawFiles = false;
    std::shared_ptr<const BufferedFile> dvFile;     ///< null when none was made
    std::shared_ptr<const BufferedFile> audioFile;  ///< null when none was made
    std::shared_ptr<const QuickTimeMovie> movie;    ///< self-contained; null when none was made
    std::shared_ptr<const RecordingTally> tally;    ///< goes on counting; null before a recording
    std::uint64_t frames = 0;                       ///< whole ones, handed to the writers
    std::uint64_t problems = 0;  ///< times that the receiver told of missing or broken frames
    std::uint64_t inconsistentFrames = 0;  ///< frames of a wrong size, not kept
    TimeCodeRecord firstTimeCode;
    TimeCodeRecord lastTimeCode;

    /// Takes over what has been counted meanwhile.
    void update();
    /// The recording has ended and its writers have finished: nothing changes any more.
    [[nodiscard]] bool isFinal() const;

    /// Frames that came from the device, whole or of a wrong size.
    [[nodiscard]] std::uint64_t receivedFrames() const { return frames + inconsistentFrames; }
    /// Frames that every file of the recording has.
    [[nodiscard]] std::uint64_t recordedFrames() const;
    /// Frames that at least one file of the recording lacks, each counted once: those that did not
    /// arrive as whole ones, and those that a file did not take.
    [[nodiscard]] std::uint64_t lostFrames() const;
    /// A line for each loss with its time code, as
    /// "00:01:02:03 frames missing in the raw files: 5".
    [[nodiscard]] QStringList lossesByTimeCode(Wording wording = &inEnglish) const;
    /// A phrase in English for each thing that is not as it should be; empty when nothing was lost.
    /// Final once the writers have finished.
    [[nodiscard]] QStringList losses() const;

private:
    [[nodiscard]] std::uint64_t framesNotWritten() const;
};

}  // namespace takebox
