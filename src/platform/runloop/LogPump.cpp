#include "platform/runloop/LogPump.h"

#include "platform/log/Log.h"

namespace takebox {

LogPump::LogPump() : mNotifier(receiveThreadLogDescriptor(), QSocketNotifier::Read) {
    QObject::connect(&mNotifier, &QSocketNotifier::activated, [] { drainReceiveThreadLog(); });
}

LogPump::~LogPump() {
    drainReceiveThreadLog();
}

}  // namespace takebox
