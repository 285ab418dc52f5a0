#pragma once

#include <QDateTime>
#include <QString>
#include <cstdint>
#include <optional>
#include <vector>

#include "scheduling/SchedulingEvents.h"

/// What the schedule holds for the user to see: when an event is due next, and how it stands.
/// Times follow the clock on the wall, as the scheduler does.
namespace takebox {

class ScheduledDecks;

/// The time from which an event is recorded on one of its days, and until when.
struct Occurrence {
    QDateTime start;
    QDateTime end;
};

enum class EventState {
    kScheduled,  ///< due at some time
    kNext,       ///< the next of its device to become due
    kWaiting,    ///< due now, but its device is absent or busy
    kRunning,    ///< being recorded
    kDone,       ///< over, and not due again (or its recording was ended by hand)
    kNever,      ///< on no day, or without a length
};

/// When the event starts next; one that is due now and has not been started counts.
[[nodiscard]] std::optional<Occurrence> nextOccurrence(const CRecordingEvent& event,
                                                       const QDateTime& now);

/// How an event of the list stands.
struct EventStatus {
    EventState state = EventState::kNever;
    bool isDeviceAbsent = false;
    std::optional<Occurrence> next;
};

/// The status of every event of the list, in its order.
[[nodiscard]] std::vector<EventStatus> statusOfEvents(const SchedulingEvents& events,
                                                      const ScheduledDecks& decks,
                                                      const QDateTime& now);

/// The event of the device that is due next; null when there is none.
[[nodiscard]] std::shared_ptr<CRecordingEvent> nextEventOfDevice(std::uint64_t deviceGUID,
                                                                 const SchedulingEvents& events,
                                                                 const QDateTime& now);

/// The name under which an event is recorded, as the user knows it.
[[nodiscard]] QString titleOfEvent(const CRecordingEvent& event);

/// A length of time in its two largest units, such as "2 h 5 min"; "now" below a second.
[[nodiscard]] QString textOfWait(qint64 seconds);

/// The same for the time that is left until a start; it reaches "now" with it and not a second
/// before.
[[nodiscard]] QString textOfWaitUntil(const QDateTime& start, const QDateTime& now);

/// What the schedule has for a device, for the tool tip of its window: the event that runs, and the
/// next one with the time that is left until it. One line each.
[[nodiscard]] QString scheduleOfDevice(std::uint64_t deviceGUID, const SchedulingEvents& events,
                                       const ScheduledDecks& decks, const QDateTime& now);

}  // namespace takebox
