#pragma once

#include <cstdint>

#include "platform/movietoolbox/SampleDescriptions.h"

/// How DV picture and sound are described in a movie.
namespace takebox {

/// 525-60: 720 x 480, codec 'dvc '.
[[nodiscard]] movietoolbox::ImageDescription createDVNTSCImageDescriptionHandle();
/// 625-50: 720 x 576, codec 'dvcp'.
[[nodiscard]] movietoolbox::ImageDescription createDVPALImageDescriptionHandle();
/// 48 kHz, 16-bit big-endian, stereo interleaved.
[[nodiscard]] movietoolbox::SoundDescription createDVSoundDescriptionHandle();

/// Bytes that all channels of one moment take.
[[nodiscard]] std::uint32_t bytesPerSampleFrame(const movietoolbox::SoundDescription& sound);

}  // namespace takebox
