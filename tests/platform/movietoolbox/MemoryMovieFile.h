#pragma once

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/movietoolbox/MovieFile.h"

namespace takebox::test {

/// What the movie files of a test do; outlives them.
struct MemoryDisk {
    std::vector<std::byte> bytes;         ///< of the file
    std::uint64_t capacity = UINT64_MAX;  ///< of the disk: beyond it there is an error
    int error = ENOSPC;
    int createError = 0;     ///< not 0: no file can be made
    bool canReserve = true;  ///< false: as a file system that cannot
    std::string onRealDisk;  ///< what other programs find under the movie's name; empty: nothing
    std::vector<std::string> operations;
    std::atomic<std::uint64_t> written{0};  ///< bytes of all writes; any thread
    std::function<void()> beforeWrite;      ///< e.g. to make the disk slow
    std::function<void()> afterOperation;   ///< e.g. to look at the bytes
};

/// A movie file in memory, on a disk that can be full or slow.
class MemoryMovieFile final : public movietoolbox::MovieFile {
public:
    explicit MemoryMovieFile(MemoryDisk& disk) : mDisk(disk) {}

    int writeAt(std::uint64_t offset, std::span<const std::byte> data) override {
        if (mDisk.beforeWrite) {
            mDisk.beforeWrite();
        }
        int error = 0;
        if (offset + data.size() > mDisk.capacity) {
            data = data.first(mDisk.capacity > offset ? mDisk.capacity - offset : 0);
            error = mDisk.error;
        }
        if (!data.empty()) {
            if (mDisk.bytes.size() < offset + data.size()) {
                mDisk.bytes.resize(offset + data.size());
            }
            std::memcpy(mDisk.bytes.data() + offset, data.data(), data.size());
        }
        mDisk.written += data.size();
        done("write");
        return error;
    }
    int reserve(std::uint64_t offset, std::uint64_t size) override {
        done("reserve");
        return mDisk.canReserve && offset + size > mDisk.capacity ? mDisk.error : 0;
    }
    int truncate(std::uint64_t size) override {
        mDisk.bytes.resize(size);
        done("truncate");
        return 0;
    }
    int synchronize() override {
        done("synchronize");
        return 0;
    }
    int close() override {
        done("close");
        return 0;
    }

private:
    void done(const char* operation) {
        mDisk.operations.emplace_back(operation);
        if (mDisk.afterOperation) {
            mDisk.afterOperation();
        }
    }

    MemoryDisk& mDisk;
};

/// Makes all new movie files lie on this disk, as long as it exists.
class MemoryDiskForMovies {
public:
    explicit MemoryDiskForMovies(MemoryDisk& disk) {
        movietoolbox::setMovieFileMaker(
            [&disk](const std::string& path, movietoolbox::StorageMode, int& error) {
                if (!disk.onRealDisk.empty()) {
                    std::ofstream(path) << disk.onRealDisk;
                }
                error = disk.createError;
                return error != 0 ? nullptr : std::make_unique<MemoryMovieFile>(disk);
            });
    }
    ~MemoryDiskForMovies() { movietoolbox::setMovieFileMaker(nullptr); }
    MemoryDiskForMovies(const MemoryDiskForMovies&) = delete;
    MemoryDiskForMovies& operator=(const MemoryDiskForMovies&) = delete;
};

}  // namespace takebox::test
