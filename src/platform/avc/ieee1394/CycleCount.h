#pragma once

#include <cstdint>

namespace takebox::avc {

/// Counts bus cycles on from the numbers that packets carry, which begin anew every second
/// (IEEE 1394: 8000 cycles a second).
///
/// When packets are missing for longer than that, the numbers alone would tell a gap short by whole
/// seconds; the clock tells how many. One thread.
class CycleCount {
public:
    /// Nothing was left in the receive ring at this time, in milliseconds.
    void caughtUp(std::int64_t now);

    /// Takes the cycle of the next packet, 0 to 7999, which is looked at at this time, in
    /// milliseconds.
    /// @return its number in a count that goes on for ever; only differences mean anything.
    std::uint64_t at(unsigned cycle, std::int64_t now);

private:
    [[nodiscard]] std::uint64_t uncountedSeconds(std::int64_t now) const;

    unsigned mLastCycle = 0;
    std::uint64_t mCount = 0;
    std::uint64_t mCountThen = 0;    ///< when count and time agreed last
    std::int64_t mTimeThen = 0;      ///< ms
    std::uint64_t mCountBehind = 0;  ///< when the time was found ahead of it
    bool mIsBehind = false;
};

}  // namespace takebox::avc
