#pragma once

#include <cstdint>

namespace takebox::movietoolbox {

/// Result of a toolbox operation: 0, or a negative code. Messages print it with "%i".
using Status = std::int16_t;

constexpr Status kNoError = 0;
constexpr Status kDiskFull = -34;
constexpr Status kInputOutputError = -36;
constexpr Status kBadName = -37;
constexpr Status kTooManyFilesOpen = -42;
constexpr Status kFileNotFound = -43;
constexpr Status kWriteProtected = -44;
constexpr Status kDuplicateName = -48;
constexpr Status kParameterError = -50;
constexpr Status kNoPermission = -54;
constexpr Status kOutOfMemory = -108;
constexpr Status kInvalidMedia = -2008;
constexpr Status kInvalidTrack = -2009;
constexpr Status kInvalidMovie = -2010;
constexpr Status kInvalidDataReference = -2012;
constexpr Status kInvalidDuration = -2014;
constexpr Status kTrackNotInMovie = -2030;
/// The file format cannot count so many samples, chunks or bytes.
constexpr Status kFormatLimit = -2047;

/// The status that stands for an errno value; 0 for 0.
[[nodiscard]] Status statusOfErrno(int error);
/// The errno value that says most nearly what a status does; EIO for those of our own, 0 for 0.
[[nodiscard]] int errnoOfStatus(Status status);

}  // namespace takebox::movietoolbox
