#include "platform/avc/virtualdeck/TestSignal.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>

namespace takebox::avc {
namespace {

// Pack headers.
constexpr std::uint8_t kTimeCodePack = 0x13;
constexpr std::uint8_t kAudioSource = 0x50;
constexpr std::uint8_t kAudioControl = 0x51;
constexpr std::uint8_t kVideoSource = 0x60;
constexpr std::uint8_t kVideoControl = 0x61;

// Blocks of a DIF sequence.
constexpr std::size_t kSubcodeBlock = 1;
constexpr std::size_t kVAUXBlock = 3;
constexpr std::size_t kFirstAudioBlock = 6;
constexpr std::size_t kAudioBlockStep = 16;
constexpr std::size_t kAudioBlocks = 9;
constexpr std::size_t kBlocks = 150;

constexpr std::size_t kIDSize = 3;
constexpr std::size_t kPackSize = 5;
constexpr std::size_t kSyncBlockSize = 8;
constexpr std::size_t kSyncBlocks = 6;  // in each of the two subcode blocks

constexpr std::size_t kAudioBlockDistance = kAudioBlockStep * kDIFBlockSize;
constexpr std::size_t kAudioDataOffset = kFirstAudioBlock * kDIFBlockSize + kIDSize + kPackSize;

constexpr std::uint32_t kNTSCCycle = 8008;  // samples in five frames
constexpr std::array<std::uint16_t, 5> kNTSCFirstSamples{0, 1600, 3202, 4804, 6406};

using Pack = std::array<std::uint8_t, kPackSize>;

/// One block of a DIF sequence that is being laid out.
std::span<std::uint8_t> blockAt(std::span<std::uint8_t> frame, std::size_t sequence,
                                std::size_t block) {
    return frame.subspan(sequence * kDIFSequenceSize + block * kDIFBlockSize, kDIFBlockSize);
}

void put(std::span<std::uint8_t> block, std::size_t position, const Pack& pack) {
    std::copy(pack.begin(), pack.end(), block.begin() + static_cast<std::ptrdiff_t>(position));
}

/// Type bits of a block's ID, with the reserved and arbitrary bits set; and the block's number
/// within its type.
struct BlockID {
    std::uint8_t type;
    std::size_t number;
};

constexpr BlockID blockID(std::size_t block) {
    if (block == 0) {
        return {0x1F, 0};
    }
    if (block < kVAUXBlock) {
        return {0x3F, block - kSubcodeBlock};
    }
    if (block < kFirstAudioBlock) {
        return {0x5F, block - kVAUXBlock};
    }
    const std::size_t place = block - kFirstAudioBlock;
    if (place % kAudioBlockStep == 0) {
        return {0x7F, place / kAudioBlockStep};
    }
    return {0x9F, place - place / kAudioBlockStep - 1};
}

void layOutSequence(std::span<std::uint8_t> frame, std::size_t sequence) {
    for (std::size_t block = 0; block < kBlocks; ++block) {
        const BlockID id = blockID(block);
        const auto bytes = blockAt(frame, sequence, block);
        bytes[0] = id.type;
        bytes[1] = static_cast<std::uint8_t>(sequence << 4 | 0x07);
        bytes[2] = static_cast<std::uint8_t>(id.number);
    }
}

void writeHeader(std::span<std::uint8_t> frame, std::size_t sequence, DVStandard standard) {
    const auto block = blockAt(frame, sequence, 0);
    block[3] = standard == DVStandard::kPAL ? 0xBF : 0x3F;
    block[4] = 0xF8;                          // consumer tape format
    std::fill_n(block.begin() + 5, 3, 0x78);  // audio, video and subcode are valid
}

void writeSubcodeIDs(std::span<std::uint8_t> frame, std::size_t sequence, bool isFirstHalf) {
    for (std::size_t sync = 0; sync < 2 * kSyncBlocks; ++sync) {
        const auto block = blockAt(frame, sequence, kSubcodeBlock + sync / kSyncBlocks);
        const std::size_t position = kIDSize + sync % kSyncBlocks * kSyncBlockSize;
        // These three carry the format of the track, the others its marks, of which none is set.
        const bool carriesFormat = sync == 0 || sync == 6 || sync == 11;
        block[position] = static_cast<std::uint8_t>((isFirstHalf ? 0x80 : 0x00) |
                                                    (carriesFormat ? 0x00 : 0x70) | 0x0F);
        block[position + 1] = static_cast<std::uint8_t>(0xF0 | sync);
    }
}

void writeVideoPacks(std::span<std::uint8_t> frame, std::size_t sequence, DVStandard standard,
                     bool wide) {
    const std::uint8_t fields = standard == DVStandard::kPAL ? 0xE0 : 0xC0;
    const std::uint8_t display = wide ? 0xCA : 0xC8;
    // In turn at the end and at the beginning of the section, so that no scratch takes all.
    const bool isEven = sequence % 2 == 0;
    const auto block = blockAt(frame, sequence, kVAUXBlock + (isEven ? 2 : 0));
    const std::size_t position = kIDSize + (isEven ? 9 * kPackSize : 0);
    put(block, position, {kVideoSource, 0xFF, 0xFF, fields, 0xFF});
    put(block, position + kPackSize, {kVideoControl, 0x3F, display, 0xFC, 0xFF});
}

/// The block of a sequence that has the first of the audio packs.
constexpr std::size_t audioSourceBlock(std::size_t sequence) {
    return kFirstAudioBlock + (sequence % 2 == 0 ? 3 : 0) * kAudioBlockStep;
}

void writeAudioPacks(std::span<std::uint8_t> frame, std::size_t sequence, DVStandard standard,
                     bool isFirstHalf) {
    const std::uint8_t fields = standard == DVStandard::kPAL ? 0xE0 : 0xC0;
    const std::uint8_t channel = isFirstHalf ? 0x00 : 0x01;
    const std::size_t block = audioSourceBlock(sequence);
    // Locked to the picture; the size is written with the samples. 48 kHz, 16 bits, no emphasis.
    put(blockAt(frame, sequence, block), kIDSize, {kAudioSource, 0x40, channel, fields, 0xC0});
    put(blockAt(frame, sequence, block + kAudioBlockStep), kIDSize,
        {kAudioControl, 0x3F, 0xCF, 0xA0, 0xFF});
    for (std::size_t audio = 0; audio < kAudioBlocks; ++audio) {
        const auto bytes = blockAt(frame, sequence, kFirstAudioBlock + audio * kAudioBlockStep);
        std::fill(bytes.begin() + kIDSize + kPackSize, bytes.end(), std::uint8_t{0});
    }
}

/// A tone over the shortest whole number of periods that is a whole number of samples.
template <std::size_t kLength>
std::array<std::int16_t, kLength> makeTone(int frequency, std::int16_t peak) {
    std::array<std::int16_t, kLength> tone{};
    for (std::size_t i = 0; i < kLength; ++i) {
        const double phase =
            2 * std::numbers::pi * frequency * static_cast<double>(i) / TestSignal::kSampleRate;
        tone[i] = static_cast<std::int16_t>(std::lround(peak * std::sin(phase)));
    }
    return tone;
}

void putSample(std::span<std::uint8_t> frame, std::size_t offset, std::int16_t sample) {
    const auto bits = static_cast<std::uint16_t>(sample);
    frame[offset] = static_cast<std::uint8_t>(bits >> 8);
    frame[offset + 1] = static_cast<std::uint8_t>(bits);
}

}  // namespace

TestSignal::TestSignal(DVStandard standard, bool wide, TapeTimeCode startTimeCode,
                       std::string_view deckName)
    : mStandard(standard),
      mStart(startTimeCode),
      mCard(standard),
      mBackground(avc::frameSize(standard), 0xFF) {
    const std::size_t sequences = sequenceCount(standard);
    for (std::size_t sequence = 0; sequence < sequences; ++sequence) {
        const bool isFirstHalf = sequence < sequences / 2;
        layOutSequence(mBackground, sequence);
        writeHeader(mBackground, sequence, standard);
        writeSubcodeIDs(mBackground, sequence, isFirstHalf);
        writeVideoPacks(mBackground, sequence, standard, wide);
        writeAudioPacks(mBackground, sequence, standard, isFirstHalf);
    }
    mCard.drawBackground(mBackground, deckName);
}

void TestSignal::writeFrame(std::uint64_t frameNumber, std::span<std::uint8_t> frame) const {
    std::memcpy(frame.data(), mBackground.data(), mBackground.size());
    const TapeTimeCode now = timeCode(frameNumber);
    writeTimeCode(frame, now);
    writeAudio(frame, frameNumber);
    mCard.drawMotion(frame, frameNumber, now.text().data());
}

void TestSignal::writeTimeCode(std::span<std::uint8_t> frame, const TapeTimeCode& timeCode) const {
    const auto data = timeCode.packData();
    const Pack pack{kTimeCodePack, data[0], data[1], data[2], data[3]};
    for (std::size_t sequence = 0; sequence < sequenceCount(mStandard); ++sequence) {
        for (std::size_t sync = 0; sync < 2 * kSyncBlocks; ++sync) {
            put(blockAt(frame, sequence, kSubcodeBlock + sync / kSyncBlocks),
                kIDSize + sync % kSyncBlocks * kSyncBlockSize + 3, pack);
        }
    }
}

void TestSignal::writeAudio(std::span<std::uint8_t> frame, std::uint64_t frameNumber) const {
    const bool isPAL = mStandard == DVStandard::kPAL;
    const std::uint32_t count = sampleCount(mStandard, frameNumber);
    const auto sizeField = static_cast<std::uint8_t>(0x40 | (count - (isPAL ? 1896 : 1580)));
    const std::size_t sequences = sequenceCount(mStandard);
    for (std::size_t sequence = 0; sequence < sequences; ++sequence) {
        blockAt(frame, sequence, audioSourceBlock(sequence))[kIDSize + 1] = sizeField;
    }
    // The shuffling of 48 kHz two-channel audio: neighbouring samples lie far apart on the tape,
    // and each channel has one half of the sequences.
    const std::size_t half = sequences / 2;
    const std::size_t thirds = 3 * half;  // samples between neighbours in a block, over three
    const std::uint64_t first = firstSample(mStandard, frameNumber);
    for (std::size_t n = 0; n < count; ++n) {
        const std::size_t sequence = (n % 3 * 2 + n / 3) % half;
        const std::size_t block = 3 * (n % 3) + n % (3 * thirds) / thirds;
        const std::size_t offset = sequence * kDIFSequenceSize + kAudioDataOffset +
                                   block * kAudioBlockDistance + 2 * (n / (3 * thirds));
        putSample(frame, offset, leftSample(first + n));
        putSample(frame, offset + half * kDIFSequenceSize, rightSample(first + n));
    }
}

std::uint32_t TestSignal::sampleCount(DVStandard standard, std::uint64_t frameNumber) {
    if (standard == DVStandard::kPAL) {
        return 1920;
    }
    return frameNumber % kNTSCFirstSamples.size() == 0 ? 1600 : 1602;
}

std::uint64_t TestSignal::firstSample(DVStandard standard, std::uint64_t frameNumber) {
    if (standard == DVStandard::kPAL) {
        return frameNumber * 1920;
    }
    return frameNumber / kNTSCFirstSamples.size() * kNTSCCycle +
           kNTSCFirstSamples[frameNumber % kNTSCFirstSamples.size()];
}

std::int16_t TestSignal::leftSample(std::uint64_t sample) {
    constexpr std::size_t kLength = 1200;
    static_assert(kLength * kLeftFrequency % kSampleRate == 0);
    static const auto tone = makeTone<kLength>(kLeftFrequency, kLeftPeak);
    return tone[sample % kLength];
}

std::int16_t TestSignal::rightSample(std::uint64_t sample) {
    constexpr std::size_t kLength = 48;
    static_assert(kLength * kRightFrequency % kSampleRate == 0);
    static const auto tone = makeTone<kLength>(kRightFrequency, kRightPeak);
    return tone[sample % kLength];
}

}  // namespace takebox::avc
