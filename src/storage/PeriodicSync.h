#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "platform/runloop/WakeUp.h"

namespace takebox {

/// Whether an open file has no name any more.
[[nodiscard]] bool hasBeenRemoved(int descriptor);

/// Brings a file that is being recorded to the disk every two seconds, so that a power failure
/// costs the last moments of a recording and not what the system has kept in memory since its
/// start. Also the file's name, and that of its folder, so that it can be found again.
///
/// A thread of its own (WriterThreads) waits for the disk, with a descriptor of its own: neither
/// the thread that writes the file nor the one that starts and stops this ever waits for it.
class PeriodicSync : public std::enable_shared_from_this<PeriodicSync> {
    struct Private {};

public:
    /// @param path of a regular file that exists.
    [[nodiscard]] static std::shared_ptr<PeriodicSync> start(const std::string& path);
    PeriodicSync(Private, const std::string& path);  ///< start() calls it.
    ~PeriodicSync();
    PeriodicSync(const PeriodicSync&) = delete;
    PeriodicSync& operator=(const PeriodicSync&) = delete;

    /// Ends the thread, without waiting for it. Any thread.
    void stop();
    /// Whether the file has no name any more. Any thread.
    [[nodiscard]] bool isRemoved() const { return hasBeenRemoved(mDescriptor); }

private:
    void run();

    const std::string mPath;
    const int mDescriptor;
    std::atomic<bool> mMustGoOn{true};
    WakeUp mWakeUp;
};

}  // namespace takebox
