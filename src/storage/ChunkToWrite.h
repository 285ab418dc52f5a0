#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>

#include "platform/movietoolbox/SampleTable.h"

namespace takebox {

/// A buffer of fixed size in which samples of a self-contained movie wait for the disk.
///
/// Two threads hand it to and fro: the receive thread fills it while it is free or not yet full,
/// the writer thread owns it while it is full. It goes over with setFull(): its store releases the
/// bytes, counts and sizes (true) or the right to fill the buffer again (false), and the other
/// side's isFull() acquires them. The sequence number is looked at by both at any time; what it
/// says counts only together with isFull(), so it needs no order of its own.
class ChunkToWrite {
public:
    /// Takes address space only: pages are committed when they are first filled.
    explicit ChunkToWrite(std::uint32_t size)
        : _handle(std::make_unique_for_overwrite<std::byte[]>(size)), _sizeInBytes(size) {}

    [[nodiscard]] std::uint32_t size() const { return _sizeInBytes; }
    /// Bytes filled so far; 0: the chunk is free.
    [[nodiscard]] std::uint32_t offset() const { return _offset.load(std::memory_order_relaxed); }
    void setOffset(std::uint32_t offset) { _offset.store(offset, std::memory_order_relaxed); }
    /// Picture: frames; sound: sample frames.
    [[nodiscard]] std::uint32_t sampleCount() const { return _sampleCount; }
    void setSampleCount(std::uint32_t count) {
        _sampleCount = count;
        _sizeRuns = count == 0 ? 0 : _sizeRuns;
    }
    /// The receive thread has moved on; the chunk may be written.
    [[nodiscard]] bool isFull() const { return _full.load(std::memory_order_acquire); }
    void setFull(bool full) { _full.store(full, std::memory_order_release); }
    /// Position in the order of filling; 0 when new.
    [[nodiscard]] std::uint32_t sequenceNumber() const {
        return _sequenceNumber.load(std::memory_order_relaxed);
    }
    void setSequenceNumber(std::uint32_t number) {
        _sequenceNumber.store(number, std::memory_order_relaxed);
    }

    /// Whether so many more bytes fit, as samples of this size.
    [[nodiscard]] bool hasRoomFor(std::uint32_t bytes, std::uint32_t sampleSize) const {
        return bytes <= _sizeInBytes - offset() &&
               (_sizeRuns < _sizes.size() || _sizes.back().size == sampleSize);
    }
    /// Appends bytes. The caller has made sure of room.
    void copyBuffer(const void* bytes, std::uint32_t size) {
        std::memcpy(_handle.get() + offset(), bytes, size);
        setOffset(offset() + size);
    }
    /// Counts the samples that were copied.
    void addSamples(std::uint32_t count, std::uint32_t sampleSize) {
        if (_sizeRuns == 0 || _sizes[_sizeRuns - 1].size != sampleSize) {
            _sizes[_sizeRuns++] = {0, sampleSize};
        }
        _sizes[_sizeRuns - 1].count += count;
        _sampleCount += count;
    }

    [[nodiscard]] std::span<const std::byte> bytes() const { return {_handle.get(), offset()}; }
    /// The size of each sample, in order.
    [[nodiscard]] std::span<const movietoolbox::SampleSizeRun> sampleSizes() const {
        return {_sizes.data(), _sizeRuns};
    }

private:
    // Frames of a stream have one size, but for a short one after a disturbance.
    static constexpr std::size_t kMaximumSizeRuns = 64;

    std::unique_ptr<std::byte[]> _handle;
    const std::uint32_t _sizeInBytes;
    std::atomic<std::uint32_t> _offset{0};
    std::atomic<std::uint32_t> _sequenceNumber{0};
    std::atomic<bool> _full{false};
    std::uint32_t _sampleCount = 0;
    std::size_t _sizeRuns = 0;
    std::array<movietoolbox::SampleSizeRun, kMaximumSizeRuns> _sizes;
};

}  // namespace takebox
