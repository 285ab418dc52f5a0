#pragma once

#include <QDateTime>
#include <cstdint>
#include <functional>

namespace takebox {

/// The time of day and delayed actions, as one interface so that a test can run a week in a second.
/// Main thread only. Who asks for the time or starts a delayed action is given a Clock; it is never
/// owned by its user and outlives it.
class Clock {
public:
    /// Identifies a pending timer; 0 is none.
    using Timer = std::uint64_t;
    using Action = std::function<void()>;

    virtual ~Clock() = default;

    /// The current date and time in the local time zone, with milliseconds.
    [[nodiscard]] virtual QDateTime localNow() const = 0;

    /// Nanoseconds of a clock that never jumps.
    [[nodiscard]] virtual std::int64_t monotonicNow() const = 0;

    /// Runs the action once, `seconds` from now (not before control returns to the event loop).
    virtual Timer callLater(double seconds, Action action) = 0;

    /// Runs the action every `seconds` until cancelled. The first time may come sooner: actions of
    /// the same interval may run together, so that the process wakes up once for all of them.
    virtual Timer callEvery(double seconds, Action action) = 0;

    /// Forgets a timer; one that has fired or is 0 is ignored. May be called from an action.
    virtual void cancel(Timer timer) = 0;

    /// The real clock: the system's time of day and Qt's timers. Lives for the whole process.
    static Clock& system();

protected:
    Clock() = default;
    Clock(const Clock&) = default;
    Clock& operator=(const Clock&) = default;
};

/// Whole seconds and milliseconds of the day since local midnight, in seconds.
[[nodiscard]] double secondsOfDay(const QDateTime& time);

}  // namespace takebox
