#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace takebox {

/// One large piece of a file on its way to the disk, filled block by block.
///
/// Two threads take turns with a chunk. The appending thread owns it from the moment it finds the
/// chunk free (offset 0) until it marks it full; the writer thread owns it from then until reset().
/// - full: release when set, so that the writer, which acquires it, sees the bytes, the size and
///   the rewind mark. The writer touches nothing of a chunk that is not full while the file is
///   being appended to.
/// - offset: release when reset() clears it, as its last act; the appender acquires it and so finds
///   every other field cleared.
/// - sequenceNumber: looked at by both sides in chunks that they do not own, to tell them apart;
///   any value seen there is followed by the acquire of full or offset.
class WriteBufferChunk {
public:
    /// Keeps the offset and size of up to `blockLimit` blocks; without them for 0 (audio).
    WriteBufferChunk(std::uint32_t size, std::uint32_t blockLimit);

    static std::unique_ptr<WriteBufferChunk> initVideoChunkWithSize(std::uint32_t size,
                                                                    std::uint32_t blockLimit);
    static std::unique_ptr<WriteBufferChunk> initAudioChunkWithSize(std::uint32_t size);

    /// Whether a block of this size can be copied.
    [[nodiscard]] bool hasRoomFor(std::uint32_t size) const;

    /// Appends a block; the caller has made sure that it fits. @return the size.
    std::uint32_t copyBuffer(const std::uint8_t* bytes, std::uint32_t size,
                             std::uint32_t sampleCount);

    /// Frees the chunk for the appender.
    void reset();

    [[nodiscard]] std::uint32_t sampleCount() const;
    /// Start and size of a copied block; 0 for audio chunks.
    [[nodiscard]] std::uint32_t sampleOffsetAtIndex(std::size_t index) const;
    [[nodiscard]] std::uint32_t sampleSizeAtIndex(std::size_t index) const;

    /// Each resets the chunk when the other has been set already.
    void setDoneWriting(bool done);
    void setDoneSavedToMovie(bool done);
    [[nodiscard]] bool doneWriting() const { return _doneWriting; }
    [[nodiscard]] bool doneSavedToMovie() const { return _doneSavedToMovie; }

    [[nodiscard]] const std::uint8_t* buffer() const { return _buffer.get(); }
    [[nodiscard]] std::uint32_t size() const { return _sizeInBytes; }
    [[nodiscard]] std::uint32_t offset() const { return _offset.load(std::memory_order_acquire); }
    [[nodiscard]] std::uint32_t sequenceNumber() const {
        return _sequenceNumber.load(std::memory_order_relaxed);
    }
    void setSequenceNumber(std::uint32_t number) {
        _sequenceNumber.store(number, std::memory_order_relaxed);
    }
    [[nodiscard]] bool full() const { return _full.load(std::memory_order_acquire); }
    void setFull(bool full) { _full.store(full, std::memory_order_release); }
    /// Place of its first block among all that were offered to the file.
    [[nodiscard]] std::uint64_t firstBlock() const { return _firstBlock; }
    void setFirstBlock(std::uint64_t block) { _firstBlock = block; }
    [[nodiscard]] bool resetFile() const { return _resetFile; }
    void setResetFile(bool reset) { _resetFile = reset; }

private:
    std::unique_ptr<std::uint8_t[]> _buffer;
    std::uint32_t _sizeInBytes;
    std::uint32_t _blockLimit;
    std::atomic<std::uint32_t> _sequenceNumber{0};  // 0 = free
    std::atomic<std::uint32_t> _offset{0};          // bytes filled; 0 = free
    std::atomic<bool> _full{false};

    // The owner of the moment.
    std::uint32_t _sampleCount = 0;
    std::uint64_t _firstBlock = 0;
    bool _doneWriting = false;
    bool _doneSavedToMovie = false;
    bool _resetFile = false;
    std::vector<std::uint32_t> _sampleOffsets;
    std::vector<std::uint32_t> _sampleSizes;
};

}  // namespace takebox
