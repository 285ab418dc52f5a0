#include "platform/runloop/Clock.h"

#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <unordered_map>
#include <utility>

namespace takebox {
namespace {

class SystemClock final : public Clock {
public:
    [[nodiscard]] QDateTime localNow() const override { return QDateTime::currentDateTime(); }

    [[nodiscard]] std::int64_t monotonicNow() const override {
        return std::chrono::duration_cast<std::chrono::nanoseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }

    Timer callLater(double seconds, Action action) override {
        return start(seconds, true, std::move(action));
    }

    Timer callEvery(double seconds, Action action) override {
        return start(seconds, false, std::move(action));
    }

    void cancel(Timer timer) override {
        if (const auto found = mTimers.find(timer); found != mTimers.end()) {
            // The timer may be the one whose action is running.
            found->second->stop();
            found->second.release()->deleteLater();
            mTimers.erase(found);
        }
    }

private:
    // Qt's timers count milliseconds in an int; a longer wait is taken in steps.
    static constexpr double kLongestStep = 1.0e6;

    Timer start(double seconds, bool once, Action action) {
        const Timer id = ++mLastTimer;
        startStep(id, seconds, once, std::move(action));
        return id;
    }

    void startStep(Timer id, double seconds, bool once, Action action) {
        auto timer = std::make_unique<QTimer>();
        timer->setTimerType(Qt::PreciseTimer);
        timer->setSingleShot(once);
        const double step = std::clamp(seconds, 0.0, kLongestStep);
        timer->setInterval(static_cast<int>(std::lround(step * 1000.0)));
        QObject::connect(timer.get(), &QTimer::timeout,
                         [this, id, once, rest = seconds - step, action = std::move(action)] {
                             // A copy: cancel() inside the action destroys the timer and its slot.
                             const Action run = action;
                             if (once) {
                                 const double left = rest;
                                 cancel(id);
                                 if (left > 0) {
                                     startStep(id, left, true, run);
                                     return;
                                 }
                             }
                             run();
                         });
        timer->start();
        mTimers.emplace(id, std::move(timer));
    }

    Timer mLastTimer = 0;
    std::unordered_map<Timer, std::unique_ptr<QTimer>> mTimers;
};

}  // namespace

Clock& Clock::system() {
    // Never destroyed: timers may be cancelled while the process is being torn down.
    static auto* const clock = new SystemClock;
    return *clock;
}

double secondsOfDay(const QDateTime& time) {
    return time.time().msecsSinceStartOfDay() / 1000.0;
}

}  // namespace takebox
