#pragma once

#include <QObject>
#include <memory>

#include "platform/runloop/Clock.h"
#include "scheduling/SchedulingEvents.h"

namespace takebox {

class ScheduledDecks;

/// Starts and stops the recordings of gSchedulingEvents. Fifty times a second it compares the local
/// time of day with every event, so that a start is late by no more than that, follows the clock
/// wherever it is set, and needs no other bookkeeping when events, devices or the time zone change.
///
/// A recording that was started ends after its planned length by a clock that does not jump. Main
/// thread only.
class CScheduler : public QObject {
    Q_OBJECT

public:
    /// @param decks outlives the scheduler, as the clock does.
    CScheduler(Clock& clock, ScheduledDecks& decks);
    ~CScheduler() override;

    void start();
    /// Ends the polling. Recordings that run keep their planned stop.
    void stop();
    [[nodiscard]] bool isRunning() const { return _isRunning; }

    /// One poll.
    void schedulerTimer();

    /// Starts the recording of one event on its device and plans its stop. When the device is
    /// absent or busy that is logged and nothing else happens.
    void performEventNow(const std::shared_ptr<CRecordingEvent>& event);

    /// Lets a weekly event start again.
    void resetAlreadyScheduled(const std::shared_ptr<CRecordingEvent>& event);

    /// Whether both are the same day. No date is never equal to a date.
    [[nodiscard]] static bool isDate(QDate date, QDate equalToDate);

    /// The weekly event that was started last, while it lasts.
    [[nodiscard]] const std::shared_ptr<CRecordingEvent>& currentEvent() const {
        return _currentEvent;
    }
    void setCurrentEvent(std::shared_ptr<CRecordingEvent> event);

Q_SIGNALS:
    /// An event has been started or may start again.
    void scheduleEventsChanged();

private:
    Clock& mClock;
    ScheduledDecks& mDecks;
    Clock::Timer _schedulerTimer = 0;
    bool _isRunning = false;
    std::shared_ptr<CRecordingEvent> _currentEvent;
};

/// The scheduler of this process; null until the application has made it.
extern std::unique_ptr<CScheduler> gScheduler;

}  // namespace takebox
