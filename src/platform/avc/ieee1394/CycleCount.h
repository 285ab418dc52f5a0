#pragma once

#include <cstdint>

namespace takebox::avc {

/// When a packet came.
struct PacketTime {
    std::uint64_t cycle;  ///< in a count that goes on for ever; only differences mean anything
    bool ringWasFull;     ///< packets may have been lost before this one for want of room
};

/// Counts bus cycles on from the numbers that packets carry, which begin anew every second
/// (IEEE 1394: 8000 cycles a second), and knows when the receive ring has run full.
///
/// When packets are missing for longer than a second, the numbers alone would tell the gap short by
/// whole seconds; the clock tells how many. Where the receiver was held up twice before it had
/// caught up, the earlier gap takes the seconds of both. One thread.
class CycleCount {
public:
    /// @param packetsOfRing as many as the ring holds.
    /// @param packetsOfTurn as many as the kernel hands over, and gets room back for, at a time.
    CycleCount(std::uint32_t packetsOfRing, std::uint32_t packetsOfTurn);

    /// Nothing was left in the ring at this time, in milliseconds.
    void caughtUp(std::int64_t now);

    /// Takes the cycle of the next packet, 0 to 7999, which is looked at at this time, in
    /// milliseconds.
    PacketTime take(unsigned cycle, std::int64_t now);

private:
    [[nodiscard]] std::uint64_t uncountedSeconds(std::int64_t now) const;

    // In packets.
    std::uint32_t mSlack;          ///< by which what is taken may miss where the ring was full
    std::uint32_t mFull;           ///< taken at least when it was
    std::uint32_t mTaken = 0;      ///< since the ring was empty
    std::uint32_t mAfterFull = 0;  ///< in which the gap behind a full ring may still show
    bool mHasBegun = false;
    unsigned mLastCycle = 0;
    std::uint64_t mCount = 0;
    std::uint64_t mCountThen = 0;  ///< when count and time agreed last
    std::int64_t mTimeThen = 0;    ///< ms
};

}  // namespace takebox::avc
