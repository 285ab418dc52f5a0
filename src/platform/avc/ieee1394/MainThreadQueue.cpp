#include "platform/avc/ieee1394/MainThreadQueue.h"

#include <QMetaObject>
#include <utility>

namespace takebox::avc {

void MainThreadQueue::post(Work work) {
    const std::lock_guard lock(mMutex);
    mWork.push_back(std::move(work));
    if (mWork.size() == 1) {
        QMetaObject::invokeMethod(
            &mContext, [this] { run(); }, Qt::QueuedConnection);
    }
}

void MainThreadQueue::run() {
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
