#include "platform/movietoolbox/DataHandler.h"

#include <cstring>
#include <utility>

#include "platform/log/Log.h"
#include "platform/movietoolbox/ByteBuffer.h"

namespace takebox::movietoolbox {
namespace {

/// Room for a 64-bit size, then an atom that reaches to the end of the file.
ByteBuffer openMediaDataHeader() {
    ByteBuffer header;
    header.u32(8);
    header.text("wide");
    header.u32(0);
    header.text("mdat");
    return header;
}

/// The same sixteen bytes once the size is known.
ByteBuffer closedMediaDataHeader(std::uint64_t size) {
    ByteBuffer header;
    header.u32(1);
    header.text("mdat");
    header.u64(size);
    return header;
}

}  // namespace

Status DataHandler::create(const std::string& path, StorageMode mode,
                           std::shared_ptr<DataHandler>& handler) {
    handler = nullptr;
    int error = 0;
    auto file = createMovieFile(path, mode, error);
    if (!file) {
        logMessage("Cannot create the movie %s: %s", path.c_str(), strerror(error));
        return statusOfErrno(error);
    }
    auto created = std::make_shared<DataHandler>(path, mode, std::move(file));
    if (const Status status = created->writeFileType(); status != kNoError) {
        // The empty file stays: it shows that a movie was meant to be here.
        [[maybe_unused]] const Status closed = created->close();
        return status;
    }
    handler = std::move(created);
    return kNoError;
}

DataHandler::DataHandler(std::string path, StorageMode mode, std::unique_ptr<MovieFile> file)
    : mPath(std::move(path)), mMode(mode), mFile(std::move(file)) {}

Status DataHandler::writeFileType() {
    ByteBuffer atom;
    atom.u32(20);
    atom.text("ftypqt  ");
    atom.u32(0);
    atom.text("qt  ");
    return append(atom.bytes(), {});
}

Status DataHandler::appendMediaData(std::span<const std::byte> record,
                                    std::span<const std::byte> data, std::uint64_t room,
                                    std::uint64_t& offset) {
    if (!mFile) {
        return kInvalidDataReference;
    }
    const bool opens = mMediaDataAt == 0;
    const std::uint64_t start = mEnd;
    ByteBuffer prefix = opens ? openMediaDataHeader() : ByteBuffer();
    prefix.append(record);
    if (const int error = mFile->reserve(mEnd, prefix.bytes().size() + data.size() + room);
        error != 0) {
        return failed(error);
    }
    if (const Status status = append(prefix.bytes(), data); status != kNoError) {
        return status;
    }
    if (opens) {
        mMediaDataAt = start;
    }
    offset = mEnd - data.size();
    return kNoError;
}

Status DataHandler::writeMovie(std::span<const std::byte> movieAtom) {
    if (!mFile) {
        return kInvalidDataReference;
    }
    const std::uint64_t start = mEnd;
    if (const Status status = append(movieAtom, {}); status != kNoError) {
        return status;
    }
    // Nothing may point to the movie before it is on the disk: the power can fail in between. A
    // file that appears only when it is complete has no such moment.
    Status result = kNoError;
    if (mMode == StorageMode::kGrowing) {
        result = failed(mFile->synchronize());
    }
    if (mMediaDataAt != 0) {
        ByteBuffer header = closedMediaDataHeader(start - mMediaDataAt);
        if (const int error = mFile->writeAt(mMediaDataAt, header.bytes()); error != 0) {
            return failed(error);
        }
        mMediaDataAt = 0;
    }
    if (mMovieAt != 0) {
        ByteBuffer type;
        type.text("free");
        if (const int error = mFile->writeAt(mMovieAt + 4, type.bytes()); error != 0) {
            return failed(error);
        }
    }
    mMovieAt = start;
    return result;
}

Status DataHandler::close() {
    if (!mFile) {
        return kInvalidDataReference;
    }
    const Status cut = failed(mFile->truncate(mEnd));
    const Status closed = failed(mFile->close());
    mFile = nullptr;
    return cut != kNoError ? cut : closed;
}

Status DataHandler::append(std::span<const std::byte> first, std::span<const std::byte> second) {
    int error = mFile->writeAt(mEnd, first);
    if (error == 0 && !second.empty()) {
        error = mFile->writeAt(mEnd + first.size(), second);
    }
    if (error != 0) {
        // What was written of it must not stand between the last whole chunk and the movie atom.
        [[maybe_unused]] const int ignored = mFile->truncate(mEnd);
        return failed(error);
    }
    mEnd += first.size() + second.size();
    return kNoError;
}

Status DataHandler::failed(int error) {
    int none = 0;
    if (error != 0 &&
        mErrorNumber.compare_exchange_strong(none, error, std::memory_order_relaxed)) {
        logMessage("Cannot write the movie %s: %s", mPath.c_str(), strerror(error));
    }
    return statusOfErrno(error);
}

}  // namespace takebox::movietoolbox
