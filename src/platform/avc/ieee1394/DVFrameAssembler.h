#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/avc/ieee1394/CycleCount.h"

namespace takebox::avc {

/// Takes what a DVFrameAssembler makes of the packets; on the receive thread.
class DVFrameSink {
public:
    DVFrameSink() = default;
    virtual ~DVFrameSink() = default;
    DVFrameSink(const DVFrameSink&) = delete;
    DVFrameSink& operator=(const DVFrameSink&) = delete;

    /// A FrameMessage with its data, which stay valid during the call; for kFramesMissing the
    /// length is the number of frames.
    virtual void frame(std::uint32_t message, const std::uint8_t* data, std::uint32_t length) = 0;
    /// Packets are missing because nobody emptied the receive ring in time, and with them frames
    /// in whole or in part, which are not told otherwise.
    virtual void overrun(std::uint32_t cyclesLost, std::uint32_t framesLost) = 0;
};

/// Puts the isochronous packets of one sender together to DV frames (IEC 61883-1 and -2).
///
/// A packet finds its place by the DIF block that it starts with, and its frame by the data block
/// counter (DBC), so that lost packets cost exactly the frames that they belong to, whichever and
/// however many they are. Allocates only when constructed. One thread.
class DVFrameAssembler {
public:
    static constexpr std::size_t kHeaderSize = 8;     ///< CIP header; all of an empty packet
    static constexpr std::size_t kPayloadSize = 480;  ///< six DIF blocks
    static constexpr std::size_t kPacketSize = kHeaderSize + kPayloadSize;
    static constexpr int kPacketsNTSC = 250;
    static constexpr int kPacketsPAL = 300;
    static constexpr int kAnySource = -1;

    /// What a packet was.
    enum class Packet {
        kData,     ///< taken
        kEmpty,    ///< a cycle without data, as there are some in every frame
        kForeign,  ///< from another sender on the same channel; not looked at
        kNotDV,    ///< another format, or damaged
    };

    /// @param buffers frame buffers to take turns in; at least one.
    DVFrameAssembler(std::size_t buffers, DVFrameSink& sink);

    /// Takes a packet as received, without the isochronous header.
    Packet packet(std::span<const std::uint8_t> packet, PacketTime time);

    /// Accepts the packets of this node (0 to 62) only; kAnySource accepts all.
    void setSource(int node);
    /// The sender has another number since a bus reset. What it sent before may still be on its
    /// way: its former numbers are accepted until the first packet comes with the new one.
    void renumberSource(int node);

    /// Forgets a frame begun and waits for the start of the next, without telling the sink.
    void restart();

    /// First byte of the format field of the last DV packet: video system and signal type.
    [[nodiscard]] std::uint8_t signal() const { return mSignal; }

private:
    [[nodiscard]] bool isForeign(int node);
    [[nodiscard]] static int packetIndex(std::span<const std::uint8_t> block);
    void data(std::span<const std::uint8_t> blocks, std::uint8_t dbc, std::uint64_t cycle);
    void changeFrame(std::span<const std::uint8_t> blocks, int index, std::uint8_t dbc,
                     std::uint64_t cycle);
    [[nodiscard]] bool isOverrun(std::uint8_t dbc) const;
    [[nodiscard]] int packetsIn(std::uint64_t cycles) const;
    [[nodiscard]] int framesAhead(int index, std::uint8_t dbc, std::uint64_t cycle) const;
    [[nodiscard]] int framesLostUpTo(int index, std::uint8_t dbc, std::uint64_t cycle) const;
    void begin(std::span<const std::uint8_t> blocks, int index);
    void store(std::span<const std::uint8_t> blocks, int index);
    void finish();

    DVFrameSink& mSink;
    std::size_t mBuffers;
    std::vector<std::uint8_t> mMemory;
    std::size_t mBuffer = 0;
    std::bitset<kPacketsPAL> mPresent;
    int mSource = kAnySource;
    std::bitset<64> mFormerSources;
    int mPackets = kPacketsPAL;        ///< of the current frame
    int mLastIndex = 0;                ///< place of the last packet in its frame
    std::uint8_t mLastDBC = 0;         ///< of the last data packet
    std::uint64_t mLastCycle = 0;      ///< of the last packet of any kind
    std::uint64_t mLastDataCycle = 0;  ///< of the last data packet
    std::uint64_t mSilence = 0;     ///< longest since then that a full ring has caused, in cycles
    std::uint8_t mSignal = 0;       ///< of the last packet
    std::uint8_t mFrameSignal = 0;  ///< of the current frame
    bool mIsSynchronized = false;   ///< a frame start has been seen
    bool mIsOpen = false;           ///< the current frame waits for more packets
    bool mIsToldAsLost = false;     ///< the current frame is one of an overrun
};

}  // namespace takebox::avc
