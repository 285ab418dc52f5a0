// A library that is loaded before the C library and stands between the recorder and one folder: a
// disk that stalls, refuses, or forgets what was not flushed.
//
// TAKEBOX_FAULTS_FOLDER   only files below it are touched.
// TAKEBOX_FAULTS_CONTROL  a file of lines "OPERATION stall" or "OPERATION ERRNO", read at each
//                         operation; OPERATION is open, write, fsync or close. "clock SECONDS"
//                         moves the time of day.
// TAKEBOX_FAULTS_DURABLE  a folder that receives what a power failure would leave: each flush of a
//                         file copies what has changed in it since the last one.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <mutex>
#include <string>

namespace {

template <class Function>
Function real(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

const char* variable(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

/// The path of a descriptor below the folder; empty for all others.
std::string pathOf(int descriptor) {
    static const std::string folder = variable("TAKEBOX_FAULTS_FOLDER");
    std::array<char, PATH_MAX> path{};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const ssize_t size = readlink(link.c_str(), path.data(), path.size());
    const std::string found(path.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    return !folder.empty() && found.rfind(folder + "/", 0) == 0 ? found : std::string();
}

bool isBelowFolder(const char* path) {
    static const std::string folder = variable("TAKEBOX_FAULTS_FOLDER");
    return !folder.empty() && std::strncmp(path, (folder + "/").c_str(), folder.size() + 1) == 0;
}

/// What the control file says of an operation; empty for nothing.
std::string orderFor(const std::string& operation) {
    static const auto realOpen = real<int (*)(const char*, int, ...)>("open");
    static const auto realClose = real<int (*)(int)>("close");
    static const char* const control = variable("TAKEBOX_FAULTS_CONTROL");
    const int descriptor = realOpen(control, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return {};
    }
    std::array<char, 512> text{};
    const ssize_t size = read(descriptor, text.data(), text.size() - 1);
    realClose(descriptor);
    const std::string lines =
        "\n" + std::string(text.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    const std::size_t at = lines.find("\n" + operation + " ");
    if (at == std::string::npos) {
        return {};
    }
    const std::size_t begin = at + operation.size() + 2;
    return lines.substr(begin, lines.find('\n', begin) - begin);
}

/// Waits or refuses as the control file says. @return errno to fail with, or 0.
int faultOf(const std::string& operation) {
    constexpr timespec kPause{0, 5000000};
    std::string order = orderFor(operation);
    while (order == "stall") {
        nanosleep(&kPause, nullptr);
        order = orderFor(operation);
    }
    return std::atoi(order.c_str());
}

// What a power failure leaves.

struct Range {
    off_t begin = LLONG_MAX;
    off_t end = 0;
};

std::mutex gMutex;  // guards the next one
std::map<ino_t, Range>& dirtyRanges() {
    static auto* const ranges = new std::map<ino_t, Range>;
    return *ranges;
}

std::string durableFolder() {
    return variable("TAKEBOX_FAULTS_DURABLE");
}

void noteWritten(int descriptor, off_t offset, ssize_t size) {
    struct stat status {};
    if (size <= 0 || durableFolder().empty() || fstat(descriptor, &status) != 0) {
        return;
    }
    const std::lock_guard guard(gMutex);
    Range& range = dirtyRanges()[status.st_ino];
    range.begin = std::min(range.begin, offset);
    range.end = std::max(range.end, offset + size);
}

/// A flushed file is found again under its name, with what it held.
void keep(int descriptor, const std::string& path) {
    struct stat status {};
    if (durableFolder().empty() || fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        return;
    }
    const std::lock_guard guard(gMutex);
    const Range range = dirtyRanges()[status.st_ino];
    dirtyRanges().erase(status.st_ino);
    const std::string copy = durableFolder() + "/" + std::to_string(status.st_ino);
    const int in = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const int out = open(copy.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    std::array<char, 65536> block{};
    for (off_t at = range.begin; in >= 0 && at < range.end;) {
        const auto wanted =
            std::min<std::size_t>(block.size(), static_cast<std::size_t>(range.end - at));
        const ssize_t size = pread(in, block.data(), wanted, at);
        if (size <= 0 || real<ssize_t (*)(int, const void*, std::size_t, off_t)>("pwrite64")(
                             out, block.data(), static_cast<std::size_t>(size), at) != size) {
            break;
        }
        at += size;
    }
    close(in);
    close(out);
    // The names are appended: the last one of a file counts.
    const int names =
        open((durableFolder() + "/names").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    const std::string line =
        std::to_string(status.st_ino) + " " + std::to_string(status.st_size) + " " + path + "\n";
    [[maybe_unused]] const ssize_t ignored =
        real<ssize_t (*)(int, const void*, std::size_t)>("write")(names, line.data(), line.size());
    close(names);
}

template <class Call>
auto guarded(int descriptor, const char* operation, Call call) {
    if (!pathOf(descriptor).empty()) {
        if (const int error = faultOf(operation); error != 0) {
            errno = error;
            return static_cast<decltype(call())>(-1);
        }
    }
    return call();
}

template <class Call>
int flush(int descriptor, Call call) {
    const std::string path = pathOf(descriptor);
    const int result = guarded(descriptor, "fsync", call);
    if (result == 0 && !path.empty()) {
        keep(descriptor, path);
    }
    return result;
}

}  // namespace

extern "C" {

ssize_t write(int descriptor, const void* bytes, std::size_t size) {
    static const auto next = real<ssize_t (*)(int, const void*, std::size_t)>("write");
    const bool isWatched = !pathOf(descriptor).empty();
    const off_t at = isWatched ? lseek(descriptor, 0, SEEK_CUR) : 0;
    const ssize_t result =
        guarded(descriptor, "write", [&] { return next(descriptor, bytes, size); });
    if (isWatched) {
        noteWritten(descriptor, at, result);
    }
    return result;
}

ssize_t pwrite64(int descriptor, const void* bytes, std::size_t size, off_t offset) {
    static const auto next = real<ssize_t (*)(int, const void*, std::size_t, off_t)>("pwrite64");
    const ssize_t result =
        guarded(descriptor, "write", [&] { return next(descriptor, bytes, size, offset); });
    if (!pathOf(descriptor).empty()) {
        noteWritten(descriptor, offset, result);
    }
    return result;
}

ssize_t pwrite(int descriptor, const void* bytes, std::size_t size, off_t offset) {
    return pwrite64(descriptor, bytes, size, offset);
}

int fallocate64(int descriptor, int mode, off_t offset, off_t length) {
    static const auto next = real<int (*)(int, int, off_t, off_t)>("fallocate64");
    return guarded(descriptor, "write", [&] { return next(descriptor, mode, offset, length); });
}

int fallocate(int descriptor, int mode, off_t offset, off_t length) {
    return fallocate64(descriptor, mode, offset, length);
}

int fsync(int descriptor) {
    static const auto next = real<int (*)(int)>("fsync");
    return flush(descriptor, [&] { return next(descriptor); });
}

int fdatasync(int descriptor) {
    static const auto next = real<int (*)(int)>("fdatasync");
    return flush(descriptor, [&] { return next(descriptor); });
}

int close(int descriptor) {
    static const auto next = real<int (*)(int)>("close");
    const int error = pathOf(descriptor).empty() ? 0 : faultOf("close");
    const int result = next(descriptor);
    if (error != 0) {
        errno = error;
        return -1;
    }
    return result;
}

int open64(const char* path, int flags, ...) {
    static const auto next = real<int (*)(const char*, int, ...)>("open64");
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    if ((flags & O_ACCMODE) != O_RDONLY && isBelowFolder(path)) {
        if (const int error = faultOf("open"); error != 0) {
            errno = error;
            return -1;
        }
    }
    return next(path, flags, mode);
}

int open(const char* path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return open64(path, flags, mode);
}

int clock_gettime(clockid_t clock, timespec* time) {
    static const auto next = real<int (*)(clockid_t, timespec*)>("clock_gettime");
    const int result = next(clock, time);
    static const bool isWatched = variable("TAKEBOX_FAULTS_CONTROL")[0] != '\0';
    if (result == 0 && clock == CLOCK_REALTIME && isWatched) {
        time->tv_sec += std::atoi(orderFor("clock").c_str());
    }
    return result;
}

}  // extern "C"
