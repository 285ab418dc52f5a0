// Stands in for the kernel's FireWire interface in the program that it is preloaded into: calls
// that concern /dev/fw* are answered by a FakeBus, all others go on to the system.

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "FakeBus.h"
#include "FakeControl.h"
#include "FakeSysfs.h"
#include "System.h"

namespace fakefirewire {
namespace {

constexpr int kDescriptorsMax = 65536;

/// Which descriptors are device files of ours: every read of the program asks for this.
std::array<std::atomic<bool>, kDescriptorsMax> gIsOurs;

bool isOurs(int descriptor) {
    return descriptor >= 0 && descriptor < kDescriptorsMax &&
           gIsOurs[static_cast<std::size_t>(descriptor)].load(std::memory_order_acquire);
}

void setOurs(int descriptor, bool ours) {
    gIsOurs[static_cast<std::size_t>(descriptor)].store(ours, std::memory_order_release);
}

/// N of "/dev/fwN", or -1.
int deviceNumber(const char* path) {
    int number = -1;
    int length = 0;
    if (path == nullptr || std::strncmp(path, "/dev/fw", 7) != 0 ||
        std::sscanf(path, "/dev/fw%d%n", &number, &length) != 1 || path[length] != '\0') {
        return -1;
    }
    return number;
}

bool isDev(const char* path) {
    return path != nullptr && !worldFolder().empty() &&
           (std::strcmp(path, "/dev") == 0 || std::strcmp(path, "/dev/") == 0);
}

int openDevice(int number, int flags) {
    auto& bus = FakeBus::instance();
    const std::lock_guard lock(bus.mutex);
    const int result = bus.open(number, (flags & O_CLOEXEC) != 0);
    if (result < 0) {
        errno = -result;
        return -1;
    }
    setOurs(result, true);
    return result;
}

void* mapDevice(int descriptor, std::size_t size, int protection, int flags) {
    auto& bus = FakeBus::instance();
    const std::lock_guard lock(bus.mutex);
    return bus.map(descriptor, size,
                   [&](int file) { return real::mmap(nullptr, size, protection, flags, file, 0); });
}

void runBus() {
    for (;;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        auto& bus = FakeBus::instance();
        const std::lock_guard lock(bus.mutex);
        bus.tick();
    }
}

__attribute__((constructor)) void begin() {
    if (worldFolder().empty()) {
        return;
    }
    // For this program only: what it starts would come to the same folder.
    unsetenv("LD_PRELOAD");
    unsetenv("FAKE_FIREWIRE_DIR");
    prepareWorld();
    runScript();
    // A signal is the program's: a kernel's threads would never receive one.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread(runBus).detach();
    std::thread(serveControl).detach();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace
}  // namespace fakefirewire

using namespace fakefirewire;

extern "C" {

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, unsigned);
    va_end(arguments);
    const int number = deviceNumber(path);
    return number >= 0 && !worldFolder().empty() ? openDevice(number, flags)
                                                 : real::open(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, unsigned);
    va_end(arguments);
    return open(path, flags, mode);
}

int close(int descriptor) {
    if (isOurs(descriptor)) {
        setOurs(descriptor, false);
        auto& bus = FakeBus::instance();
        const std::lock_guard lock(bus.mutex);
        bus.close(descriptor);
        return real::close(descriptor);
    }
    return real::close(descriptor);
}

ssize_t read(int descriptor, void* buffer, size_t size) {
    const ssize_t result = real::read(descriptor, buffer, size);
    if (result == 0 && size > 0 && isOurs(descriptor)) {
        errno = ENODEV;
        return -1;
    }
    return result;
}

ssize_t __read_chk(int descriptor, void* buffer, size_t size, size_t /*available*/) {
    return read(descriptor, buffer, size);
}

int ioctl(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (!isOurs(descriptor)) {
        return real::ioctl(descriptor, request, argument);
    }
    auto& bus = FakeBus::instance();
    const std::lock_guard lock(bus.mutex);
    const int result = bus.ioctl(descriptor, request, argument);
    if (result < 0) {
        errno = -result;
        return -1;
    }
    return result;
}

void* mmap(void* address, size_t size, int protection, int flags, int descriptor, off_t offset) {
    return isOurs(descriptor) ? mapDevice(descriptor, size, protection, flags)
                              : real::mmap(address, size, protection, flags, descriptor, offset);
}

void* mmap64(void* address, size_t size, int protection, int flags, int descriptor,
             off64_t offset) {
    return mmap(address, size, protection, flags, descriptor, offset);
}

DIR* opendir(const char* path) {
    return isDev(path) ? real::opendir((worldFolder() + "/dev").c_str()) : real::opendir(path);
}

int inotify_add_watch(int descriptor, const char* path, uint32_t mask) {
    return isDev(path) ? real::inotifyAddWatch(descriptor, (worldFolder() + "/dev").c_str(), mask)
                       : real::inotifyAddWatch(descriptor, path, mask);
}

}  // extern "C"
