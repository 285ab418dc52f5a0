#include "platform/avc/ieee1394/MainThreadQueue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <QObject>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/log/Log.h"

namespace takebox::avc {

MainThreadQueue::MainThreadQueue() : mWakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (mWakeUp < 0) {
        logMessage("Too few file descriptors: FireWire devices cannot be followed (%s)",
                   strerror(errno));
        return;
    }
    mNotifier = std::make_unique<QSocketNotifier>(mWakeUp, QSocketNotifier::Read);
    QObject::connect(mNotifier.get(), &QSocketNotifier::activated, [this] { run(); });
}

MainThreadQueue::~MainThreadQueue() {
    mNotifier.reset();
    if (mWakeUp >= 0) {
        ::close(mWakeUp);
    }
}

void MainThreadQueue::post(Work work) {
    {
        const std::lock_guard lock(mMutex);
        mWork.push_back(std::move(work));
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t ignored = ::write(mWakeUp, &one, sizeof one);
}

void MainThreadQueue::run() {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t ignored = ::read(mWakeUp, &count, sizeof count);
    std::vector<Work> work;
    {
        const std::lock_guard lock(mMutex);
        work.swap(mWork);
    }
    for (const auto& each : work) {
        each();
    }
}

}  // namespace takebox::avc
