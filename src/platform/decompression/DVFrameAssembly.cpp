#include "DVFrameAssembly.h"

#include <algorithm>
#include <cstring>

namespace takebox::decompression {
namespace {

constexpr std::size_t kVideoSystemOffset = 5 * dvframe::kDIFBlockSize + 48 + 3;
constexpr std::uint8_t k625Lines = 0x80;
constexpr std::uint8_t kSystemMask = 0x1F;
constexpr std::uint8_t kTrackApplicationMask = 0x07;

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

dvframe::Sampling DVFrameAssembly::sampling() const {
    if ((mSignature.headerFlags & k625Lines) == 0) {
        return dvframe::Sampling::k525Lines411;
    }
    const bool isDVCPRO = (mSignature.trackFlags & kTrackApplicationMask) != 0 &&
                          (mSignature.videoSystem & kSystemMask) == 0;
    return isDVCPRO ? dvframe::Sampling::k625Lines411 : dvframe::Sampling::k625Lines420;
}

void DVFrameAssembly::fillWithGrey(bool isPAL) {
    // A block of nothing but a mean value of 0, which is the middle, and the end of the block.
    constexpr std::uint8_t kEndOfBlock = 0x06;
    std::ranges::fill(mStorage, std::uint8_t{0});
    mStorage[3] = isPAL ? k625Lines : std::uint8_t{0};
    const auto sampling = isPAL ? dvframe::Sampling::k625Lines420 : dvframe::Sampling::k525Lines411;
    for (const dvframe::MacroBlock& block : dvframe::macroBlocks(sampling)) {
        for (const dvframe::BlockArea& area : dvframe::kBlockAreas) {
            mStorage[block.offset + area.offset + 1] = kEndOfBlock;
        }
    }
}

}  // namespace takebox::decompression
