#include "platform/movietoolbox/ByteSource.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace takebox::movietoolbox {
namespace {

bool isWithin(std::uint64_t size, std::uint64_t offset, std::size_t count) {
    return offset <= size && count <= size - offset;
}

}  // namespace

std::unique_ptr<FileBytes> FileBytes::open(const std::string& path, int& error) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0) {
        error = errno;
        if (descriptor >= 0) {
            ::close(descriptor);
        }
        return nullptr;
    }
    if (!S_ISREG(status.st_mode)) {
        ::close(descriptor);
        error = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return nullptr;
    }
    error = 0;
    return std::make_unique<FileBytes>(descriptor, static_cast<std::uint64_t>(status.st_size));
}

FileBytes::~FileBytes() {
    ::close(mDescriptor);
}

int FileBytes::readAt(std::uint64_t offset, std::span<std::byte> bytes) const {
    if (!isWithin(mSize, offset, bytes.size())) {
        return ENODATA;
    }
    while (!bytes.empty()) {
        const ssize_t count =
            ::pread(mDescriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return count < 0 ? errno : ENODATA;  // it has become shorter
        }
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
    return 0;
}

bool FileBytes::isBeingRecorded() const {
    if (::flock(mDescriptor, LOCK_SH | LOCK_NB) == 0) {
        ::flock(mDescriptor, LOCK_UN);
        return false;
    }
    return errno == EWOULDBLOCK;
}

void markAsBeingRecorded(int descriptor) {
    ::flock(descriptor, LOCK_EX | LOCK_NB);
}

int MemoryBytes::readAt(std::uint64_t offset, std::span<std::byte> bytes) const {
    if (!isWithin(mBytes.size(), offset, bytes.size())) {
        return ENODATA;
    }
    if (!bytes.empty()) {
        std::memcpy(bytes.data(), mBytes.data() + offset, bytes.size());
    }
    return 0;
}

}  // namespace takebox::movietoolbox
