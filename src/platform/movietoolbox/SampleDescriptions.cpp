#include "platform/movietoolbox/SampleDescriptions.h"

#include <cmath>

namespace takebox::movietoolbox {
namespace {

constexpr std::uint32_t kLayoutTagMono = 100U << 16 | 1;
constexpr std::uint32_t kLayoutTagStereo = 101U << 16 | 2;

}  // namespace

std::optional<SoundDescription> QTSoundDescriptionCreate(
    const AudioStreamBasicDescription& stream) {
    constexpr std::uint32_t kFlags =
        AudioStreamBasicDescription::kIsBigEndian | AudioStreamBasicDescription::kIsSignedInteger;
    const bool isKnown = stream.mFormatID == fourCC("lpcm") && stream.mFormatFlags == kFlags &&
                         stream.mBitsPerChannel == 16 && stream.mChannelsPerFrame > 0 &&
                         stream.mChannelsPerFrame <= 64 && stream.mFramesPerPacket == 1 &&
                         stream.mBytesPerFrame == 2 * stream.mChannelsPerFrame &&
                         stream.mBytesPerPacket == stream.mBytesPerFrame;
    if (!isKnown || !(stream.mSampleRate > 0 && stream.mSampleRate < 65536.0)) {
        return std::nullopt;
    }
    SoundDescription description;
    description.dataFormat = fourCC("twos");
    description.numChannels = static_cast<std::int16_t>(stream.mChannelsPerFrame);
    description.sampleSize = 16;
    description.sampleRate = static_cast<std::uint32_t>(std::floor(stream.mSampleRate * 65536.0));
    description.samplesPerPacket = 1;
    description.bytesPerPacket = 2;  // of one channel
    description.bytesPerFrame = stream.mBytesPerFrame;
    description.bytesPerSample = 2;
    return description;
}

std::optional<std::uint32_t> tagForChannelDescriptions(const AudioChannelLayout& layout) {
    const auto& channels = layout.mChannelDescriptions;
    if (layout.mNumberChannelDescriptions == 1 &&
        channels[0].mChannelLabel == AudioChannelLayout::kLabelMono) {
        return kLayoutTagMono;
    }
    if (layout.mNumberChannelDescriptions == 2 &&
        channels[0].mChannelLabel == AudioChannelLayout::kLabelLeft &&
        channels[1].mChannelLabel == AudioChannelLayout::kLabelRight) {
        return kLayoutTagStereo;
    }
    return std::nullopt;
}

std::uint32_t TCTimeCodeToFrameNumber(const TimeCodeDef& definition, std::uint8_t hours,
                                      std::uint8_t minutes, std::uint8_t seconds,
                                      std::uint8_t frames) {
    const std::uint32_t totalMinutes = hours * 60U + minutes;
    const std::uint32_t number = (totalMinutes * 60 + seconds) * definition.numFrames + frames;
    if ((definition.flags & TimeCodeDef::kDropFrame) == 0) {
        return number;
    }
    return number - 2 * (totalMinutes - totalMinutes / 10);
}

}  // namespace takebox::movietoolbox
