#include "platform/log/Log.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <iterator>
#include <mutex>
#include <string>
#include <utility>

namespace takebox {
namespace {

constexpr std::size_t kLineSize = 201;
constexpr std::size_t kCellCount = 1024;  // a power of two: positions wrap by masking

/// One waiting line of a receive thread.
struct Cell {
    /// Equal to the position when the cell is free for it, position + 1 when it holds its line.
    ///   release after writing or emptying the cell, acquire before touching it.
    std::atomic<std::size_t> turn{0};
    timespec time{};
    std::array<char, kLineSize> text{};
};

/// Bounded queue of lines: any number of receive threads push without waiting for one another,
/// one thread at a time (under gSinkMutex) pops.
class LineQueue {
public:
    LineQueue() : mWakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        for (std::size_t i = 0; i < kCellCount; ++i) {
            mCells[i].turn.store(i, std::memory_order_relaxed);
        }
    }

    void push(const char* format, va_list arguments) {
        std::size_t position = mPushed.load(std::memory_order_relaxed);
        for (;;) {
            Cell& cell = mCells[position % kCellCount];
            const std::size_t turn = cell.turn.load(std::memory_order_acquire);
            if (turn == position) {
                if (mPushed.compare_exchange_weak(position, position + 1,
                                                  std::memory_order_relaxed)) {
                    clock_gettime(CLOCK_REALTIME, &cell.time);
                    vsnprintf(cell.text.data(), cell.text.size(), format, arguments);
                    cell.turn.store(position + 1, std::memory_order_release);
                    break;
                }
            } else if (turn < position) {
                mLost.fetch_add(1, std::memory_order_relaxed);
                break;
            } else {
                position = mPushed.load(std::memory_order_relaxed);
            }
        }
        const std::uint64_t one = 1;
        // A full counter means that the reader has been told already.
        [[maybe_unused]] const ssize_t ignored = write(mWakeUp, &one, sizeof one);
    }

    template <typename Write>
    void drain(const Write& writeLine) {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t ignored = read(mWakeUp, &count, sizeof count);
        for (;; ++mPopped) {
            Cell& cell = mCells[mPopped % kCellCount];
            if (cell.turn.load(std::memory_order_acquire) != mPopped + 1) {
                break;
            }
            writeLine(cell.time, cell.text.data());
            cell.turn.store(mPopped + kCellCount, std::memory_order_release);
        }
        if (const auto lost = mLost.exchange(0, std::memory_order_relaxed); lost != 0) {
            timespec now{};
            clock_gettime(CLOCK_REALTIME, &now);
            std::array<char, kLineSize> text{};
            snprintf(text.data(), text.size(), "%llu log lines were lost",
                     static_cast<unsigned long long>(lost));
            writeLine(now, text.data());
        }
    }

    [[nodiscard]] int descriptor() const { return mWakeUp; }

private:
    std::array<Cell, kCellCount> mCells;
    std::atomic<std::size_t> mPushed{0};
    std::atomic<std::uint64_t> mLost{0};
    std::size_t mPopped = 0;  // under gSinkMutex
    int mWakeUp;
};

/// Never destroyed: threads may log until the process is gone.
LineQueue& lineQueue() {
    static auto* const queue = new LineQueue;
    return *queue;
}

struct Sink {
    std::mutex mutex;  // guards function and keeps lines whole and in order
    LogSink function;
};

Sink& sink() {
    static auto* const theSink = new Sink;
    return *theSink;
}

/// Names come from clients, devices and files: a line end in one would forge a line, an escape
/// sequence command the terminal that shows it.
void blankControlCharacters(std::string& text) {
    unsigned char before = 0;
    for (char& character : text) {
        const auto byte = static_cast<unsigned char>(character);
        // U+0080 to U+009F are C2 80 to C2 9F in UTF-8; no other character has these two bytes.
        const bool isSecondSet = before == 0xC2 && byte >= 0x80 && byte < 0xA0;
        if (isSecondSet) {
            *std::prev(&character) = ' ';
        }
        if (isSecondSet || byte < 0x20 || byte == 0x7F) {
            character = ' ';
        }
        before = byte;
    }
}

void writeLine(const timespec& time, std::string text) {
    blankControlCharacters(text);
    if (sink().function) {
        sink().function(text);
        return;
    }
    tm local{};
    localtime_r(&time.tv_sec, &local);
    std::array<char, 32> stamp{};
    strftime(stamp.data(), stamp.size(), "%Y-%m-%d %H:%M:%S", &local);
    fprintf(stderr, "%s.%03ld %s\n", stamp.data(), time.tv_nsec / 1000000, text.c_str());
}

std::string formatted(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(nullptr, 0, format, arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

}  // namespace

void logMessage(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string text = formatted(format, arguments);
    va_end(arguments);
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::lock_guard lock(sink().mutex);
    lineQueue().drain(writeLine);
    writeLine(now, std::move(text));
}

void logFromReceiveThread(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    lineQueue().push(format, arguments);
    va_end(arguments);
}

void drainReceiveThreadLog() {
    const std::lock_guard lock(sink().mutex);
    lineQueue().drain(writeLine);
}

int receiveThreadLogDescriptor() {
    return lineQueue().descriptor();
}

void printMessage(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vfprintf(stdout, format, arguments);
    va_end(arguments);
    fflush(stdout);
}

void setLogSink(LogSink function) {
    const std::lock_guard lock(sink().mutex);
    sink().function = std::move(function);
}

}  // namespace takebox
