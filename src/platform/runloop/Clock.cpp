#include "platform/runloop/Clock.h"

#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

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
        const Timer id = ++mLastTimer;
        startStep(id, seconds, std::move(action));
        return id;
    }

    Timer callEvery(double seconds, Action action) override {
        const Timer id = ++mLastTimer;
        const int interval = milliseconds(std::min(seconds, kLongestStep));
        Beat& beat = mBeats[interval];
        if (!beat.timer) {
            beat.timer = makeTimer(interval);
            QObject::connect(beat.timer.get(), &QTimer::timeout,
                             [this, interval] { runBeat(interval); });
            beat.timer->start();
        }
        beat.actions.emplace(id, std::move(action));
        return id;
    }

    void cancel(Timer timer) override {
        for (auto& [interval, beat] : mBeats) {
            if (beat.actions.erase(timer) != 0) {
                if (beat.actions.empty()) {
                    end(std::move(beat.timer));
                }
                return;
            }
        }
        if (const auto found = mTimers.find(timer); found != mTimers.end()) {
            end(std::move(found->second));
            mTimers.erase(found);
        }
    }

private:
    // Qt's timers count milliseconds in an int; a longer wait is taken in steps.
    static constexpr double kLongestStep = 1.0e6;

    // Actions of the same interval run together: the process wakes up once for all decks.
    struct Beat {
        std::unique_ptr<QTimer> timer;  // none without actions
        std::map<Timer, Action> actions;
    };

    static int milliseconds(double seconds) {
        return static_cast<int>(std::lround(std::max(seconds, 0.0) * 1000.0));
    }

    static std::unique_ptr<QTimer> makeTimer(int interval) {
        auto timer = std::make_unique<QTimer>();
        timer->setTimerType(Qt::PreciseTimer);
        timer->setInterval(interval);
        return timer;
    }

    // The timer may be the one whose action is running.
    static void end(std::unique_ptr<QTimer> timer) {
        timer->stop();
        timer.release()->deleteLater();
    }

    void runBeat(int interval) {
        std::vector<Timer> due;
        for (const auto& [id, action] : mBeats[interval].actions) {
            due.push_back(id);
        }
        for (const Timer id : due) {
            // An action may cancel itself and others, and begin new ones.
            const auto& actions = mBeats[interval].actions;
            if (const auto found = actions.find(id); found != actions.end()) {
                const Action run = found->second;
                run();
            }
        }
    }

    void startStep(Timer id, double seconds, Action action) {
        const double step = std::clamp(seconds, 0.0, kLongestStep);
        auto timer = makeTimer(milliseconds(step));
        timer->setSingleShot(true);
        QObject::connect(timer.get(), &QTimer::timeout,
                         [this, id, rest = seconds - step, action = std::move(action)] {
                             // Copies: cancel() destroys the timer and its slot.
                             const Action run = action;
                             const double left = rest;
                             cancel(id);
                             if (left > 0) {
                                 startStep(id, left, run);
                                 return;
                             }
                             run();
                         });
        timer->start();
        mTimers.emplace(id, std::move(timer));
    }

    Timer mLastTimer = 0;
    std::unordered_map<Timer, std::unique_ptr<QTimer>> mTimers;  // that fire once
    std::map<int, Beat> mBeats;                                  // by interval in milliseconds
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
