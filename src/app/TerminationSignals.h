#pragma once

#include <QSocketNotifier>
#include <functional>
#include <memory>

namespace takebox {

/// Turns SIGTERM, SIGINT and SIGHUP into a call on the main thread's event loop. One per process;
/// made before any other thread starts, so that none of them is interrupted.
class TerminationSignals {
public:
    /// @param terminate called with the signal's number, for each signal.
    explicit TerminationSignals(std::function<void(int)> terminate);
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

    /// Blocks the signals in the calling thread and those that it starts: they are read from a
    /// descriptor instead. SIGALRM is blocked as well; who needs it unblocks it for itself.
    static void block();

private:
    void readSignals();

    std::function<void(int)> mTerminate;
    int mDescriptor;  // signalfd
    std::unique_ptr<QSocketNotifier> mNotifier;
};

}  // namespace takebox
