#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace takebox::movietoolbox {

/// When a movie file appears under its name.
enum class StorageMode {
    kGrowing,     ///< at once; an existing file is removed first
    kWhenClosed,  ///< complete, when it is closed; an existing file is replaced in that moment
};

/// The bytes of one movie file. Used by one thread at a time. Operations return 0 or an errno
/// value. An interface so that a test can make a disk that is full, slow or huge.
class MovieFile {
public:
    virtual ~MovieFile() = default;

    /// Writes all of the bytes, or an unknown part of them and returns the error.
    [[nodiscard]] virtual int writeAt(std::uint64_t offset, std::span<const std::byte> bytes) = 0;
    /// Makes sure that a later write to this range finds room on the disk, without changing the
    /// file's length. 0 also where the file system cannot do so.
    [[nodiscard]] virtual int reserve(std::uint64_t offset, std::uint64_t size) = 0;
    /// Cuts the file to this length and gives back what reserve() took behind it.
    [[nodiscard]] virtual int truncate(std::uint64_t size) = 0;
    /// Waits until what was written is on the disk.
    [[nodiscard]] virtual int synchronize() = 0;
    /// Closes the file, under its own name at the latest now. Call once.
    [[nodiscard]] virtual int close() = 0;

protected:
    MovieFile() = default;
    MovieFile(const MovieFile&) = default;
    MovieFile& operator=(const MovieFile&) = default;
};

/// Creates the file; null and `error` (errno) when that fails.
[[nodiscard]] std::unique_ptr<MovieFile> createMovieFile(const std::string& path, StorageMode mode,
                                                         int& error);

/// Makes the files of createMovieFile() instead of the real disk; null puts the disk back. For
/// tests; call it while no movie is being created.
using MovieFileMaker = std::function<std::unique_ptr<MovieFile>(const std::string& path,
                                                                StorageMode mode, int& error)>;
void setMovieFileMaker(MovieFileMaker maker);

/// Waits until a closed file and its name are on the disk, which can take long.
/// @return 0 or an errno value.
[[nodiscard]] int synchronizeMovieFile(const std::string& path);

}  // namespace takebox::movietoolbox
