#include "storage/WriterThreads.h"

#include <pthread.h>

#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>
#include <utility>

namespace takebox {
namespace {

struct Registry {
    std::mutex mutex;  // guards running and ended
    std::condition_variable changed;
    std::list<std::thread> running;
    std::list<std::thread> ended;

    /// Joins the threads that have ended.
    void reap(std::unique_lock<std::mutex>& lock) {
        std::list<std::thread> threads = std::exchange(ended, {});
        lock.unlock();
        for (auto& thread : threads) {
            thread.join();
        }
        lock.lock();
    }
};

/// Never destroyed: a thread may end after main() has returned.
Registry& registry() {
    static auto* const theRegistry = new Registry;
    return *theRegistry;
}

}  // namespace

void WriterThreads::start(const char* name, std::function<void()> body) {
    Registry& all = registry();
    std::unique_lock lock(all.mutex);
    all.reap(lock);
    const auto position = all.running.emplace(all.running.end());
    *position = std::thread([position, body = std::move(body)]() mutable {
        body();
        body = nullptr;  // what the body kept alive goes before the thread counts as ended
        Registry& threads = registry();
        const std::lock_guard guard(threads.mutex);
        threads.ended.splice(threads.ended.end(), threads.running, position);
        threads.changed.notify_all();
    });
    pthread_setname_np(position->native_handle(), name);
}

void WriterThreads::waitUntilFinished() {
    Registry& all = registry();
    std::unique_lock lock(all.mutex);
    all.changed.wait(lock, [&all] { return all.running.empty(); });
    all.reap(lock);
}

}  // namespace takebox
