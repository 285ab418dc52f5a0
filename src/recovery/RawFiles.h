#pragma once

#include <QString>
#include <memory>
#include <string>

#include "platform/movietoolbox/ByteSource.h"
#include "recovery/MediaDataScan.h"
#include "recovery/Recovery.h"

namespace takebox {

/// The raw files of a recording, as far as they are there.
struct RawFiles {
    std::unique_ptr<movietoolbox::FileBytes> pictures;  ///< null: none
    std::unique_ptr<movietoolbox::FileBytes> sound;     ///< null: none
    std::string picturesPath;
    std::string soundPath;
};

/// Finds a file that a movie points to: by its path, or where it is now that the folder it shares
/// with the movie has been moved. Empty when it is nowhere.
[[nodiscard]] std::string findTarget(const std::string& target, const std::string& moviePath);

/// Opens the raw files of a self-contained movie: those of the facts, those that the reference
/// movie beside it points to, or those in the places where a recording puts them.
[[nodiscard]] RawFiles openRawFilesOf(const QString& moviePath, const RecordingFacts& facts);

/// What the raw pictures hold beyond those of a movie: frames of `frameSize` bytes, when the files
/// are the same recording. A movie without a frame takes them all.
[[nodiscard]] std::vector<MediaPiece> furtherFrames(const movietoolbox::ByteSource& raw,
                                                    std::uint32_t frameSize,
                                                    const movietoolbox::ByteSource& movie,
                                                    const MediaDataScan& scan);
/// The same for sound, in sample frames.
[[nodiscard]] std::vector<MediaPiece> furtherSound(const movietoolbox::ByteSource& raw,
                                                   const movietoolbox::ByteSource& movie,
                                                   const MediaDataScan& scan);

/// Bytes of a frame by its first block: 144000 or 120000; 0 when there is no DV frame.
[[nodiscard]] std::uint32_t frameSizeAt(const movietoolbox::ByteSource& file, std::uint64_t offset);

inline constexpr std::uint32_t kBytesPerSampleFrame = 4;

}  // namespace takebox
