#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>

namespace takebox {

/// Hands the newest DV frame from the receive thread to the main thread; a frame that the main
/// thread has not taken when the next one comes is overwritten, so stale pictures never queue up.
/// Neither side ever waits, and after construction nothing is allocated.
///
/// There are three slots: the one being written, the one being read, and one between the two. Each
/// side gives its slot away and gets the other one in a single exchange, so that no slot ever has
/// two owners.
class LatestFrame {
public:
    static constexpr std::size_t kCapacity = 144000;  ///< bytes of the larger frame, PAL

    struct Frame {
        std::uint64_t number = 0;  ///< 1 for the first frame that was offered
        std::span<const std::uint8_t> bytes;
    };

    LatestFrame() : mStorage(std::make_unique<Slots>()) {}

    /// Copies a frame, cut to the capacity. Writer thread only.
    void offer(const std::uint8_t* data, std::size_t length) noexcept {
        Slot& slot = (*mStorage)[mWriting];
        slot.size = data != nullptr ? std::min(length, kCapacity) : 0;
        if (slot.size > 0) {
            std::memcpy(slot.bytes.data(), data, slot.size);
        }
        slot.number = ++mOffered;
        const unsigned previous = mTransit.exchange(mWriting | kFresh, std::memory_order_acq_rel);
        mWriting = previous & kIndex;
    }

    /// Takes the newest frame if there is one that was not taken before; its bytes stay as they are
    /// until the next frame is taken. Reader thread only.
    bool take(Frame& frame) noexcept {
        if ((mTransit.load(std::memory_order_relaxed) & kFresh) == 0) {
            return false;
        }
        mReading = mTransit.exchange(mReading, std::memory_order_acq_rel) & kIndex;
        const Slot& slot = (*mStorage)[mReading];
        frame = {slot.number, {slot.bytes.data(), slot.size}};
        return true;
    }

private:
    struct Slot {
        std::uint64_t number = 0;
        std::size_t size = 0;
        std::array<std::uint8_t, kCapacity> bytes{};
    };
    using Slots = std::array<Slot, 3>;

    static constexpr unsigned kIndex = 0x03;
    static constexpr unsigned kFresh = 0x04;

    std::unique_ptr<Slots> mStorage;
    unsigned mWriting = 0;       // writer
    std::uint64_t mOffered = 0;  // writer
    unsigned mReading = 1;       // reader
    // Index of the slot between the two, and whether it holds a frame nobody has taken.
    //   release in offer(): the frame is complete before its index shows; acquire in take() pairs.
    //   release in take(): the reader has done with the slot it gives back; acquire in offer()
    //   pairs, so the writer never overwrites bytes that are still being read.
    // The look before the exchange may be relaxed: only the reader clears kFresh.
    std::atomic<unsigned> mTransit{2};
    static_assert(std::atomic<unsigned>::is_always_lock_free);
};

}  // namespace takebox
