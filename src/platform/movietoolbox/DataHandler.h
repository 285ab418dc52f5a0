#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/movietoolbox/MovieFile.h"
#include "platform/movietoolbox/Status.h"

namespace takebox::movietoolbox {

/// The storage of one movie: lays media data and movie atoms one behind the other in its file.
///
/// The file is, in this order and at every moment: a file type atom; a media data atom whose size
/// says "up to the end of the file" while it is being appended to; a movie atom. Media data is
/// never moved or rewritten. A later movie atom is appended whole before the earlier one becomes
/// free space, so that a file that had a movie always has one. docs/files.md has the layout.
///
/// A write that fails leaves the file as long as it was before, and is logged with its reason once.
/// Used by one thread at a time, except errorNumber().
class DataHandler {
public:
    /// @return kNoError and the handler, or the reason and none.
    [[nodiscard]] static Status create(const std::string& path, StorageMode mode,
                                       std::shared_ptr<DataHandler>& handler);
    DataHandler(std::string path, StorageMode mode, std::unique_ptr<MovieFile> file);

    /// Appends to the media data.
    /// @param record  what describes the data to one who finds the file without a movie atom.
    /// @param room    bytes that must still find room behind the data: the movie's, at the end.
    ///                Data that would take that room is refused with kDiskFull.
    /// @param offset  receives where the data begins, from the start of the file.
    [[nodiscard]] Status appendMediaData(std::span<const std::byte> record,
                                         std::span<const std::byte> data, std::uint64_t room,
                                         std::uint64_t& offset);

    /// Ends the media data and appends the movie atom; it takes the place of an earlier one.
    [[nodiscard]] Status writeMovie(std::span<const std::byte> movieAtom);

    /// Whether a movie atom has been written.
    [[nodiscard]] bool hasMovie() const { return mMovieAt != 0; }

    /// Closes the file; every later operation returns kInvalidDataReference.
    [[nodiscard]] Status close();

    [[nodiscard]] const std::string& path() const { return mPath; }
    /// errno of the first write that failed; 0 for none. Any thread.
    [[nodiscard]] int errorNumber() const { return mErrorNumber.load(std::memory_order_relaxed); }

private:
    [[nodiscard]] Status append(std::span<const std::byte> first,
                                std::span<const std::byte> second);
    [[nodiscard]] Status writeFileType();
    [[nodiscard]] Status failed(int error);

    const std::string mPath;
    const StorageMode mMode;
    std::unique_ptr<MovieFile> mFile;  // none once closed
    std::uint64_t mEnd = 0;            // where the next bytes go
    std::uint64_t mMediaDataAt = 0;    // of the open media data atom; 0: none is open
    std::uint64_t mMovieAt = 0;        // of the movie atom in force; 0: none yet
    std::atomic<int> mErrorNumber{0};
};

}  // namespace takebox::movietoolbox
