#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "platform/movietoolbox/FourCharCode.h"

/// What a track's samples are: the records of a sample description atom ('stsd'). Fields are named
/// as in the QuickTime File Format; numbers are in the host's byte order until they are written.
namespace takebox::movietoolbox {

/// Signed 16.16 fixed point.
using Fixed = std::int32_t;
[[nodiscard]] constexpr Fixed Long2Fix(std::int32_t value) {
    return static_cast<Fixed>(static_cast<std::uint32_t>(value) << 16);
}

/// Picture. 86 bytes in the file.
struct ImageDescription {
    std::int32_t idSize = 86;
    FourCharCode cType = 0;
    std::int32_t resvd1 = 0;
    std::int16_t resvd2 = 0;
    std::int16_t dataRefIndex = 1;
    std::int16_t version = 0;
    std::int16_t revisionLevel = 0;
    std::int32_t vendor = 0;
    std::uint32_t temporalQuality = 0;
    std::uint32_t spatialQuality = 0;
    std::int16_t width = 0;
    std::int16_t height = 0;
    Fixed hRes = 0;  ///< dots per inch
    Fixed vRes = 0;
    std::int32_t dataSize = 0;
    std::int16_t frameCount = 0;
    std::array<char, 32> name{};  ///< the first byte is the length
    std::int16_t depth = 0;
    std::int16_t clutID = -1;

    friend bool operator==(const ImageDescription&, const ImageDescription&) = default;
};

/// Sound, version 1. 52 bytes in the file, and the channel layout of its track behind them.
struct SoundDescription {
    FourCharCode dataFormat = 0;
    std::int16_t dataRefIndex = 1;
    std::int16_t numChannels = 0;
    std::int16_t sampleSize = 0;   ///< bits per channel
    std::uint32_t sampleRate = 0;  ///< 16.16 fixed point, unsigned
    std::uint32_t samplesPerPacket = 0;
    std::uint32_t bytesPerPacket = 0;
    std::uint32_t bytesPerFrame = 0;
    std::uint32_t bytesPerSample = 0;

    friend bool operator==(const SoundDescription&, const SoundDescription&) = default;
};

/// How frames are counted.
struct TimeCodeDef {
    static constexpr std::uint32_t kDropFrame = 1;
    static constexpr std::uint32_t k24HourMax = 2;

    std::uint32_t flags = 0;
    std::int32_t fTimeScale = 0;
    std::int32_t frameDuration = 0;
    std::uint8_t numFrames = 0;

    friend bool operator==(const TimeCodeDef&, const TimeCodeDef&) = default;
};

/// Time code. 34 bytes in the file, followed by the source reference: a 'name' atom when there is a
/// source name, else four zero bytes.
struct TimeCodeDescription {
    std::int32_t descSize = 38;  ///< without a source name
    std::int16_t dataRefIndex = 1;
    TimeCodeDef timeCodeDef;
    std::string srcRef;  ///< source name, byte for byte, at most 65535 bytes

    friend bool operator==(const TimeCodeDescription&, const TimeCodeDescription&) = default;
};

using SampleDescription = std::variant<ImageDescription, SoundDescription, TimeCodeDescription>;

/// A stream of uncompressed sound.
struct AudioStreamBasicDescription {
    static constexpr std::uint32_t kIsBigEndian = 2;
    static constexpr std::uint32_t kIsSignedInteger = 4;

    double mSampleRate = 0;
    FourCharCode mFormatID = 0;
    std::uint32_t mFormatFlags = 0;
    std::uint32_t mBytesPerPacket = 0;
    std::uint32_t mFramesPerPacket = 0;
    std::uint32_t mBytesPerFrame = 0;
    std::uint32_t mChannelsPerFrame = 0;
    std::uint32_t mBitsPerChannel = 0;
};

/// A version 1 sound description for 16-bit big-endian signed linear sound ('lpcm'). It is written
/// as 'twos', which says the same and which every reader knows; some do not know 'lpcm' in a
/// version 1 description. None for any other stream, or a rate of 65536 Hz and more.
[[nodiscard]] std::optional<SoundDescription> QTSoundDescriptionCreate(
    const AudioStreamBasicDescription& stream);

struct AudioChannelDescription {
    std::uint32_t mChannelLabel = 0;
    std::uint32_t mChannelFlags = 0;
    std::array<float, 3> mCoordinates{};
};

/// Which speaker each channel of a track is for. 52 bytes, here as in the file.
struct AudioChannelLayout {
    static constexpr std::uint32_t kLabelLeft = 1;
    static constexpr std::uint32_t kLabelRight = 2;
    static constexpr std::uint32_t kLabelMono = 42;

    std::uint32_t mChannelLayoutTag = 0;  ///< 0: look at the descriptions
    std::uint32_t mChannelBitmap = 0;
    std::uint32_t mNumberChannelDescriptions = 0;
    std::array<AudioChannelDescription, 2> mChannelDescriptions{};
};
static_assert(sizeof(AudioChannelLayout) == 52);

/// The tag that says the same as the layout's channel descriptions, where there is one.
[[nodiscard]] std::optional<std::uint32_t> tagForChannelDescriptions(
    const AudioChannelLayout& layout);

/// The number of the frame that bears this time code, counted from 00:00:00:00. With drop frame the
/// numbers 0 and 1 do not occur at the start of a minute, except every tenth (SMPTE 12M).
[[nodiscard]] std::uint32_t TCTimeCodeToFrameNumber(const TimeCodeDef& definition,
                                                    std::uint8_t hours, std::uint8_t minutes,
                                                    std::uint8_t seconds, std::uint8_t frames);

}  // namespace takebox::movietoolbox
