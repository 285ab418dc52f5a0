#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "storage/ChunkToWrite.h"

namespace takebox {

/// Six chunks between the receive thread, which fills them, and the writer thread, which empties
/// them. No locks: see ChunkToWrite. The receive thread never waits; what finds no room is dropped.
///
/// Chunks are numbered in the order of filling. When all six are full, an underrun, numbering
/// starts again at 1 with the first chunk that becomes free, while the writer goes on waiting for
/// the next number of the old sequence and never finds it: the movie ends with the chunks that were
/// full at the underrun. It then has no gap in the middle, where picture and sound would part.
class ChunkRing {
public:
    static constexpr std::uint32_t kChunkCount = 6;

    explicit ChunkRing(std::uint32_t chunkSize);

    /// What became of samples that were offered.
    struct Added {
        bool isKept = false;
        bool isForMovie = false;      ///< kept, and the movie will have them
        bool hasFilledChunk = false;  ///< there may be something to write
    };

    /// Receive thread: queues samples, all of the same size, in one piece.
    Added add(const void* bytes, std::uint32_t size, std::uint32_t samples,
              std::uint32_t sampleSize);

    /// Writer thread: the next chunk of the sequence once it is full, or none.
    [[nodiscard]] ChunkToWrite* nextFullChunk();
    /// Writer thread, when the receive thread adds nothing any more: the next chunk with bytes in
    /// it, full or not, or none.
    [[nodiscard]] ChunkToWrite* nextChunkOfDrain();
    /// Writer thread: frees a chunk that one of these has returned.
    void chunkWasWritten(ChunkToWrite& chunk);

    [[nodiscard]] ChunkToWrite* chunkWithSequenceNumber(std::uint32_t number);
    /// The first in array order that is free, or none.
    [[nodiscard]] ChunkToWrite* firstAvailableChunk();

    /// While no thread uses the ring: numbering starts anew.
    void reset();

    /// Samples that the movie does not hold, since the first underrun. Any thread.
    [[nodiscard]] std::uint64_t droppedSamples() const {
        return _droppedSamples.load(std::memory_order_relaxed);
    }
    /// There was an underrun. Any thread; true makes samplesBeforeUnderrun() valid.
    [[nodiscard]] bool isFrozen() const { return _isFrozen.load(std::memory_order_acquire); }
    [[nodiscard]] std::uint64_t samplesBeforeUnderrun() const { return _samplesBeforeUnderrun; }

private:
    [[nodiscard]] Added dropped(std::uint32_t samples, bool hasFilledChunk);

    std::array<ChunkToWrite, kChunkCount> _chunks;

    // Receive thread; the writer thread reads it in the drain.
    std::uint32_t _chunkBeingFilledSequenceNumber = 0;
    std::uint64_t _keptSamples = 0;
    // Receive thread until _isFrozen, then nobody changes them.
    std::uint32_t _lastSequenceNumber = 0;
    std::uint64_t _samplesBeforeUnderrun = 0;
    // Writer thread.
    std::uint32_t _chunkBeingWrittenSequenceNumber = 1;

    std::atomic<bool> _isFrozen{false};  // release: publishes the two fields above
    std::atomic<std::uint64_t> _droppedSamples{0};
};

}  // namespace takebox
