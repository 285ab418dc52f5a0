#pragma once

#include <QSocketNotifier>

namespace takebox {

/// Writes the log lines of receive threads as they come, from the event loop of the thread that
/// created it (the main thread), and the rest when it is destroyed.
class LogPump {
public:
    LogPump();
    ~LogPump();
    LogPump(const LogPump&) = delete;
    LogPump& operator=(const LogPump&) = delete;

private:
    QSocketNotifier mNotifier;
};

}  // namespace takebox
