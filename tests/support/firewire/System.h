#pragma once

#include <dirent.h>
#include <sys/types.h>
#include <cstddef>
#include <cstdint>

/// The system calls beneath those that this library stands in for.
namespace fakefirewire::real {

int open(const char* path, int flags, unsigned mode = 0);
int close(int descriptor);
ssize_t read(int descriptor, void* buffer, std::size_t size);
int ioctl(int descriptor, unsigned long request, void* argument);
void* mmap(void* address, std::size_t size, int protection, int flags, int descriptor,
           std::int64_t offset);
DIR* opendir(const char* path);
int inotifyAddWatch(int descriptor, const char* path, std::uint32_t mask);

}  // namespace fakefirewire::real
