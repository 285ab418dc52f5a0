#include "platform/avc/ieee1394/ThreadSetup.h"

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <csignal>

#include "platform/log/Log.h"

namespace takebox::avc {

void setUpThread(const char* name) {
    pthread_setname_np(pthread_self(), name);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void requestRealTimePriority() {
    sched_param parameters{};
    parameters.sched_priority = kReceivePriority;
    if (sched_setscheduler(0, SCHED_RR | SCHED_RESET_ON_FORK, &parameters) == 0) {
        return;
    }
    static std::atomic<bool> isTold{false};
    if (!isTold.exchange(true, std::memory_order_relaxed)) {
        logFromReceiveThread(
            "The system does not grant real-time priority; receiving at normal priority "
            "(allow it with a limit \"rtprio\" of %d for this user)",
            kReceivePriority);
    }
}

}  // namespace takebox::avc
