#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "platform/runloop/Clock.h"

namespace takebox::test {

/// A clock that stands still until it is told to go on, and that then runs every timer at its exact
/// instant, in order. The local time follows the rules of the time zone of the process.
class ManualClock final : public Clock {
public:
    explicit ManualClock(const QDateTime& start = QDateTime(QDate(2024, 6, 3), QTime(0, 0)));

    [[nodiscard]] QDateTime localNow() const override;
    [[nodiscard]] std::int64_t monotonicNow() const override { return mMonotonic; }
    Timer callLater(double seconds, Action action) override;
    Timer callEvery(double seconds, Action action) override;
    void cancel(Timer timer) override;

    /// Runs on for so long.
    void advance(double seconds);
    /// Runs on until the clock on the wall, unless it is set meanwhile, shows this time.
    void advanceTo(const QDateTime& time);
    /// As advanceTo, but repeating timers are silent until then; they stay on their grid. For
    /// stretches of which the test knows that polling finds nothing.
    void skipTo(const QDateTime& time);

    /// Sets the clock on the wall; timers keep their distance.
    void setTime(const QDateTime& time);
    /// Forgets all timers, as a process does when it ends.
    void forgetTimers() { mTimers.clear(); }
    [[nodiscard]] std::size_t pendingTimers() const { return mTimers.size(); }

private:
    struct Entry {
        std::int64_t interval = 0;  // 0 for a timer that runs once
        Action action;
    };
    using Due = std::pair<std::int64_t, Timer>;  // nanoseconds on the clock that never jumps

    void run(std::int64_t until, bool withRepeating);
    [[nodiscard]] std::int64_t monotonicAt(const QDateTime& time) const;

    std::int64_t mMonotonic = 0;
    std::int64_t mWallOffset;  // nanoseconds since 1970 at mMonotonic 0
    Timer mLastTimer = 0;
    std::map<Due, Entry> mTimers;
};

/// The time zone of the process during its lifetime.
class TimeZoneOfTest {
public:
    explicit TimeZoneOfTest(const char* name);
    ~TimeZoneOfTest();
    TimeZoneOfTest(const TimeZoneOfTest&) = delete;
    TimeZoneOfTest& operator=(const TimeZoneOfTest&) = delete;

    static void set(const char* name);

private:
    QByteArray mBefore;
};

}  // namespace takebox::test
