#pragma once

#include <QString>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/avc/virtualdeck/FrameSchedule.h"
#include "platform/avc/virtualdeck/FrameSource.h"
#include "platform/avc/virtualdeck/TapeTimeCode.h"

namespace takebox::avc {

/// What can go wrong with a deck on request, for tests.
enum class DeckFault : std::uint8_t {
    kShortFrame,       ///< a frame is told as whole but has only so many bytes (value)
    kIncompleteFrame,  ///< kFrameIncomplete in place of a frame
    kMissingFrame,     ///< kFramesMissing in place of a frame
    kOverrun,          ///< kReceiverOverrun before a frame; cycles (value)
    kInterruption,     ///< kStreamInterrupted before a frame; milliseconds (value)
    kCloseRequest,     ///< kDeviceCloseRequest to whoever has the deck open
    kDisappearance,    ///< the deck leaves the bus; returns after so many frame times (0: never)
};

/// A fault that comes once, when the deck has sent so many frames since its first start.
struct ScheduledFault {
    DeckFault kind = DeckFault::kShortFrame;
    std::uint64_t frame = 0;
    std::uint32_t value = 0;
};

/// One virtual deck as the user wants it.
struct VirtualDeckSettings {
    enum class Source : std::uint8_t { kFile, kNTSC, kPAL };

    Source source = Source::kNTSC;
    QString filePath;                   ///< for Source::kFile
    std::optional<std::uint64_t> guid;  ///< else made from source and position
    QString name;                       ///< empty: made from source and position
    std::int64_t speed = kRealTime;     ///< thousandths, up to kFastest
    bool loop = true;                   ///< begin again at the end of a file
    bool cue = false;                   ///< wait at the start, sending nothing, until told to play
    bool wide = false;                  ///< test signal only: 16:9
    /// Test signal: the first time code. File: begin at the frame that carries it.
    std::optional<TapeTimeCode> start;
    std::vector<ScheduledFault> faults;  ///< in any order
};

/// Reads "SOURCE[,key=value...]". SOURCE is "ntsc", "pal" or a file of DV frames (one that bears
/// such a name is written "./ntsc"); it may contain commas. The keys are guid=, name=, speed=,
/// loop=, start=, cue=, wide= and fault=KIND@FRAME[:VALUE], which may be repeated; loop= means
/// nothing to the test signal. A file is looked at, too.
/// @param error  receives a sentence for the user when nothing is returned.
[[nodiscard]] std::optional<VirtualDeckSettings> parseVirtualDeckSettings(const QString& spec,
                                                                          QString& error);

/// Loads the tape that the settings ask for.
/// @param label  the deck's name in the picture of the test signal.
/// @return null, and a sentence for the user in error, when a file cannot be played.
[[nodiscard]] std::unique_ptr<FrameSource> loadTape(const VirtualDeckSettings& settings,
                                                    std::string_view label, QString& error);

}  // namespace takebox::avc
