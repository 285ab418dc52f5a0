#include "scheduling/CScheduler.h"

#include <QPointer>
#include <cmath>
#include <utility>

#include "platform/log/Log.h"
#include "scheduling/ScheduledDecks.h"

namespace takebox {
namespace {

constexpr double kPollInterval = 0.02;
// Events fire slightly before their nominal second: a deck takes a moment to start.
constexpr double kLead = 0.06;
constexpr double kStopDelay = 0.18;
// Long enough after the stop that the time of day is past the end of the event.
constexpr double kResetDelay = 1.05;

}  // namespace

std::unique_ptr<CScheduler> gScheduler;

CScheduler::CScheduler(Clock& clock, ScheduledDecks& decks) : mClock(clock), mDecks(decks) {}

CScheduler::~CScheduler() {
    if (_isRunning) {
        stop();
    }
}

void CScheduler::start() {
    // A second timer would never be cancelled.
    mClock.cancel(_schedulerTimer);
    _schedulerTimer = mClock.callEvery(kPollInterval, [this] { schedulerTimer(); });
    _isRunning = true;
}

void CScheduler::stop() {
    _isRunning = false;
    mClock.cancel(std::exchange(_schedulerTimer, 0));
}

void CScheduler::schedulerTimer() {
    if (!gSchedulingEvents || gSchedulingEvents->empty()) {
        return;  // without a look at the local time, which costs more than all the rest
    }
    const QDateTime localTime = mClock.localNow();
    const QDate today = localTime.date();
    const int weekday = dayOfWeek(today);
    const double now = secondsOfDay(localTime) + kLead;
    // Carried from one event to the next on purpose: an event whose end lies before its start ends
    // a day after the event before it.
    double runningEnd = 0.0;
    // By index: what a start sets off may change the list.
    for (std::size_t i = 0; i < gSchedulingEvents->size(); ++i) {
        const auto& event = (*gSchedulingEvents)[i];
        if (event->alreadyScheduled()) {
            continue;
        }
        if (!isDate(today, event->date()) && !event->shouldRecordOnDay(weekday)) {
            continue;
        }
        if (event->startTime() > event->endTime()) {
            runningEnd += CRecordingEvent::kSecondsInDay;
        } else {
            runningEnd = event->endTime();
        }
        if (runningEnd >= now && now >= event->startTime()) {
            performEventNow(std::shared_ptr(event));
        }
    }
}

void CScheduler::performEventNow(const std::shared_ptr<CRecordingEvent>& event) {
    const int index = mDecks.indexOfDeviceWithGUID(event->deviceGUID());
    if (index < 0) {
        logMessage("Could not start the event because the device is not connected");
        return;
    }
    if (mDecks.isRecording(index)) {
        logMessage("Could not start the event because the device is already recording");
        return;
    }
    const auto deck = mDecks.deckAtIndex(index);
    deck->setAutoNameRecordings(event->autoNameFile());
    deck->setRecordingName(event->recordingName());
    deck->setReferenceMovieFolderPath(event->referenceMovieFolderPath());
    deck->setSelfContainedRecordingFolderPath(event->selfContainedMovieFolderPath());
    deck->setRawRecordingFolderPath(event->rawStreamsFolderPath());
    deck->setCreateReferenceMovie(event->createReferenceMovie());
    deck->setCreateSelfContainedMovie(event->createSelfContainedMovie());
    setCurrentEvent(event);

    double end = event->endTime();
    if (event->startTime() > event->endTime()) {
        // Once only, although the two stay as they are: the end is on the next day.
        end += CRecordingEvent::kSecondsInDay;
    }
    const double duration = end - std::floor(secondsOfDay(mClock.localNow()));
    deck->setReferenceMovieDuration(duration);
    deck->recordButtonPushed();
    // Not cancelled by anything. It holds the deck, as the deck may leave the list before.
    mClock.callLater(duration + kStopDelay, [deck] { deck->stopButtonPushed(); });
    event->setAlreadyScheduled(true);
    if (event->date().isValid()) {
        setCurrentEvent(nullptr);
    } else {
        mClock.callLater(duration + kResetDelay, [scheduler = QPointer<CScheduler>(this), event] {
            if (scheduler) {
                scheduler->resetAlreadyScheduled(event);
            }
        });
    }
    Q_EMIT scheduleEventsChanged();
}

void CScheduler::resetAlreadyScheduled(const std::shared_ptr<CRecordingEvent>& event) {
    event->setAlreadyScheduled(false);
    setCurrentEvent(nullptr);
    Q_EMIT scheduleEventsChanged();
}

bool CScheduler::isDate(QDate date, QDate equalToDate) {
    return date.isValid() && date == equalToDate;
}

void CScheduler::setCurrentEvent(std::shared_ptr<CRecordingEvent> event) {
    _currentEvent = std::move(event);
}

}  // namespace takebox
