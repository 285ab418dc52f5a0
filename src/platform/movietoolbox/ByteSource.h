#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace takebox::movietoolbox {

/// Bytes of a file that are read at any position. One thread at a time.
class ByteSource {
public:
    virtual ~ByteSource() = default;

    [[nodiscard]] virtual std::uint64_t size() const = 0;
    /// Reads all of the bytes. @return 0, or an errno value; ENODATA beyond the end.
    [[nodiscard]] virtual int readAt(std::uint64_t offset, std::span<std::byte> bytes) const = 0;

protected:
    ByteSource() = default;
    ByteSource(const ByteSource&) = default;
    ByteSource& operator=(const ByteSource&) = default;
};

/// A regular file on the disk, open for reading as long as the object lives.
class FileBytes final : public ByteSource {
public:
    /// @return null and `error` (errno) when the path cannot be opened or is no regular file.
    [[nodiscard]] static std::unique_ptr<FileBytes> open(const std::string& path, int& error);
    FileBytes(int descriptor, std::uint64_t size) : mDescriptor(descriptor), mSize(size) {}
    ~FileBytes() override;
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;

    [[nodiscard]] std::uint64_t size() const override { return mSize; }
    [[nodiscard]] int readAt(std::uint64_t offset, std::span<std::byte> bytes) const override;
    /// Whether a program has the file open for recording.
    [[nodiscard]] bool isBeingRecorded() const;

private:
    int mDescriptor;
    std::uint64_t mSize;  ///< when it was opened
};

/// Marks a file that has been opened for recording, until its descriptor is closed or the process
/// ends, however it ends. A file system that knows no locks leaves it unmarked.
void markAsBeingRecorded(int descriptor);

/// Bytes in memory; refers to them.
class MemoryBytes final : public ByteSource {
public:
    explicit MemoryBytes(std::span<const std::byte> bytes) : mBytes(bytes) {}

    [[nodiscard]] std::uint64_t size() const override { return mBytes.size(); }
    [[nodiscard]] int readAt(std::uint64_t offset, std::span<std::byte> bytes) const override;

private:
    std::span<const std::byte> mBytes;
};

}  // namespace takebox::movietoolbox
