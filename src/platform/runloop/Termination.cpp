#include "platform/runloop/Termination.h"

#include <algorithm>
#include <array>

namespace takebox {
namespace {

constexpr std::array kSignals{SIGTERM, SIGINT, SIGHUP};

}  // namespace

sigset_t terminationSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : kSignals) {
        sigaddset(&signals, number);
    }
    return signals;
}

bool isTerminationPending() {
    sigset_t pending;
    return sigpending(&pending) == 0 &&
           std::any_of(kSignals.begin(), kSignals.end(),
                       [&pending](int number) { return sigismember(&pending, number) == 1; });
}

}  // namespace takebox
