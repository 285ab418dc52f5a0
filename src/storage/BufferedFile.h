#pragma once

#include <sys/types.h>

#include <QString>
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/runloop/WakeUp.h"
#include "storage/FrameRanges.h"
#include "storage/PeriodicSync.h"
#include "storage/WriteBufferChunk.h"

namespace takebox {

/// A file that is appended to from a receive thread and written by a thread of its own.
///
/// Blocks are copied into a pool of six chunks; each full chunk goes to the disk with one write.
/// The appending thread never waits: when every chunk is waiting for the disk, the block is
/// dropped, counted and logged. A block can ask for the file to be rewound once its chunk has been
/// written, so that the file holds the latest stretch of an endless recording.
///
/// Threads. Made, opened and closed on the main thread; appendBlock() on one thread at a time (the
/// device's receive thread), and not during or after close(). The writer thread runs from
/// openForWriting() until everything is on the disk after close(), keeps the object alive for so
/// long, and closes the descriptor; WriterThreads waits for it.
///
/// A disk that refuses data is logged once per file. A full disk is treated as a slow one: the
/// writer tries again until there is room. After any other error it tries for a second, for the
/// other chunks can wait so long, and goes on with the next chunk. A block that was written in part
/// is taken back, so that the file holds whole blocks.
class BufferedFile : public std::enable_shared_from_this<BufferedFile> {
    struct Key {};
    friend class BufferedFilePeer;  // tests

public:
    static constexpr std::size_t kChunkCount = 6;

    /// Video files keep the position of every block in a chunk, audio files do not.
    /// @param blockSize bytes of one block; @param bufferBlocks blocks of one chunk.
    static std::shared_ptr<BufferedFile> initVideoBufferedFileWithPath(const QString& path,
                                                                       std::uint32_t blockSize,
                                                                       std::uint32_t bufferBlocks);
    static std::shared_ptr<BufferedFile> initAudioBufferedFileWithPath(const QString& path,
                                                                       std::uint32_t blockSize,
                                                                       std::uint32_t bufferBlocks);

    BufferedFile(Key key, const QString& path, std::uint32_t blockSize, std::uint32_t bufferBlocks,
                 bool isVideo);
    ~BufferedFile();
    BufferedFile(const BufferedFile&) = delete;
    BufferedFile& operator=(const BufferedFile&) = delete;

    /// Opens the file at its start, emptied first when `erase` is set, and starts the writer
    /// thread.
    /// @return 0, or -1 when the file is open already or cannot be opened (openError() tells why).
    [[nodiscard]] std::int32_t openForWriting(bool erase);

    /// Copies a block for the writer. A block larger than a chunk is refused.
    /// @param resetFile rewind the file once the chunk with this block has been written.
    /// @return whether the block was taken.
    bool appendBlock(const std::uint8_t* bytes, std::uint32_t size, bool resetFile);

    /// Lets the writer thread write what is left and close the file; returns at once.
    void close();

    /// Moves the descriptor to the start of the file. Writer thread.
    void rewind();
    /// Sets the length of the file; it must be open.
    void setFileSize(std::int64_t size);

    [[nodiscard]] std::uint32_t blockSize() const { return _blockSize; }
    void setBlockSize(std::uint32_t size) { _blockSize = size; }
    [[nodiscard]] std::uint64_t bufferSize() const { return _bufferSize; }
    [[nodiscard]] int fileRef() const { return _fileRef; }
    [[nodiscard]] const QString& path() const { return _filePath; }
    /// From openForWriting() until the writer thread has closed the descriptor. Any thread.
    [[nodiscard]] bool isOpen() const { return _isOpen.load(std::memory_order_acquire); }

    // What became of the data since the file was opened. Any thread.
    [[nodiscard]] std::uint64_t appendedBlocks() const { return mAppendedBlocks; }
    [[nodiscard]] std::uint64_t droppedBlocks() const { return mDroppedBlocks; }
    [[nodiscard]] std::uint64_t writtenBytes() const { return mWrittenBytes; }
    /// Blocks that the disk refused for good, in whole or in part. Any thread.
    [[nodiscard]] FrameRanges refusedFrames() const { return mRefusedFrames.ranges(); }
    /// errno of the first failed write or flush, 0 for none.
    [[nodiscard]] int writeError() const { return mWriteError; }
    /// The disk does not take the data at present; once the file is closed, not even at its end.
    [[nodiscard]] bool isRefused() const { return mIsRefused; }
    /// Somebody removed the file before it was closed.
    [[nodiscard]] bool wasRemoved() const { return mWasRemoved; }
    /// errno of the last failed openForWriting(). Main thread.
    [[nodiscard]] int openError() const { return mOpenError; }

private:
    [[nodiscard]] WriteBufferChunk* firstAvailableChunk() const;
    [[nodiscard]] WriteBufferChunk* chunkWithSequenceNumber(std::int32_t number) const;
    void addChunkToFile(WriteBufferChunk& chunk);
    void writeChunksThread();
    void writeFullChunks();
    void drain();
    void closeDescriptor();
    bool dropBlock(const char* message);
    std::uint32_t writeBytes(const std::uint8_t* bytes, std::uint32_t size);
    void takeBackPartOfBlock(const WriteBufferChunk& chunk, std::uint32_t written);
    void reportWriteError(const char* operation, int error);

    const QString _filePath;
    std::uint32_t _blockSize;
    const std::uint64_t _bufferSize;
    std::array<std::unique_ptr<WriteBufferChunk>, kChunkCount> _chunks;

    // Main thread before the writer starts, then the writer's.
    int _fileRef = -1;
    std::shared_ptr<PeriodicSync> mSync;  // null for what is no regular file
    int mOpenError = 0;
    off_t mSizeAtOpen = 0;  // bytes of an earlier take that this one may leave standing
    bool mIsRewound = false;
    bool mIsPatient = true;  // the disk has not refused to the last

    // Appending thread. Null before the first block and once the chunk is full: it is the writer's
    // then, who may free it at any moment.
    WriteBufferChunk* mChunkBeingFilled = nullptr;
    // Appending thread; the writer reads it after close(), which orders it.
    std::atomic<std::int32_t> _chunkBeingFilledSequenceNumber{0};  // 0 = none yet
    // Writer thread.
    std::int32_t _chunkBeingWrittenSequenceNumber = 1;

    // Release in close(), acquire in the writer: the writer sees every block appended before.
    std::atomic<bool> _mustGoOn{false};
    std::atomic<bool> _isOpen{false};
    // Raised for each full chunk and by close(): the writer sleeps until there is something to do.
    WakeUp mWork;

    // Counters that stand for themselves.
    std::atomic<std::uint64_t> mAppendedBlocks{0};
    std::atomic<std::uint64_t> mDroppedBlocks{0};
    std::atomic<std::uint64_t> mWrittenBytes{0};
    RefusedFrames mRefusedFrames;
    std::atomic<int> mWriteError{0};
    std::atomic<bool> mIsRefused{false};
    std::atomic<bool> mWasRemoved{false};
};

}  // namespace takebox
