#include "storage/WriteBufferChunk.h"

#include <cstring>

namespace takebox {

WriteBufferChunk::WriteBufferChunk(std::uint32_t size, std::uint32_t blockLimit)
    : _buffer(std::make_unique_for_overwrite<std::uint8_t[]>(size)),
      _sizeInBytes(size),
      _blockLimit(blockLimit) {
    _sampleOffsets.reserve(blockLimit);
    _sampleSizes.reserve(blockLimit);
}

std::unique_ptr<WriteBufferChunk> WriteBufferChunk::initVideoChunkWithSize(
    std::uint32_t size, std::uint32_t blockLimit) {
    return std::make_unique<WriteBufferChunk>(size, blockLimit);
}

std::unique_ptr<WriteBufferChunk> WriteBufferChunk::initAudioChunkWithSize(std::uint32_t size) {
    return std::make_unique<WriteBufferChunk>(size, 0);
}

bool WriteBufferChunk::hasRoomFor(std::uint32_t size) const {
    const std::uint32_t filled = _offset.load(std::memory_order_relaxed);
    return size <= _sizeInBytes - filled &&
           (_blockLimit == 0 || _sampleOffsets.size() < _blockLimit);
}

std::uint32_t WriteBufferChunk::copyBuffer(const std::uint8_t* bytes, std::uint32_t size,
                                           std::uint32_t sampleCount) {
    const std::uint32_t filled = _offset.load(std::memory_order_relaxed);
    if (_blockLimit != 0) {
        _sampleOffsets.push_back(filled);
        _sampleSizes.push_back(size);
    }
    _sampleCount += sampleCount;
    std::memcpy(_buffer.get() + filled, bytes, size);
    _offset.store(filled + size, std::memory_order_relaxed);
    return size;
}

void WriteBufferChunk::reset() {
    _sampleOffsets.clear();
    _sampleSizes.clear();
    _sampleCount = 0;
    _doneWriting = false;
    _doneSavedToMovie = false;
    _resetFile = false;
    _full.store(false, std::memory_order_relaxed);
    _sequenceNumber.store(0, std::memory_order_relaxed);
    _offset.store(0, std::memory_order_release);
}

std::uint32_t WriteBufferChunk::sampleCount() const {
    return _blockLimit != 0 ? static_cast<std::uint32_t>(_sampleOffsets.size()) : _sampleCount;
}

std::uint32_t WriteBufferChunk::sampleOffsetAtIndex(std::size_t index) const {
    return index < _sampleOffsets.size() ? _sampleOffsets[index] : 0;
}

std::uint32_t WriteBufferChunk::sampleSizeAtIndex(std::size_t index) const {
    return index < _sampleSizes.size() ? _sampleSizes[index] : 0;
}

void WriteBufferChunk::setDoneWriting(bool done) {
    _doneWriting = done;
    if (_doneWriting && _doneSavedToMovie) {
        reset();
    }
}

void WriteBufferChunk::setDoneSavedToMovie(bool done) {
    _doneSavedToMovie = done;
    if (_doneWriting && _doneSavedToMovie) {
        reset();
    }
}

}  // namespace takebox
