#include "DiskCalls.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <mutex>

namespace takebox::test {
namespace {

std::mutex gMutex;  // guards gFlush
std::function<int()> gFlush;
std::atomic<int> gPermissionError{0};

std::function<int()> currentFlush() {
    const std::lock_guard lock(gMutex);
    return gFlush;
}

void setFlush(std::function<int()> flush) {
    const std::lock_guard lock(gMutex);
    gFlush = std::move(flush);
}

}  // namespace

FakeFlush::FakeFlush(std::function<int()> flush) {
    setFlush(std::move(flush));
}

FakeFlush::~FakeFlush() {
    setFlush(nullptr);
}

NoPermissions::NoPermissions(int error) {
    gPermissionError = error;
}

NoPermissions::~NoPermissions() {
    gPermissionError = 0;
}

}  // namespace takebox::test

// In place of the C library's.

extern "C" int fdatasync(int descriptor) {
    const auto flush = takebox::test::currentFlush();
    return flush ? flush() : static_cast<int>(::syscall(SYS_fdatasync, descriptor));
}

extern "C" int fchmod(int descriptor, mode_t mode) noexcept {
    if (const int error = takebox::test::gPermissionError; error != 0) {
        errno = error;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_fchmod, descriptor, mode));
}
