#include "scheduling/ScheduleOverview.h"

#include <QCoreApplication>
#include <QLocale>
#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <utility>

#include "scheduling/ScheduledDecks.h"

namespace takebox {
namespace {

constexpr double kSecondsInDay = CRecordingEvent::kSecondsInDay;

struct Text {
    Q_DECLARE_TR_FUNCTIONS(ScheduleOverview)
};

bool isOnDay(const CRecordingEvent& event, QDate day) {
    return event.date() == day || event.shouldRecordOnDay(dayOfWeek(day));
}

QDateTime timeOnDay(QDate day, double seconds) {
    const int days = static_cast<int>(std::floor(seconds / kSecondsInDay));
    const auto milliseconds = static_cast<int>((seconds - days * kSecondsInDay) * 1000.0);
    return {day.addDays(days), QTime::fromMSecsSinceStartOfDay(milliseconds)};
}

Occurrence occurrenceOnDay(const CRecordingEvent& event, QDate day) {
    const double start = std::max(event.startTime(), 0.0);
    return {timeOnDay(day, start), timeOnDay(day, event.startTime() + event.duration())};
}

// Whether the recording that was planned on one of the event's days would be going on.
std::optional<Occurrence> occurrenceAt(const CRecordingEvent& event, const QDateTime& now) {
    for (const int daysAgo : {0, 1}) {
        const QDate day = now.date().addDays(-daysAgo);
        auto occurrence = occurrenceOnDay(event, day);
        // A start is a moment early and a stop a moment late.
        if (isOnDay(event, day) && occurrence.start.addSecs(-1) <= now &&
            now <= occurrence.end.addSecs(2)) {
            return occurrence;
        }
    }
    return std::nullopt;
}

bool isRunning(const CRecordingEvent& event, const ScheduledDecks& decks, const QDateTime& now) {
    const int index = decks.indexOfDeviceWithGUID(event.deviceGUID());
    return event.alreadyScheduled() && index >= 0 && decks.isRecording(index) &&
           occurrenceAt(event, now);
}

// The state of an event as long as the others of its device are left out of account.
EventState stateOnItsOwn(const CRecordingEvent& event, const std::optional<Occurrence>& next,
                         const ScheduledDecks& decks, const QDateTime& now) {
    if (isRunning(event, decks, now)) {
        return EventState::kRunning;
    }
    if (event.alreadyScheduled() && occurrenceAt(event, now)) {
        return EventState::kDone;
    }
    if (!next) {
        const bool isOnNoDay = !event.date().isValid() && !event.isAnyDaySelected();
        return isOnNoDay || event.duration() <= 0 ? EventState::kNever : EventState::kDone;
    }
    return next->start <= now ? EventState::kWaiting : EventState::kScheduled;
}

QString textOfDay(QDate day, QDate today) {
    if (day == today) {
        return Text::tr("today");
    }
    if (day == today.addDays(1)) {
        return Text::tr("tomorrow");
    }
    return today.daysTo(day) < CRecordingEvent::kDaysInWeek
               ? QLocale().dayName(day.dayOfWeek())
               : QLocale().toString(day, QLocale::ShortFormat);
}

QString textOfTime(const QDateTime& time) {
    return QLocale().toString(time.time(), QLocale::ShortFormat);
}

}  // namespace

std::optional<Occurrence> nextOccurrence(const CRecordingEvent& event, const QDateTime& now) {
    const bool isOneOff = event.date().isValid();
    if (event.duration() <= 0 || (isOneOff && event.alreadyScheduled())) {
        return std::nullopt;
    }
    const auto occurrenceIfDue = [&](QDate day) -> std::optional<Occurrence> {
        const auto occurrence = occurrenceOnDay(event, day);
        const bool isToCome = occurrence.start > now;
        // Taken up late only on the day itself, and not while it is being recorded.
        const bool isDue =
            !isToCome && !event.alreadyScheduled() && day == now.date() && now <= occurrence.end;
        return isOnDay(event, day) && (isToCome || isDue) ? std::optional(occurrence)
                                                          : std::nullopt;
    };
    for (int ahead = 0; ahead <= CRecordingEvent::kDaysInWeek; ++ahead) {
        if (auto occurrence = occurrenceIfDue(now.date().addDays(ahead))) {
            return occurrence;
        }
    }
    return isOneOff ? occurrenceIfDue(event.date()) : std::nullopt;
}

std::shared_ptr<CRecordingEvent> nextEventOfDevice(std::uint64_t deviceGUID,
                                                   const SchedulingEvents& events,
                                                   const QDateTime& now) {
    std::shared_ptr<CRecordingEvent> next;
    QDateTime start;
    for (const auto& event : events) {
        if (event->deviceGUID() != deviceGUID) {
            continue;
        }
        const auto occurrence = nextOccurrence(*event, now);
        if (occurrence && (!next || occurrence->start < start)) {
            next = event;
            start = occurrence->start;
        }
    }
    return next;
}

std::vector<EventStatus> statusOfEvents(const SchedulingEvents& events, const ScheduledDecks& decks,
                                        const QDateTime& now) {
    std::vector<EventStatus> all;
    std::map<std::uint64_t, QDateTime> nextOfDevices;
    for (const auto& event : events) {
        auto next = nextOccurrence(*event, now);
        if (next && next->start > now) {
            auto& earliest =
                nextOfDevices.try_emplace(event->deviceGUID(), next->start).first->second;
            earliest = std::min(earliest, next->start);
        }
        all.push_back({stateOnItsOwn(*event, next, decks, now),
                       decks.indexOfDeviceWithGUID(event->deviceGUID()) < 0, std::move(next)});
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
        auto& status = all[i];
        if (status.state == EventState::kScheduled &&
            status.next->start == nextOfDevices[events[i]->deviceGUID()]) {
            status.state = EventState::kNext;
        }
    }
    return all;
}

QString titleOfEvent(const CRecordingEvent& event) {
    return event.autoNameFile() || event.recordingName().isEmpty() ? Text::tr("automatic name")
                                                                   : event.recordingName();
}

QString textOfWait(qint64 seconds) {
    struct Unit {
        qint64 seconds;
        const char* name;
    };
    static constexpr std::array kUnits{Unit{86400, QT_TRANSLATE_NOOP("ScheduleOverview", "%1 d")},
                                       Unit{3600, QT_TRANSLATE_NOOP("ScheduleOverview", "%1 h")},
                                       Unit{60, QT_TRANSLATE_NOOP("ScheduleOverview", "%1 min")},
                                       Unit{1, QT_TRANSLATE_NOOP("ScheduleOverview", "%1 s")}};
    for (std::size_t i = 0; i < kUnits.size(); ++i) {
        const qint64 count = seconds / kUnits.at(i).seconds;
        if (count <= 0) {
            continue;
        }
        QString result = Text::tr(kUnits.at(i).name).arg(count);
        if (i + 1 < kUnits.size()) {
            const qint64 rest = seconds % kUnits.at(i).seconds / kUnits.at(i + 1).seconds;
            if (rest > 0) {
                result += u' ' + Text::tr(kUnits.at(i + 1).name).arg(rest);
            }
        }
        return result;
    }
    return Text::tr("now");
}

QString textOfWaitUntil(const QDateTime& start, const QDateTime& now) {
    return textOfWait((now.msecsTo(start) + 999) / 1000);
}

QString scheduleOfDevice(std::uint64_t deviceGUID, const SchedulingEvents& events,
                         const ScheduledDecks& decks, const QDateTime& now) {
    QStringList lines;
    for (const auto& event : events) {
        if (event->deviceGUID() == deviceGUID && isRunning(*event, decks, now)) {
            lines.append(
                Text::tr("Recording \"%1\" until %2")
                    .arg(titleOfEvent(*event), textOfTime(occurrenceAt(*event, now)->end)));
        }
    }
    const auto next = nextEventOfDevice(deviceGUID, events, now);
    if (!next) {
        lines.append(Text::tr("No further recording is scheduled"));
        return lines.join(u'\n');
    }
    const auto occurrence = nextOccurrence(*next, now);
    if (occurrence->start <= now) {
        lines.append(Text::tr("\"%1\" is due and waits for the device").arg(titleOfEvent(*next)));
        return lines.join(u'\n');
    }
    lines.append(Text::tr("Next: \"%1\" %2 at %3, in %4")
                     .arg(titleOfEvent(*next), textOfDay(occurrence->start.date(), now.date()),
                          textOfTime(occurrence->start), textOfWaitUntil(occurrence->start, now)));
    return lines.join(u'\n');
}

}  // namespace takebox
