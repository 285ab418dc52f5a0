#include "storage/DVDescriptions.h"

#include <algorithm>
#include <string_view>

namespace takebox {

using namespace movietoolbox;

namespace {

ImageDescription dvImageDescription(FourCharCode codec, std::int16_t height,
                                    std::string_view name) {
    constexpr std::uint32_t kNormalQuality = 512;
    constexpr std::int32_t kDotsPerInch = 72;
    ImageDescription description;
    description.cType = codec;
    description.spatialQuality = kNormalQuality;
    description.width = 720;
    description.height = height;
    description.hRes = Long2Fix(kDotsPerInch);
    description.vRes = Long2Fix(kDotsPerInch);
    description.name[0] = static_cast<char>(name.size());
    std::copy(name.begin(), name.end(), description.name.begin() + 1);
    description.depth = 24;
    return description;
}

}  // namespace

ImageDescription createDVNTSCImageDescriptionHandle() {
    return dvImageDescription(fourCC("dvc "), 480, "DV - NTSC");
}

ImageDescription createDVPALImageDescriptionHandle() {
    return dvImageDescription(fourCC("dvcp"), 576, "DV - PAL");
}

SoundDescription createDVSoundDescriptionHandle() {
    AudioStreamBasicDescription stream;
    stream.mSampleRate = 48000.0;
    stream.mFormatID = fourCC("lpcm");
    stream.mFormatFlags =
        AudioStreamBasicDescription::kIsBigEndian | AudioStreamBasicDescription::kIsSignedInteger;
    stream.mBytesPerPacket = 4;
    stream.mFramesPerPacket = 1;
    stream.mBytesPerFrame = 4;
    stream.mChannelsPerFrame = 2;
    stream.mBitsPerChannel = 16;
    return QTSoundDescriptionCreate(stream).value_or(SoundDescription{});
}

std::uint32_t bytesPerSampleFrame(const SoundDescription& sound) {
    return static_cast<std::uint32_t>(std::max(0, sound.sampleSize / 8 * sound.numChannels));
}

}  // namespace takebox
