#include "app/TerminationSignals.h"

#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <utility>

#include "platform/runloop/Termination.h"

namespace takebox {

void TerminationSignals::block() {
    sigset_t signals = terminationSignals();
    sigaddset(&signals, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    // A viewer or a pipe that has gone is an error of the write, not the end of a recording.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    // So is a file that may not grow any more.
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
}

TerminationSignals::TerminationSignals(std::function<void(int)> terminate)
    : mTerminate(std::move(terminate)), mDescriptor(-1) {
    const sigset_t signals = terminationSignals();
    mDescriptor = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    mNotifier = std::make_unique<QSocketNotifier>(mDescriptor, QSocketNotifier::Read);
    QObject::connect(mNotifier.get(), &QSocketNotifier::activated, [this] { readSignals(); });
}

TerminationSignals::~TerminationSignals() {
    mNotifier.reset();
    ::close(mDescriptor);
}

void TerminationSignals::readSignals() {
    signalfd_siginfo info{};
    while (::read(mDescriptor, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
        mTerminate(static_cast<int>(info.ssi_signo));
    }
}

}  // namespace takebox
