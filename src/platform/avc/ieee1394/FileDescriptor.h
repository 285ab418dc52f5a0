#pragma once

#include <unistd.h>

#include <utility>

namespace takebox::avc {

/// Owns a file descriptor.
class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor = -1) : mDescriptor(descriptor) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(FileDescriptor&& other) noexcept
        : mDescriptor(std::exchange(other.mDescriptor, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        reset(std::exchange(other.mDescriptor, -1));
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    [[nodiscard]] int get() const { return mDescriptor; }
    [[nodiscard]] bool isValid() const { return mDescriptor >= 0; }
    void reset(int descriptor = -1) {
        if (mDescriptor >= 0) {
            close(mDescriptor);
        }
        mDescriptor = descriptor;
    }

private:
    int mDescriptor;
};

}  // namespace takebox::avc
