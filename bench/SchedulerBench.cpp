// What one poll of the schedule costs the main thread, which makes fifty of them a second.

#include <benchmark/benchmark.h>

#include "scheduling/CScheduler.h"
#include "scheduling/DeviceListDecks.h"

namespace takebox {
namespace {

void fillList(std::int64_t count, bool areDueToday) {
    gSchedulingEvents = std::make_unique<SchedulingEvents>();
    const QDateTime now = Clock::system().localNow();
    for (std::int64_t i = 0; i < count; ++i) {
        auto event = std::make_shared<CRecordingEvent>();
        event->setDeviceGUID(static_cast<std::uint64_t>(i));
        event->setRecordingName(QString::number(i));
        if (i % 2 == 0) {
            event->setDate(areDueToday ? now.date() : now.date().addDays(2));
        } else {
            event->setShouldRecord(true, (dayOfWeek(now.date()) + (areDueToday ? 0 : 2)) % 7);
        }
        // An hour that is not now: nothing is started, as in nearly every poll.
        event->setStartTime(secondsOfDay(now) < 43200.0 ? 80000.0 : 1000.0);
        event->setDuration(600.0);
        gSchedulingEvents->push_back(event);
    }
}

void poll(benchmark::State& state, bool areDueToday) {
    fillList(state.range(0), areDueToday);
    DeviceListDecks decks;
    CScheduler scheduler(Clock::system(), decks);
    for ([[maybe_unused]] auto step : state) {
        scheduler.schedulerTimer();
    }
    gSchedulingEvents.reset();
}

BENCHMARK_CAPTURE(poll, eventsOfOtherDays, false)
    ->Arg(10)
    ->Arg(1000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(poll, eventsOfToday, true)->Arg(10)->Arg(1000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace takebox

BENCHMARK_MAIN();
