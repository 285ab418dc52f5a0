#include "capture/DVFrameParser.h"

#include <algorithm>
#include <cstring>

namespace takebox {
namespace {

constexpr std::uint32_t kSequenceSize = 12000;   // 150 DIF blocks of 80 bytes
constexpr std::uint32_t kFirstAudioBlock = 480;  // DIF block 6 of a sequence
constexpr std::uint32_t kAudioBlockStep = 1280;  // every 16th DIF block carries audio
constexpr std::uint32_t kAudioDataOffset = 8;    // block ID and AAUX pack come first
constexpr std::uint32_t kTimeCodeOffset = 111;   // data of the time code pack
constexpr std::uint32_t kSmallestTimeCodeFrame = 117;
constexpr std::uint32_t kSourceControlOffset = 455;
constexpr std::uint32_t kAudioSourceOffset = 4324;
constexpr std::int32_t kFewestNTSCSamples = 1580;
constexpr std::int32_t kMostNTSCSamples = 1644;
constexpr std::int32_t kPALSamples = 1920;
constexpr std::int16_t kLevelDecay = 600;

/// The 48 kHz two-channel shuffling: a channel's samples go round the audio blocks of its half of
/// the DIF sequences; after `blocks` samples the next round writes the next two bytes of each.
struct Shuffling {
    std::uint32_t blocks;            // audio blocks of one channel
    std::uint32_t sequences;         // DIF sequences of one channel
    std::uint32_t samplesPerColumn;  // samples before the block number within a sequence rises
    std::uint32_t fullFrame;         // bytes that hold every position
};
constexpr Shuffling kNTSCShuffling{45, 5, 15, 120000};
constexpr Shuffling kPALShuffling{54, 6, 18, 144000};

/// Position of sample `slot` (below `blocks`) of a channel: where its audio block's data begins.
constexpr std::uint32_t blockOffset(const Shuffling& shuffling, std::uint32_t slot,
                                    std::uint32_t channel) {
    const std::uint32_t sequence =
        ((slot % 3) * 2 + slot / 3) % shuffling.sequences + channel * shuffling.sequences;
    const std::uint32_t block = 3 * (slot % 3) + slot / shuffling.samplesPerColumn;
    return sequence * kSequenceSize + kFirstAudioBlock + block * kAudioBlockStep + kAudioDataOffset;
}

std::uint32_t binaryFromBCD(std::uint8_t byte, std::uint8_t tensMask) {
    return (byte & 0x0FU) % 10 + ((byte & tensMask) >> 4U) * 10U;
}

std::int16_t bigEndian16(const std::uint8_t* bytes) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(bytes[0] << 8U | bytes[1]));
}

}  // namespace

void DVFrameParser::setStandard(DVStandard standard) {
    const DVGeometry& geometry = standard == kStandardPAL ? kPALGeometry : kNTSCGeometry;
    mStandard = standard;
    mFrameSize = geometry.frameSize;
    mFramesPerSecond = geometry.nominalFramesPerSecond;
    mAudioFrameSize = geometry.audioBlockSize;
}

double DVFrameParser::framesPerSecond() const {
    return mStandard == kStandardPAL ? kPALGeometry.framesPerSecond : kNTSCGeometry.framesPerSecond;
}

void DVFrameParser::extractTimeCode(const std::uint8_t* bytes, std::uint32_t withSize) {
    if (bytes == nullptr || withSize < kSmallestTimeCodeFrame) {
        return;
    }
    const std::uint8_t* pack = bytes + kTimeCodeOffset;
    TimeCodeRecord timeCode;
    if (!std::all_of(pack, pack + 4, [](std::uint8_t byte) { return byte == 0xFF; })) {
        timeCode.frames = static_cast<std::uint8_t>(binaryFromBCD(pack[0], 0x30));
        timeCode.seconds = static_cast<std::uint8_t>(binaryFromBCD(pack[1], 0x70));
        timeCode.minutes = static_cast<std::uint8_t>(binaryFromBCD(pack[2], 0x70));
        timeCode.hours = static_cast<std::uint8_t>(binaryFromBCD(pack[3], 0x30));
    }
    mCurrentTimeCode.store(timeCode.counter(), std::memory_order_relaxed);
}

QString DVFrameParser::currentTimeCodeAsString() const {
    const TimeCodeRecord timeCode = currentTimeCode();
    return QString::asprintf("%02i:%02i:%02i:%02i", timeCode.hours, timeCode.minutes,
                             timeCode.seconds, timeCode.frames);
}

double DVFrameParser::currentTimeCodeAsDouble() const {
    const TimeCodeRecord timeCode = currentTimeCode();
    return timeCode.hours * 3600.0 + timeCode.minutes * 60.0 + timeCode.seconds +
           timeCode.frames / framesPerSecond();
}

void DVFrameParser::extract16By9Flag(const std::uint8_t* bytes, std::uint32_t withSize) {
    if (bytes == nullptr || withSize <= kSourceControlOffset) {
        return;
    }
    const bool flag = (bytes[kSourceControlOffset] & 0x02U) != 0;
    if (flag != m16By9.load(std::memory_order_relaxed)) {
        m16By9.store(flag, std::memory_order_relaxed);
        updatePreviewBounds();
    }
}

std::int32_t DVFrameParser::getAudioSamplesCount(const std::uint8_t* bytes) {
    return (bytes[kAudioSourceOffset] & 0x3F) + kFewestNTSCSamples;
}

std::uint32_t DVFrameParser::getOffsetOfAudioSample(std::int32_t sample, std::int32_t forChannel,
                                                    bool pal) {
    const Shuffling& shuffling = pal ? kPALShuffling : kNTSCShuffling;
    const auto index = static_cast<std::uint32_t>(sample);
    return blockOffset(shuffling, index % shuffling.blocks,
                       static_cast<std::uint32_t>(forChannel)) +
           2 * (index / shuffling.blocks);
}

namespace {

/// De-shuffles one channel block by block: the samples of an audio block stand side by side in the
/// frame and `blocks` sample frames apart in the buffer. Whole blocks lie within the frame.
/// @return the highest sample, at least 0.
std::int16_t copyChannel(const Shuffling& shuffling, const std::uint8_t* frame,
                         std::uint32_t channel, std::uint32_t count, std::uint8_t* buffer) {
    std::int16_t peak = 0;
    for (std::uint32_t slot = 0; slot < shuffling.blocks; ++slot) {
        const std::uint8_t* source = frame + blockOffset(shuffling, slot, channel);
        std::uint8_t* target = buffer + 4 * slot + 2 * channel;
        const std::uint32_t samples = (count - slot + shuffling.blocks - 1) / shuffling.blocks;
        for (std::uint32_t i = 0; i < samples; ++i) {
            peak = std::max(peak, bigEndian16(source + 2 * i));
            std::memcpy(target + std::size_t{4} * i * shuffling.blocks, source + 2 * i, 2);
        }
    }
    return peak;
}

/// The same sample by sample for a frame that ends early.
std::int16_t copyChannelOfShortFrame(const std::uint8_t* frame, std::uint32_t size,
                                     std::uint32_t channel, bool pal, std::uint32_t count,
                                     std::uint8_t* buffer) {
    std::int16_t peak = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        std::uint8_t* target = buffer + std::size_t{4} * i + 2 * channel;
        const std::uint32_t offset = DVFrameParser::getOffsetOfAudioSample(
            static_cast<std::int32_t>(i), static_cast<std::int32_t>(channel), pal);
        if (offset + 2 > size) {
            target[0] = target[1] = 0;
            continue;
        }
        peak = std::max(peak, bigEndian16(frame + offset));
        std::memcpy(target, frame + offset, 2);
    }
    return peak;
}

}  // namespace

const std::uint32_t* DVFrameParser::extractAudioSamples(const std::uint8_t* bytes,
                                                        std::uint32_t withSize,
                                                        std::uint32_t& extractedBytes) {
    mPeakAudioSampleLeft = 0;
    mPeakAudioSampleRight = 0;
    const bool pal = mFramesPerSecond == kPALGeometry.nominalFramesPerSecond;
    std::int32_t count = kPALSamples;
    if (!pal) {
        const bool hasCount = bytes != nullptr && withSize > kAudioSourceOffset;
        count = hasCount ? getAudioSamplesCount(bytes) : 0;
        if (count < kFewestNTSCSamples || count > kMostNTSCSamples) {
            count = 0;
        }
    }
    const auto samples = static_cast<std::uint32_t>(count);
    extractedBytes = samples * 4;
    if (bytes != nullptr && withSize != 0 && samples != 0) {
        const Shuffling& shuffling = pal ? kPALShuffling : kNTSCShuffling;
        auto* buffer = reinterpret_cast<std::uint8_t*>(mAudioBuffer.data());
        if (withSize >= shuffling.fullFrame) {
            mPeakAudioSampleLeft = copyChannel(shuffling, bytes, 0, samples, buffer);
            mPeakAudioSampleRight = copyChannel(shuffling, bytes, 1, samples, buffer);
        } else {
            mPeakAudioSampleLeft =
                copyChannelOfShortFrame(bytes, withSize, 0, pal, samples, buffer);
            mPeakAudioSampleRight =
                copyChannelOfShortFrame(bytes, withSize, 1, pal, samples, buffer);
        }
    }
    updateLevel(mPreviousAudioLevelLeft, mPeakAudioSampleLeft);
    updateLevel(mPreviousAudioLevelRight, mPeakAudioSampleRight);
    return mAudioBuffer.data();
}

void DVFrameParser::updateLevel(std::atomic<std::int16_t>& level, std::int16_t peak) {
    const std::int16_t previous = level.load(std::memory_order_relaxed);
    level.store(peak < previous ? static_cast<std::int16_t>(previous - kLevelDecay) : peak,
                std::memory_order_relaxed);
}

}  // namespace takebox
