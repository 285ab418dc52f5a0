#include "DVFrameAssembly.h"

#include <algorithm>
#include <cstring>

namespace takebox::decompression {
namespace {

constexpr std::size_t kBlockSize = 80;
constexpr std::size_t kSequenceBlocks = 150;
constexpr std::size_t kFirstVideoBlock = 6;
constexpr std::size_t kAudioDistance = 16;  // of the blocks from the sixth on, each sixteenth
constexpr std::size_t kVideoSystemOffset = 5 * kBlockSize + 48 + 3;
constexpr std::uint8_t k625Lines = 0x80;
constexpr std::uint8_t kSystemMask = 0x1F;

// A header block begins with its section type, sequence number 0 and block number 0. The only video
// systems of 25 Mbit/s are 0 and, for 625 lines after IEC 61883-5, 1.
bool hasHeader(std::span<const std::uint8_t> frame) {
    if (frame.size() <= kVideoSystemOffset || frame[0] != 0x1F || (frame[1] & 0xF0U) != 0 ||
        frame[2] != 0) {
        return false;
    }
    const unsigned system = frame[kVideoSystemOffset] & kSystemMask;
    return system == 0 || (system == 1 && (frame[3] & k625Lines) != 0);
}

// Four luminance and two colour blocks that hold nothing but a mean value of 0 (mid-grey) and the
// end-of-block code.
void fillVideoBlock(std::uint8_t* block) {
    constexpr std::uint8_t kEndOfBlock = 0x06;
    for (const std::size_t offset : {4U, 18U, 32U, 46U, 60U, 70U}) {
        block[offset + 1] = kEndOfBlock;
    }
}

}  // namespace

DVFrameAssembly::DVFrameAssembly(std::span<std::uint8_t, kPALFrameSize> storage, bool isPAL)
    : mStorage(storage) {
    fillWithGrey(isPAL);
    mSignature = {mStorage[3], mStorage[4], mStorage[kVideoSystemOffset]};
}

std::size_t DVFrameAssembly::assemble(const std::uint8_t* data, std::size_t size) {
    const std::span frame(data, std::min(size, mStorage.size()));
    if (!frame.empty()) {
        std::memcpy(mStorage.data(), frame.data(), frame.size());
    }
    if (hasHeader(frame)) {
        mSignature = {frame[3], frame[4], frame[kVideoSystemOffset]};
    } else {
        mStorage[3] = mSignature.headerFlags;
        mStorage[4] = mSignature.trackFlags;
        mStorage[kVideoSystemOffset] = mSignature.videoSystem;
    }
    return (mSignature.headerFlags & k625Lines) != 0 ? kPALFrameSize : kNTSCFrameSize;
}

void DVFrameAssembly::fillWithGrey(bool isPAL) {
    std::ranges::fill(mStorage, std::uint8_t{0});
    mStorage[3] = isPAL ? k625Lines : std::uint8_t{0};
    for (std::size_t block = 0; block < mStorage.size() / kBlockSize; ++block) {
        const std::size_t inSequence = block % kSequenceBlocks;
        if (inSequence >= kFirstVideoBlock &&
            (inSequence - kFirstVideoBlock) % kAudioDistance != 0) {
            fillVideoBlock(&mStorage[block * kBlockSize]);
        }
    }
}

}  // namespace takebox::decompression
