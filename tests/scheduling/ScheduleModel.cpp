#include "scheduling/ScheduleModel.h"

#include <algorithm>
#include <ctime>
#include <limits>

namespace takebox::test {
namespace {

constexpr Instant kDay = 86'400'000;
constexpr Instant kPoll = 20;
constexpr Instant kLead = 60;
constexpr Instant kNever = std::numeric_limits<Instant>::max();

std::int64_t offsetAt(Instant instant) {
    const std::time_t seconds = instant / 1000;
    std::tm fields{};
    localtime_r(&seconds, &fields);
    return fields.tm_gmtoff * 1000;
}

bool isOnDay(const PlannedEvent& event, std::int64_t day) {
    const auto weekday = static_cast<std::size_t>((day + 4) % 7);  // day 0 was a Thursday
    return event.day == day || event.weekdays.at(weekday);
}

/// The first poll of the run at or after the instant.
Instant pollFrom(const Stretch& run, Instant instant) {
    const Instant polls = std::max<Instant>((instant - run.from + kPoll - 1) / kPoll, 1);
    return run.from + polls * kPoll;
}

/// The first poll at or after the instant at which the device is there and the window is open.
Instant firstPoll(const Stretch& run, Instant instant, const std::vector<Stretch>& windows,
                  const std::vector<Stretch>& present) {
    for (const auto& window : windows) {
        for (const auto& presence : present) {
            const Instant poll = pollFrom(run, std::max({instant, window.from, presence.from}));
            if (poll < std::min({window.until, presence.until, run.until})) {
                return poll;
            }
        }
    }
    return kNever;
}

/// Follows one device through one run of the program.
void follow(int device, const YearPlan& plan, const std::vector<std::vector<Stretch>>& windows,
            const Stretch& run, std::vector<Recording>& recordings) {
    const auto& present = plan.present.at(static_cast<std::size_t>(device));
    Instant free = run.from;
    std::vector<Instant> ready(plan.events.size(), run.from);
    while (true) {
        Instant earliest = kNever;
        std::size_t chosen = 0;
        for (std::size_t i = 0; i < plan.events.size(); ++i) {
            if (plan.events[i].device != device || ready[i] == kNever) {
                continue;
            }
            const Instant poll = firstPoll(run, std::max(free, ready[i]), windows[i], present);
            if (poll < earliest) {
                earliest = poll;
                chosen = i;
            }
        }
        if (earliest == kNever) {
            return;
        }
        const auto& event = plan.events[chosen];
        const Instant timeOfDay = (earliest + offsetAt(earliest)) % kDay;
        Recording recording{device, static_cast<int>(chosen), earliest, 0, 0, Ending::kStop};
        recording.duration = event.end - timeOfDay / 1000;
        const Instant planned = earliest + recording.duration * 1000;
        const auto presence = std::ranges::find_if(present, [&](const Stretch& stretch) {
            return stretch.from <= earliest && earliest < stretch.until;
        });
        recording.ended = std::min({planned + 180, presence->until, run.until});
        if (recording.ended == run.until) {
            recording.ending = Ending::kQuit;
        } else if (recording.ended == presence->until) {
            recording.ending = Ending::kDeviceGone;
        }
        recordings.push_back(recording);
        // At the moment of the stop itself the poll comes first and still finds it busy.
        free = recording.ended + 1;
        ready[chosen] = event.day ? kNever : planned + 1050;
    }
}

}  // namespace

std::vector<Offset> offsetsOfLocalTime(Stretch year) {
    constexpr Instant kQuarter = 900'000;  // clocks are changed on one
    std::vector<Offset> offsets;
    for (Instant instant = year.from; instant < year.until; instant += kQuarter) {
        const std::int64_t offset = offsetAt(instant);
        if (offsets.empty() || offsets.back().milliseconds != offset) {
            offsets.push_back({{instant, instant}, offset});
        }
        offsets.back().stretch.until = instant + kQuarter;
    }
    return offsets;
}

std::vector<std::vector<Stretch>> windowsOfEvents(const YearPlan& plan) {
    std::vector<std::vector<Stretch>> windows(plan.events.size());
    for (const auto& offset : offsetsOfLocalTime(plan.year)) {
        const auto& [from, until] = offset.stretch;
        const Instant firstDay = (from + offset.milliseconds) / kDay;
        const Instant lastDay = (until + offset.milliseconds) / kDay;
        for (Instant day = firstDay; day <= lastDay; ++day) {
            const Instant midnight = day * kDay - offset.milliseconds;
            for (std::size_t i = 0; i < plan.events.size(); ++i) {
                const auto& event = plan.events[i];
                const Instant opens = midnight + std::max<Instant>(event.start * 1000 - kLead, 0);
                // Open at the end itself, and never past the day.
                const Instant closes = midnight + std::min(event.end * 1000 - kLead + 1, kDay);
                const Stretch window{std::max(opens, from), std::min(closes, until)};
                if (isOnDay(event, day) && window.from < window.until) {
                    windows[i].push_back(window);
                }
            }
        }
    }
    return windows;
}

std::vector<Recording> expectedRecordings(const YearPlan& plan) {
    const auto windows = windowsOfEvents(plan);
    std::vector<Recording> recordings;
    for (int device = 0; device < static_cast<int>(plan.present.size()); ++device) {
        for (const auto& run : plan.runs) {
            follow(device, plan, windows, run, recordings);
        }
    }
    return recordings;
}

}  // namespace takebox::test
