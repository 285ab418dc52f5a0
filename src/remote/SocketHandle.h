#pragma once

#include <unistd.h>

#include <utility>

namespace takebox {

/// Owns one socket descriptor and closes it; -1 is none. Movable, not copyable.
class SocketHandle {
public:
    SocketHandle() = default;
    explicit SocketHandle(int descriptor) : mDescriptor(descriptor) {}
    ~SocketHandle() { reset(); }
    SocketHandle(SocketHandle&& other) noexcept : mDescriptor(other.release()) {}
    SocketHandle& operator=(SocketHandle&& other) noexcept {
        if (this != &other) {
            reset();
            mDescriptor = other.release();
        }
        return *this;
    }
    SocketHandle(const SocketHandle&) = delete;
    SocketHandle& operator=(const SocketHandle&) = delete;

    [[nodiscard]] int get() const { return mDescriptor; }
    [[nodiscard]] bool isValid() const { return mDescriptor >= 0; }
    /// Gives the descriptor away: the caller closes it.
    [[nodiscard]] int release() { return std::exchange(mDescriptor, -1); }
    void reset() {
        if (mDescriptor >= 0) {
            close(std::exchange(mDescriptor, -1));
        }
    }

private:
    int mDescriptor = -1;
};

}  // namespace takebox
