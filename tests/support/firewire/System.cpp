#include "System.h"

#include <dlfcn.h>

namespace fakefirewire::real {
namespace {

template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

int open(const char* path, int flags, unsigned mode) {
    static auto* const function = next<int(const char*, int, ...)>("open");
    return function(path, flags, mode);
}

int close(int descriptor) {
    static auto* const function = next<int(int)>("close");
    return function(descriptor);
}

ssize_t read(int descriptor, void* buffer, std::size_t size) {
    static auto* const function = next<ssize_t(int, void*, std::size_t)>("read");
    return function(descriptor, buffer, size);
}

int ioctl(int descriptor, unsigned long request, void* argument) {
    static auto* const function = next<int(int, unsigned long, ...)>("ioctl");
    return function(descriptor, request, argument);
}

void* mmap(void* address, std::size_t size, int protection, int flags, int descriptor,
           std::int64_t offset) {
    static auto* const function =
        next<void*(void*, std::size_t, int, int, int, std::int64_t)>("mmap64");
    return function(address, size, protection, flags, descriptor, offset);
}

DIR* opendir(const char* path) {
    static auto* const function = next<DIR*(const char*)>("opendir");
    return function(path);
}

int inotifyAddWatch(int descriptor, const char* path, std::uint32_t mask) {
    static auto* const function = next<int(int, const char*, std::uint32_t)>("inotify_add_watch");
    return function(descriptor, path, mask);
}

}  // namespace fakefirewire::real
