#include "ManualClock.h"

#include <algorithm>
#include <cmath>
#include <ctime>

namespace takebox::test {
namespace {

constexpr std::int64_t kNanosecondsInMillisecond = 1'000'000;

std::int64_t nanoseconds(double seconds) {
    return std::llround(std::max(seconds, 0.0) * 1.0e9);
}

}  // namespace

ManualClock::ManualClock(const QDateTime& start)
    : mWallOffset(start.toMSecsSinceEpoch() * kNanosecondsInMillisecond) {}

QDateTime ManualClock::localNow() const {
    return QDateTime::fromMSecsSinceEpoch((mWallOffset + mMonotonic) / kNanosecondsInMillisecond);
}

Clock::Timer ManualClock::callLater(double seconds, Action action) {
    const Timer timer = ++mLastTimer;
    mTimers.emplace(Due(mMonotonic + nanoseconds(seconds), timer), Entry{0, std::move(action)});
    return timer;
}

Clock::Timer ManualClock::callEvery(double seconds, Action action) {
    const Timer timer = ++mLastTimer;
    const std::int64_t interval = std::max<std::int64_t>(nanoseconds(seconds), 1);
    mTimers.emplace(Due(mMonotonic + interval, timer), Entry{interval, std::move(action)});
    return timer;
}

void ManualClock::cancel(Timer timer) {
    std::erase_if(mTimers, [timer](const auto& entry) { return entry.first.second == timer; });
}

void ManualClock::advance(double seconds) {
    run(mMonotonic + nanoseconds(seconds), true);
}

void ManualClock::advanceTo(const QDateTime& time) {
    run(monotonicAt(time), true);
}

void ManualClock::skipTo(const QDateTime& time) {
    run(monotonicAt(time), false);
}

void ManualClock::setTime(const QDateTime& time) {
    mWallOffset = time.toMSecsSinceEpoch() * kNanosecondsInMillisecond - mMonotonic;
}

std::int64_t ManualClock::monotonicAt(const QDateTime& time) const {
    return time.toMSecsSinceEpoch() * kNanosecondsInMillisecond - mWallOffset;
}

void ManualClock::run(std::int64_t until, bool withRepeating) {
    while (!mTimers.empty() && mTimers.begin()->first.first <= until) {
        auto node = mTimers.extract(mTimers.begin());
        auto& [due, timer] = node.key();
        if (node.mapped().interval == 0) {
            mMonotonic = std::max(mMonotonic, due);
            node.mapped().action();
            continue;
        }
        const std::int64_t interval = node.mapped().interval;
        if (!withRepeating) {
            due += ((until - due) / interval + 1) * interval;
            mTimers.insert(std::move(node));
            continue;
        }
        mMonotonic = std::max(mMonotonic, due);
        // A copy and back into the list before it runs: it may cancel itself.
        const Action action = node.mapped().action;
        due += interval;
        mTimers.insert(std::move(node));
        action();
    }
    mMonotonic = std::max(mMonotonic, until);
}

TimeZoneOfTest::TimeZoneOfTest(const char* name) : mBefore(qgetenv("TZ")) {
    set(name);
}

TimeZoneOfTest::~TimeZoneOfTest() {
    if (mBefore.isNull()) {
        qunsetenv("TZ");
        tzset();
    } else {
        set(mBefore.constData());
    }
}

void TimeZoneOfTest::set(const char* name) {
    qputenv("TZ", name);
    tzset();
}

}  // namespace takebox::test
