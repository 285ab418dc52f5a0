#include "storage/BufferedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <limits>

#include "platform/log/Log.h"
#include "platform/movietoolbox/ByteSource.h"
#include "storage/WriterThreads.h"

namespace takebox {
namespace {

// While the disk is full or refuses data the writer tries again so often, and in the second case
// for so long: half of what can wait.
constexpr std::chrono::milliseconds kPause{50};
constexpr std::chrono::milliseconds kPatience{1000};
// Blocks whose positions a video chunk can keep, in multiples of its nominal blocks: short frames.
constexpr std::uint32_t kBlockLimitFactor = 4;

/// A device or pipe that stands in for a file keeps its permissions.
bool isRegularFile(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

off_t sizeOf(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 ? status.st_size : 0;
}

bool isFullDisk(int error) {
    return error == ENOSPC || error == EDQUOT;
}

}  // namespace

std::shared_ptr<BufferedFile> BufferedFile::initVideoBufferedFileWithPath(
    const QString& path, std::uint32_t blockSize, std::uint32_t bufferBlocks) {
    return std::make_shared<BufferedFile>(Key{}, path, blockSize, bufferBlocks, true);
}

std::shared_ptr<BufferedFile> BufferedFile::initAudioBufferedFileWithPath(
    const QString& path, std::uint32_t blockSize, std::uint32_t bufferBlocks) {
    return std::make_shared<BufferedFile>(Key{}, path, blockSize, bufferBlocks, false);
}

BufferedFile::BufferedFile(Key /*key*/, const QString& path, std::uint32_t blockSize,
                           std::uint32_t bufferBlocks, bool isVideo)
    : _filePath(path), _blockSize(blockSize), _bufferSize(std::uint64_t{blockSize} * bufferBlocks) {
    const auto size = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(_bufferSize, std::numeric_limits<std::uint32_t>::max()));
    for (auto& chunk : _chunks) {
        chunk = isVideo ? WriteBufferChunk::initVideoChunkWithSize(size,
                                                                   bufferBlocks * kBlockLimitFactor)
                        : WriteBufferChunk::initAudioChunkWithSize(size);
    }
}

BufferedFile::~BufferedFile() = default;

std::int32_t BufferedFile::openForWriting(bool erase) {
    if (isOpen()) {
        printMessage("Takebox: File already open\n");
        mOpenError = EBUSY;
        return -1;
    }
    const QByteArray path = QFile::encodeName(_filePath);
    int descriptor =
        ::open(path.constData(), O_WRONLY | O_CREAT | O_CLOEXEC | (erase ? O_TRUNC : 0), 0244);
    if (descriptor > 0) {
        // The new file's own mode need not allow its owner to open it again.
        if (isRegularFile(descriptor) && ::fchmod(descriptor, 0664) != 0) {
            logMessage("Cannot set the permissions of %s: %s", path.constData(), strerror(errno));
        }
        ::close(descriptor);
        descriptor = ::open(path.constData(), O_WRONLY | O_CLOEXEC);
    }
    if (descriptor <= 0) {
        mOpenError = errno;
        return -1;
    }
    movietoolbox::markAsBeingRecorded(descriptor);
    mSync = isRegularFile(descriptor) ? PeriodicSync::start(path.toStdString()) : nullptr;
    mOpenError = 0;
    _fileRef = descriptor;
    mSizeAtOpen = sizeOf(descriptor);
    mIsRewound = false;
    mIsPatient = true;
    for (const auto& chunk : _chunks) {
        chunk->reset();
    }
    mChunkBeingFilled = nullptr;
    _chunkBeingFilledSequenceNumber.store(0, std::memory_order_relaxed);
    _chunkBeingWrittenSequenceNumber = 1;
    mAppendedBlocks = mDroppedBlocks = mWrittenBytes = 0;
    mRefusedFrames.clear();
    mWriteError = 0;
    mIsRefused = false;
    mWasRemoved = false;
    _mustGoOn.store(true, std::memory_order_relaxed);
    _isOpen.store(true, std::memory_order_release);
    WriterThreads::start("file writer", [self = shared_from_this()] { self->writeChunksThread(); });
    return 0;
}

WriteBufferChunk* BufferedFile::firstAvailableChunk() const {
    const auto* const found = std::find_if(_chunks.begin(), _chunks.end(),
                                           [](const auto& chunk) { return chunk->offset() == 0; });
    return found != _chunks.end() ? found->get() : nullptr;
}

WriteBufferChunk* BufferedFile::chunkWithSequenceNumber(std::int32_t number) const {
    const auto wanted = static_cast<std::uint32_t>(number);
    const auto* const found =
        std::find_if(_chunks.begin(), _chunks.end(),
                     [wanted](const auto& chunk) { return chunk->sequenceNumber() == wanted; });
    return found != _chunks.end() ? found->get() : nullptr;
}

bool BufferedFile::dropBlock(const char* message) {
    mDroppedBlocks.fetch_add(1, std::memory_order_relaxed);
    logFromReceiveThread("%s", message);
    return false;
}

bool BufferedFile::appendBlock(const std::uint8_t* bytes, std::uint32_t size, bool resetFile) {
    if (size > _bufferSize) {
        return dropBlock("Refused a block larger than a whole buffer.");
    }
    std::int32_t number = _chunkBeingFilledSequenceNumber.load(std::memory_order_relaxed);
    if (mChunkBeingFilled != nullptr && !mChunkBeingFilled->hasRoomFor(size)) {
        mChunkBeingFilled->setFull(true);
        mChunkBeingFilled = nullptr;
        mWork.signal();
    }
    if (mChunkBeingFilled == nullptr) {
        mChunkBeingFilled = firstAvailableChunk();
        if (mChunkBeingFilled == nullptr) {
            return dropBlock(number == 0 ? "Dropped frame (buffer underrun 1)."
                                         : "Dropped video frame (buffer underrun 2).");
        }
        ++number;
        mChunkBeingFilled->setFirstBlock(mAppendedBlocks + mDroppedBlocks);
    }
    WriteBufferChunk* const chunk = mChunkBeingFilled;
    chunk->setSequenceNumber(static_cast<std::uint32_t>(number));
    _chunkBeingFilledSequenceNumber.store(number, std::memory_order_relaxed);
    chunk->copyBuffer(bytes, size, 1);
    if (resetFile) {
        chunk->setResetFile(true);
    }
    mAppendedBlocks.fetch_add(1, std::memory_order_relaxed);
    return true;
}

void BufferedFile::close() {
    _mustGoOn.store(false, std::memory_order_release);
    mWork.signal();
}

void BufferedFile::writeChunksThread() {
    writeFullChunks();
    // Asked before each sleep: the wait for a full disk may have taken the signal of close().
    while (_mustGoOn.load(std::memory_order_acquire)) {
        mWork.wait();
        writeFullChunks();
    }
    drain();
    closeDescriptor();
}

void BufferedFile::writeFullChunks() {
    for (;;) {
        WriteBufferChunk* chunk = chunkWithSequenceNumber(_chunkBeingWrittenSequenceNumber);
        if (chunk == nullptr || !chunk->full()) {
            return;
        }
        addChunkToFile(*chunk);
        ++_chunkBeingWrittenSequenceNumber;
    }
}

void BufferedFile::drain() {
    const std::int32_t last = _chunkBeingFilledSequenceNumber.load(std::memory_order_relaxed);
    for (; _chunkBeingWrittenSequenceNumber <= last; ++_chunkBeingWrittenSequenceNumber) {
        WriteBufferChunk* chunk = chunkWithSequenceNumber(_chunkBeingWrittenSequenceNumber);
        if (chunk != nullptr && chunk->offset() != 0) {
            addChunkToFile(*chunk);
        }
    }
}

void BufferedFile::closeDescriptor() {
    mWasRemoved = hasBeenRemoved(_fileRef);
    if (mSync) {
        mSync->stop();
        mSync = nullptr;
    }
    if (::fsync(_fileRef) != 0 && errno != EINVAL && errno != EROFS) {
        reportWriteError("flush", errno);
    }
    if (::close(_fileRef) != 0) {
        reportWriteError("close", errno);
    }
    _isOpen.store(false, std::memory_order_release);
}

void BufferedFile::addChunkToFile(WriteBufferChunk& chunk) {
    const std::uint32_t size = chunk.offset();
    const std::uint32_t written = writeBytes(chunk.buffer(), size);
    if (written < size) {
        takeBackPartOfBlock(chunk, written);
    }
    if (chunk.resetFile()) {
        rewind();
    }
    chunk.setDoneWriting(true);
    chunk.setDoneSavedToMovie(true);
}

std::uint32_t BufferedFile::writeBytes(const std::uint8_t* bytes, std::uint32_t size) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    std::uint32_t written = 0;
    bool isWaiting = false;
    while (written < size) {
        const ssize_t result = ::write(_fileRef, bytes + written, size - written);
        if (result > 0) {
            written += static_cast<std::uint32_t>(result);
            mWrittenBytes.fetch_add(static_cast<std::uint64_t>(result), std::memory_order_relaxed);
            continue;
        }
        const int error = result < 0 ? errno : ENOSPC;
        if (error == EINTR) {
            continue;
        }
        reportWriteError("write", error);
        const bool mayPass =
            isFullDisk(error) || (mIsPatient && std::chrono::steady_clock::now() < end);
        if (!mayPass || !_mustGoOn.load(std::memory_order_acquire)) {
            break;
        }
        isWaiting = true;
        // Wakes at once when the file is closed; full chunks that are announced meanwhile are found
        // by writeFullChunks() without their announcement.
        mWork.waitFor(kPause);
    }
    mIsPatient = written == size;
    mIsRefused = written != size;
    if (isWaiting && written == size) {
        logMessage("%s is being written again", QFile::encodeName(_filePath).constData());
    }
    return written;
}

void BufferedFile::takeBackPartOfBlock(const WriteBufferChunk& chunk, std::uint32_t written) {
    std::uint32_t whole = 0;
    std::uint64_t blocks = 0;
    if (chunk.sampleSizeAtIndex(0) != 0) {
        for (std::size_t i = 0; i < chunk.sampleCount(); ++i) {
            const std::uint32_t end = chunk.sampleOffsetAtIndex(i) + chunk.sampleSizeAtIndex(i);
            whole = end <= written ? end : whole;
            blocks += end <= written ? 1 : 0;
        }
    } else {
        whole = written - written % 4;  // audio: whole sample frames
        blocks = std::uint64_t{whole} * chunk.sampleCount() / chunk.offset();
    }
    mRefusedFrames.add({chunk.firstBlock() + blocks, chunk.sampleCount() - blocks});
    const off_t position = ::lseek(_fileRef, 0, SEEK_CUR);
    if (position >= 0) {
        const off_t end = position - static_cast<off_t>(written - whole);
        static_cast<void>(::lseek(_fileRef, end, SEEK_SET));
        // What stands beyond belongs to an earlier take or round and is not ours to cut.
        if (!mIsRewound && ::ftruncate(_fileRef, std::max(end, mSizeAtOpen)) != 0) {
            reportWriteError("shorten", errno);
        }
    }
    mWrittenBytes.fetch_sub(written - whole, std::memory_order_relaxed);
}

void BufferedFile::reportWriteError(const char* operation, int error) {
    mIsRefused = true;
    int none = 0;
    if (mWriteError.compare_exchange_strong(none, error)) {
        logMessage("Cannot %s %s: %s", operation, QFile::encodeName(_filePath).constData(),
                   strerror(error));
    }
}

void BufferedFile::rewind() {
    if (const off_t result = ::lseek(_fileRef, 0, SEEK_SET); result != 0) {
        printMessage("lseek failed: %i\n", static_cast<int>(result));
    }
    mIsRewound = true;
}

void BufferedFile::setFileSize(std::int64_t size) {
    if (const int result = ::ftruncate(_fileRef, size); result != 0) {
        printMessage("FSSetForkSize failed: %i\n", result);
    }
}

}  // namespace takebox
