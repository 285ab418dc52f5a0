#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

/// What a schedule must do, worked out on paper: for every event the stretches of time in which it
/// may start are written down for the whole year, and each device is then followed from one
/// recording to the next. Shares nothing with the scheduler, and polls nothing.
namespace takebox::test {

/// Milliseconds since 1970.
using Instant = std::int64_t;

struct Stretch {
    Instant from;
    Instant until;  // exclusive
};

struct PlannedEvent {
    int device = 0;
    std::optional<std::int64_t> day;  // days since 1970 of a one-off event
    std::array<bool, 7> weekdays{};   // from Sunday
    std::int64_t start = 0;           // seconds after midnight
    std::int64_t end = 0;             // beyond 86400 on the next day
};

enum class Ending { kStop, kDeviceGone, kQuit };

struct Recording {
    int device = 0;
    int event = 0;
    Instant started = 0;
    std::int64_t duration = 0;  // seconds, as announced to the device
    Instant ended = 0;
    Ending ending = Ending::kStop;

    friend bool operator==(const Recording&, const Recording&) = default;
};

struct YearPlan {
    Stretch year{};
    std::vector<PlannedEvent> events;           // in the order of the list
    std::vector<Stretch> runs;                  // of the program
    std::vector<std::vector<Stretch>> present;  // of each device
};

/// A stretch of time in which local time is Greenwich time plus so many milliseconds.
struct Offset {
    Stretch stretch;
    std::int64_t milliseconds;
};
std::vector<Offset> offsetsOfLocalTime(Stretch year);

/// All recordings, by device and then by time.
std::vector<Recording> expectedRecordings(const YearPlan& plan);

/// When each event may start.
std::vector<std::vector<Stretch>> windowsOfEvents(const YearPlan& plan);

}  // namespace takebox::test
