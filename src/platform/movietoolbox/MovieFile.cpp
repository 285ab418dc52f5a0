#include "platform/movietoolbox/MovieFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <limits>
#include <utility>

#include "platform/movietoolbox/ByteSource.h"

namespace takebox::movietoolbox {
namespace {

/// Closes a descriptor when it goes out of scope.
class Descriptor {
public:
    explicit Descriptor(int descriptor) : mDescriptor(descriptor) {}
    ~Descriptor() {
        if (mDescriptor >= 0) {
            ::close(mDescriptor);
        }
    }
    Descriptor(Descriptor&& other) noexcept : mDescriptor(std::exchange(other.mDescriptor, -1)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor& operator=(Descriptor&&) = delete;

    [[nodiscard]] int get() const { return mDescriptor; }
    [[nodiscard]] int close() {
        return ::close(std::exchange(mDescriptor, -1)) == 0 || errno == EINTR ? 0 : errno;
    }

private:
    int mDescriptor;
};

class DiskFile final : public MovieFile {
public:
    DiskFile(Descriptor descriptor, std::string writtenPath, std::string path)
        : mDescriptor(std::move(descriptor)),
          mWrittenPath(std::move(writtenPath)),
          mPath(std::move(path)) {}
    ~DiskFile() override {
        if (!mIsClosed && mWrittenPath != mPath) {
            ::unlink(mWrittenPath.c_str());
        }
    }
    DiskFile(const DiskFile&) = delete;
    DiskFile& operator=(const DiskFile&) = delete;

    int writeAt(std::uint64_t offset, std::span<const std::byte> bytes) override {
        if (!fits(offset, bytes.size())) {
            return EFBIG;
        }
        while (!bytes.empty()) {
            const ssize_t written =
                ::pwrite(mDescriptor.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
            if (written < 0) {
                if (errno == EINTR) {
                    continue;
                }
                return errno;
            }
            bytes = bytes.subspan(static_cast<std::size_t>(written));
            offset += static_cast<std::uint64_t>(written);
        }
        return 0;
    }

    int reserve(std::uint64_t offset, std::uint64_t size) override {
        if (!fits(offset, size)) {
            return EFBIG;
        }
        if (size == 0 || ::fallocate(mDescriptor.get(), FALLOC_FL_KEEP_SIZE,
                                     static_cast<off_t>(offset), static_cast<off_t>(size)) == 0) {
            return 0;
        }
        return errno == ENOSPC || errno == EDQUOT || errno == EFBIG ? errno : 0;
    }

    int truncate(std::uint64_t size) override {
        return ::ftruncate(mDescriptor.get(), static_cast<off_t>(size)) == 0 ? 0 : errno;
    }

    int synchronize() override {
        return ::fdatasync(mDescriptor.get()) == 0 || errno == EINVAL ? 0 : errno;
    }

    int close() override {
        int error = mDescriptor.close();
        if (mWrittenPath != mPath && ::rename(mWrittenPath.c_str(), mPath.c_str()) != 0) {
            error = error != 0 ? error : errno;
            ::unlink(mWrittenPath.c_str());
        }
        mIsClosed = true;
        return error;
    }

private:
    static bool fits(std::uint64_t offset, std::uint64_t size) {
        constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
        return offset <= kLargest && size <= kLargest - offset;
    }

    Descriptor mDescriptor;
    std::string mWrittenPath;
    std::string mPath;
    bool mIsClosed = false;
};

MovieFileMaker& maker() {
    static MovieFileMaker theMaker;
    return theMaker;
}

/// A name in the same folder that no other movie of this or another process uses. It does not grow
/// with the movie's name, which may be as long as names can be.
std::string temporaryPathBeside(const std::string& path) {
    static std::atomic<unsigned> counter{0};
    const std::string name = ".takebox-" + std::to_string(::getpid()) + "-" +
                             std::to_string(counter.fetch_add(1, std::memory_order_relaxed)) +
                             ".part";
    return (std::filesystem::path(path).parent_path() / name).string();
}

}  // namespace

std::unique_ptr<MovieFile> createMovieFile(const std::string& path, StorageMode mode, int& error) {
    if (maker()) {
        return maker()(path, mode, error);
    }
    struct stat existing {};
    if (::stat(path.c_str(), &existing) == 0 && S_ISDIR(existing.st_mode)) {
        error = EISDIR;
        return nullptr;
    }
    const std::string written = mode == StorageMode::kGrowing ? path : temporaryPathBeside(path);
    // An empty file holds the name for this movie: taken away, another one could get it.
    const bool isReserved =
        mode == StorageMode::kGrowing && S_ISREG(existing.st_mode) && existing.st_size == 0;
    if (!isReserved && ::unlink(written.c_str()) != 0 && errno != ENOENT) {
        error = errno;
        return nullptr;
    }
    constexpr mode_t kPermissions = 0666;  // less the process's mask
    Descriptor descriptor(::open(written.c_str(),
                                 O_RDWR | O_CREAT | O_CLOEXEC | (isReserved ? O_TRUNC : O_EXCL),
                                 kPermissions));
    if (descriptor.get() < 0) {
        error = errno;
        return nullptr;
    }
    if (mode == StorageMode::kGrowing) {
        markAsBeingRecorded(descriptor.get());
    }
    error = 0;
    return std::make_unique<DiskFile>(std::move(descriptor), written, path);
}

void setMovieFileMaker(MovieFileMaker newMaker) {
    maker() = std::move(newMaker);
}

int synchronizeMovieFile(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0 || ::fsync(file.get()) != 0) {
        return errno;
    }
    std::string folder = std::filesystem::path(path).parent_path().string();
    folder = folder.empty() ? "." : folder;
    const Descriptor folderDescriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folderDescriptor.get() < 0) {
        return errno;
    }
    // Not every file system lets a folder be synchronised.
    return ::fsync(folderDescriptor.get()) == 0 || errno == EINVAL ? 0 : errno;
}

}  // namespace takebox::movietoolbox
