#pragma once

#include <QSocketNotifier>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace takebox::avc {

/// Brings work to the thread that made it (the main thread), in the order of posting, through its
/// event loop. Lives until the last of its users is gone; the last reference is given up on main.
class MainThreadQueue {
public:
    using Work = std::function<void()>;

    MainThreadQueue();
    ~MainThreadQueue();
    MainThreadQueue(const MainThreadQueue&) = delete;
    MainThreadQueue& operator=(const MainThreadQueue&) = delete;

    /// Any thread.
    void post(Work work);
    /// Main thread: runs what waits, now.
    void run();

private:
    int mWakeUp;  // eventfd
    std::unique_ptr<QSocketNotifier> mNotifier;
    std::mutex mMutex;  // guards mWork
    std::vector<Work> mWork;
};

}  // namespace takebox::avc
