#include "platform/avc/ieee1394/DVFrameAssembler.h"

#include <algorithm>
#include <cstdlib>

#include "platform/avc/AVCDevice.h"

namespace takebox::avc {
namespace {

constexpr std::size_t kFrameSizeMax = 144000;
constexpr std::uint64_t kCyclesPerFrameNTSC = 267;
constexpr std::uint64_t kCyclesPerFramePAL = 320;
constexpr int kPacketsPerSequence = 25;
constexpr int kBlocksPerPacket = 6;

// Fields of the CIP header.
constexpr std::uint8_t kNodeMask = 0x3F;
constexpr std::uint8_t kDataBlockQuadlets = 120;
constexpr std::uint8_t kFormatDV = 0x80;
constexpr std::uint8_t kSystem50 = 0x80;
constexpr std::uint8_t kSignalTypeMask = 0x7C;
constexpr std::uint8_t kSignalTypeSD = 0x00;
constexpr std::uint8_t kSignalTypeDVCPRO25 = 0x78;

}  // namespace

DVFrameAssembler::DVFrameAssembler(std::size_t buffers, DVFrameSink& sink)
    : mSink(sink), mBuffers(std::max<std::size_t>(buffers, 1)), mMemory(mBuffers * kFrameSizeMax) {}

void DVFrameAssembler::restart() {
    mIsSynchronized = false;
    mIsOpen = false;
    mSilence = 0;
}

void DVFrameAssembler::setSource(int node) {
    mSource = node;
    mFormerSources.reset();
}

void DVFrameAssembler::renumberSource(int node) {
    if (mSource == node || mSource == kAnySource) {
        return;
    }
    mFormerSources.set(static_cast<std::size_t>(mSource));
    mSource = node;
}

bool DVFrameAssembler::isForeign(int node) {
    if (node == mSource) {
        mFormerSources.reset();
        return false;
    }
    return mSource != kAnySource && !mFormerSources.test(static_cast<std::size_t>(node));
}

DVFrameAssembler::Packet DVFrameAssembler::packet(std::span<const std::uint8_t> packet,
                                                  PacketTime time) {
    // A packet of whatever kind shows that there was room in the receive ring.
    if (time.ringWasFull) {
        mSilence = std::max(mSilence, time.cycle - mLastCycle);
    }
    mLastCycle = time.cycle;
    if (packet.size() < kHeaderSize) {
        return Packet::kNotDV;
    }
    if (isForeign(packet[0] & kNodeMask)) {
        return Packet::kForeign;
    }
    const std::uint8_t signalType = packet[5] & kSignalTypeMask;
    if (packet[4] != kFormatDV || packet[1] != kDataBlockQuadlets ||
        (signalType != kSignalTypeSD && signalType != kSignalTypeDVCPRO25)) {
        return Packet::kNotDV;
    }
    mSignal = packet[5];
    if (packet.size() == kHeaderSize) {
        return Packet::kEmpty;
    }
    if (packet.size() != kPacketSize) {
        return Packet::kNotDV;
    }
    data(packet.subspan(kHeaderSize), packet[3], time.cycle);
    return Packet::kData;
}

int DVFrameAssembler::packetIndex(std::span<const std::uint8_t> block) {
    const int type = block[0] >> 5;
    const int sequence = block[1] >> 4;
    const int number = block[2];
    int slot = -1;
    if (type == 0 && number == 0) {
        slot = 0;
    } else if (type == 3 && number < 9) {
        slot = 6 + 16 * number;
    } else if (type == 4 && number < 135) {
        slot = 7 + number + number / 15;
    }
    if (slot < 0 || slot % kBlocksPerPacket != 0) {
        return -1;
    }
    return sequence * kPacketsPerSequence + slot / kBlocksPerPacket;
}

void DVFrameAssembler::data(std::span<const std::uint8_t> blocks, std::uint8_t dbc,
                            std::uint64_t cycle) {
    const int index = packetIndex(blocks);
    const bool may50 = (mSignal & kSystem50) != 0 || (mIsOpen && mPackets == kPacketsPAL);
    // A packet that is damaged where its place stands is left out: the next one shows the gap.
    if (index < 0 || index >= (may50 ? kPacketsPAL : kPacketsNTSC)) {
        return;
    }
    if (!mIsSynchronized) {
        if (index != 0) {
            return;
        }
        mIsSynchronized = true;
        begin(blocks, index);
    } else {
        const int step = index - mLastIndex;
        const auto counted = static_cast<std::uint8_t>(dbc - mLastDBC);
        if (step == 0 && counted == 0 && !isOverrun(dbc)) {
            return;  // the same packet again
        }
        const bool sameFrame = mIsOpen && step > 0 && static_cast<std::uint8_t>(step) == counted &&
                               mSignal == mFrameSignal && index < mPackets && !isOverrun(dbc);
        if (!sameFrame) {
            changeFrame(blocks, index, dbc, cycle);
        }
    }
    store(blocks, index);
    mLastIndex = index;
    mLastDBC = dbc;
    mLastDataCycle = cycle;
    mSilence = 0;
    if (index == mPackets - 1) {
        finish();
    }
}

void DVFrameAssembler::changeFrame(std::span<const std::uint8_t> blocks, int index,
                                   std::uint8_t dbc, std::uint64_t cycle) {
    if (isOverrun(dbc)) {
        // That is told as one loss, and the frames on both sides of the gap are not told again.
        mSink.overrun(static_cast<std::uint32_t>(mSilence),
                      static_cast<std::uint32_t>(framesLostUpTo(index, dbc, cycle)));
        begin(blocks, index);
        mIsToldAsLost = index != 0;
        return;
    }
    if (mIsOpen) {
        finish();
    }
    if (const int frames = framesAhead(index, dbc, cycle); frames > 1) {
        mSink.frame(kFramesMissing, nullptr, static_cast<std::uint32_t>(frames - 1));
    }
    begin(blocks, index);
}

/// Whether the ring had run full between the last packet and this one, for more than a frame: not
/// even empty packets came.
bool DVFrameAssembler::isOverrun(std::uint8_t dbc) const {
    const auto frameCycles = mPackets == kPacketsPAL ? kCyclesPerFramePAL : kCyclesPerFrameNTSC;
    return mSilence > frameCycles && static_cast<std::uint8_t>(dbc - mLastDBC) != 1;
}

/// Data packets that the sender has sent in this many cycles.
int DVFrameAssembler::packetsIn(std::uint64_t cycles) const {
    // 25 frames of 300 a second, or 30000/1001 of 250.
    return static_cast<int>(mPackets == kPacketsPAL ? cycles * 15 / 16 : cycles * 1875 / 2002);
}

/// How many frames after the last packet's frame this packet belongs; 0 when the counter was not
/// continued at all.
int DVFrameAssembler::framesAhead(int index, std::uint8_t dbc, std::uint64_t cycle) const {
    const int counted = static_cast<std::uint8_t>(dbc - mLastDBC);
    // The counter has eight bits; the time that passed decides between its turns.
    const int expected = packetsIn(cycle - mLastDataCycle);
    for (int frames = 1; frames <= expected / mPackets + 2; ++frames) {
        const int packets = frames * mPackets + index - mLastIndex;
        if (packets % 256 == counted && std::abs(packets - expected) < mPackets / 2) {
            return frames;
        }
    }
    return 0;
}

/// How many frames lack packets between the last one and this one, at which reception starts anew.
int DVFrameAssembler::framesLostUpTo(int index, std::uint8_t dbc, std::uint64_t cycle) const {
    int ahead = framesAhead(index, dbc, cycle);
    if (ahead == 0) {  // the counter began anew: only the time tells
        const int packets = packetsIn(cycle - mLastDataCycle);
        ahead = std::max((packets + mLastIndex - index + mPackets / 2) / mPackets, 1);
    }
    const int begun = mIsOpen && !mIsToldAsLost ? 1 : 0;
    const int broken = index != 0 ? 1 : 0;
    return begun + (ahead - 1) + broken;
}

void DVFrameAssembler::begin(std::span<const std::uint8_t> blocks, int index) {
    constexpr std::uint8_t kSequences12 = 0x80;  // DSF flag of the header block
    const bool is50 = index == 0 ? (blocks[3] & kSequences12) != 0 : (mSignal & kSystem50) != 0;
    mPackets = is50 ? kPacketsPAL : kPacketsNTSC;
    mFrameSignal = mSignal;
    mPresent.reset();
    mIsOpen = true;
    mIsToldAsLost = false;
}

void DVFrameAssembler::store(std::span<const std::uint8_t> blocks, int index) {
    if (index >= mPackets) {
        return;
    }
    std::copy(blocks.begin(), blocks.end(),
              mMemory.begin() +
                  static_cast<std::ptrdiff_t>(mBuffer * kFrameSizeMax +
                                              static_cast<std::size_t>(index) * kPayloadSize));
    mPresent.set(static_cast<std::size_t>(index));
}

void DVFrameAssembler::finish() {
    mIsOpen = false;
    if (mIsToldAsLost) {
        return;
    }
    std::uint8_t* const frame = mMemory.data() + mBuffer * kFrameSizeMax;
    const auto packets = static_cast<std::size_t>(mPackets);
    const bool isWhole = mPresent.count() == packets;
    if (!isWhole) {
        // A hole is empty; it does not show what the buffer held before.
        for (std::size_t i = 0; i < packets; ++i) {
            if (!mPresent.test(i)) {
                std::fill_n(frame + i * kPayloadSize, kPayloadSize, std::uint8_t{0});
            }
        }
    }
    mBuffer = (mBuffer + 1) % mBuffers;
    mSink.frame(isWhole ? kFrameReceived : kFrameIncomplete, frame,
                static_cast<std::uint32_t>(packets * kPayloadSize));
}

}  // namespace takebox::avc
