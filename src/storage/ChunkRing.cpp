#include "storage/ChunkRing.h"

#include <algorithm>

namespace takebox {

ChunkRing::ChunkRing(std::uint32_t chunkSize)
    : _chunks{ChunkToWrite(chunkSize), ChunkToWrite(chunkSize), ChunkToWrite(chunkSize),
              ChunkToWrite(chunkSize), ChunkToWrite(chunkSize), ChunkToWrite(chunkSize)} {}

ChunkRing::Added ChunkRing::add(const void* bytes, std::uint32_t size, std::uint32_t samples,
                                std::uint32_t sampleSize) {
    if (size > _chunks.front().size()) {
        return dropped(samples, false);
    }
    ChunkToWrite* chunk = nullptr;
    if (_chunkBeingFilledSequenceNumber == 0) {
        chunk = firstAvailableChunk();
        if (chunk == nullptr) {
            return dropped(samples, false);
        }
        _chunkBeingFilledSequenceNumber = 1;
    } else {
        chunk = chunkWithSequenceNumber(_chunkBeingFilledSequenceNumber);
    }

    bool hasFilledChunk = false;
    if (!chunk->hasRoomFor(size, sampleSize)) {
        chunk->setFull(true);
        hasFilledChunk = true;
        chunk = firstAvailableChunk();
        if (chunk == nullptr) {
            if (!isFrozen()) {
                _lastSequenceNumber = _chunkBeingFilledSequenceNumber;
                _samplesBeforeUnderrun = _keptSamples;
                _isFrozen.store(true, std::memory_order_release);
            }
            _chunkBeingFilledSequenceNumber = 0;
            return dropped(samples, hasFilledChunk);
        }
        chunk->setSequenceNumber(++_chunkBeingFilledSequenceNumber);
    }

    chunk->copyBuffer(bytes, size);
    chunk->addSamples(samples, sampleSize);
    chunk->setSequenceNumber(_chunkBeingFilledSequenceNumber);
    _keptSamples += samples;
    if (isFrozen()) {
        // Queued, but the writer will never ask for it.
        _droppedSamples.fetch_add(samples, std::memory_order_relaxed);
    }
    return {true, !isFrozen(), hasFilledChunk};
}

ChunkRing::Added ChunkRing::dropped(std::uint32_t samples, bool hasFilledChunk) {
    _droppedSamples.fetch_add(samples, std::memory_order_relaxed);
    return {false, false, hasFilledChunk};
}

ChunkToWrite* ChunkRing::nextFullChunk() {
    ChunkToWrite* const chunk = chunkWithSequenceNumber(_chunkBeingWrittenSequenceNumber);
    return chunk != nullptr && chunk->isFull() ? chunk : nullptr;
}

ChunkToWrite* ChunkRing::nextChunkOfDrain() {
    // After an underrun the filling number is one of the new sequence; the chunks of the old one
    // that were full then still belong to the movie.
    const std::uint32_t last = std::max(_chunkBeingFilledSequenceNumber, _lastSequenceNumber);
    for (; _chunkBeingWrittenSequenceNumber <= last; ++_chunkBeingWrittenSequenceNumber) {
        ChunkToWrite* const chunk = chunkWithSequenceNumber(_chunkBeingWrittenSequenceNumber);
        if (chunk != nullptr && chunk->offset() != 0) {
            return chunk;
        }
    }
    return nullptr;
}

void ChunkRing::chunkWasWritten(ChunkToWrite& chunk) {
    chunk.setOffset(0);
    chunk.setSampleCount(0);
    chunk.setFull(false);
    ++_chunkBeingWrittenSequenceNumber;
}

ChunkToWrite* ChunkRing::chunkWithSequenceNumber(std::uint32_t number) {
    auto* const found = std::find_if(
        _chunks.begin(), _chunks.end(),
        [number](const ChunkToWrite& chunk) { return chunk.sequenceNumber() == number; });
    return found == _chunks.end() ? nullptr : found;
}

ChunkToWrite* ChunkRing::firstAvailableChunk() {
    // isFull() first: it acquires what the writer thread did before it let go of the chunk.
    auto* const found = std::find_if(_chunks.begin(), _chunks.end(), [](const ChunkToWrite& chunk) {
        return !chunk.isFull() && chunk.offset() == 0;
    });
    return found == _chunks.end() ? nullptr : found;
}

void ChunkRing::reset() {
    _chunkBeingFilledSequenceNumber = 0;
    _chunkBeingWrittenSequenceNumber = 1;
}

}  // namespace takebox
