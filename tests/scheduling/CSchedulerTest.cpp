#include "scheduling/CScheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QSignalSpy>

#include "scheduling/FakeDecks.h"
#include "support/LogCapture.h"
#include "support/ManualClock.h"

namespace takebox {
namespace {

using ::testing::ElementsAre;

constexpr std::uint64_t kGuid = 0x0800460102030405;
constexpr std::uint64_t kOtherGuid = 0x0800460102030406;
const QDate kMonday(2024, 6, 3);
constexpr auto kNotConnected = "Could not start the event because the device is not connected";
constexpr auto kBusy = "Could not start the event because the device is already recording";

QTime at(int hours, int minutes, int seconds = 0, int milliseconds = 0) {
    return {hours, minutes, seconds, milliseconds};
}

double secondsAt(int hours, int minutes = 0, int seconds = 0) {
    return hours * 3600.0 + minutes * 60.0 + seconds;
}

class Scheduling : public ::testing::Test {
protected:
    explicit Scheduling(const char* timeZone = "Europe/Berlin") : zone(timeZone) {
        gSchedulingEvents = std::make_unique<SchedulingEvents>();
        watch(decks.add(kGuid));
    }
    void TearDown() override { gSchedulingEvents.reset(); }

    void watch(test::FakeDeck& deck) {
        deck.onRecord = [this](auto&) { starts.push_back(clock.localNow()); };
        deck.onStop = [this](auto&) { stops.push_back(clock.localNow()); };
    }

    std::shared_ptr<CRecordingEvent> add(double start, double duration, QDate date,
                                         std::initializer_list<int> days = {}) {
        auto event = std::make_shared<CRecordingEvent>();
        event->setStartTime(start);
        event->setDuration(duration);
        event->setDate(date);
        for (const int day : days) {
            event->setShouldRecord(true, day);
        }
        event->setDeviceGUID(kGuid);
        event->setRecordingName(QStringLiteral("News"));
        gSchedulingEvents->push_back(event);
        return event;
    }
    std::shared_ptr<CRecordingEvent> addWeekly(double start, double duration,
                                               std::initializer_list<int> days) {
        return add(start, duration, {}, days);
    }

    void goTo(QDate date, QTime time) { clock.advanceTo(QDateTime(date, time)); }
    void begin(QDate date, QTime time) {
        clock.setTime(QDateTime(date, time));
        scheduler.start();
    }
    test::FakeDeck& deck() { return *decks.all().front(); }

    test::TimeZoneOfTest zone;
    test::ManualClock clock;
    test::FakeDecks decks;
    test::LogCapture log;
    CScheduler scheduler{clock, decks};
    std::vector<QDateTime> starts;
    std::vector<QDateTime> stops;
};

TEST_F(Scheduling, startsSixtyMillisecondsEarlyAndStopsByThePlannedDuration) {
    add(secondsAt(10), 3600, kMonday);
    begin(kMonday, at(9, 59, 50));
    goTo(kMonday, at(11, 0, 10));
    EXPECT_THAT(starts, ElementsAre(QDateTime(kMonday, at(9, 59, 59, 940))));
    EXPECT_EQ(deck().duration, 3601.0);
    EXPECT_THAT(stops, ElementsAre(QDateTime(kMonday, at(11, 0, 1, 120))));
}

TEST_F(Scheduling, startsAtTheFirstPollInTheWindow) {
    add(secondsAt(10), 3600, kMonday);
    begin(kMonday, at(9, 59, 50, 7));
    goTo(kMonday, at(11, 0, 10));
    EXPECT_THAT(starts, ElementsAre(QDateTime(kMonday, at(9, 59, 59, 947))));
    EXPECT_THAT(stops, ElementsAre(QDateTime(kMonday, at(11, 0, 1, 127))));
}

TEST_F(Scheduling, startsAtMidnightOnTheDayItself) {
    // The lead does not reach back into the day before, which is not the event's.
    add(0, 60, kMonday);
    begin(kMonday.addDays(-1), at(23, 59, 50));
    goTo(kMonday, at(0, 2));
    EXPECT_THAT(starts, ElementsAre(QDateTime(kMonday, at(0, 0))));
    EXPECT_EQ(deck().duration, 60.0);
    EXPECT_THAT(stops, ElementsAre(QDateTime(kMonday, at(0, 1, 0, 180))));
}

TEST_F(Scheduling, tellsTheDeckTheSettingsOfTheEventInOrder) {
    const auto event = add(secondsAt(10), 60, kMonday);
    event->setAutoNameFile(true);
    event->setReferenceMovieFolderPath(QStringLiteral("/ref"));
    event->setSelfContainedMovieFolderPath(QStringLiteral("/mov"));
    event->setRawStreamsFolderPath(QStringLiteral("/raw"));
    event->setCreateReferenceMovie(false);
    event->setCreateSelfContainedMovie(true);
    begin(kMonday, at(10, 0));
    clock.advance(0.02);
    EXPECT_THAT(deck().calls,
                ElementsAre("auto name", "name News", "reference folder /ref",
                            "self-contained folder /mov", "raw folder /raw", "no reference movie",
                            "self-contained movie", "duration", "record"));
    EXPECT_EQ(deck().duration, 60.0);
}

TEST_F(Scheduling, neverStartsAOneOffEventAgain) {
    const auto event = add(secondsAt(10), 60, kMonday);
    begin(kMonday, at(9, 59));
    goTo(kMonday, at(10, 0));
    EXPECT_TRUE(event->alreadyScheduled());
    EXPECT_EQ(scheduler.currentEvent(), nullptr);
    goTo(kMonday, at(10, 5));
    EXPECT_TRUE(event->alreadyScheduled());
    clock.setTime(QDateTime(kMonday, at(9, 59)));
    goTo(kMonday, at(10, 5));
    EXPECT_EQ(starts.size(), 1U);
}

TEST_F(Scheduling, startsAOneOffEventAgainAfterARelaunchInItsWindow) {
    const auto event = add(secondsAt(10), 600, kMonday);
    begin(kMonday, at(10, 0));
    goTo(kMonday, at(10, 2));
    scheduler.stop();
    clock.forgetTimers();
    deck().isRecording = false;
    *event = CRecordingEvent(event->settingsDictionary());

    CScheduler relaunched(clock, decks);
    relaunched.start();
    goTo(kMonday, at(10, 20));
    EXPECT_EQ(starts.size(), 2U);
    EXPECT_EQ(deck().duration, 480.0);
    EXPECT_THAT(stops, ElementsAre(QDateTime(kMonday, at(10, 10, 0, 200))));
}

TEST_F(Scheduling, letsAWeeklyEventStartAgainOneSecondAfterItsStop) {
    const auto event = addWeekly(secondsAt(10), 60, {1});
    begin(kMonday, at(9, 59, 50));
    goTo(kMonday, at(10, 0));
    EXPECT_TRUE(event->alreadyScheduled());
    EXPECT_EQ(scheduler.currentEvent(), event);
    goTo(kMonday, at(10, 1, 1, 989));
    EXPECT_TRUE(event->alreadyScheduled());
    // 61 seconds and 1.05 after 9:59:59.94.
    goTo(kMonday, at(10, 1, 1, 990));
    EXPECT_FALSE(event->alreadyScheduled());
    EXPECT_EQ(scheduler.currentEvent(), nullptr);
    goTo(kMonday, at(10, 5));
    EXPECT_EQ(starts.size(), 1U);
}

TEST_F(Scheduling, startsAWeeklyEventEachWeek) {
    addWeekly(secondsAt(10), 60, {1});
    begin(kMonday, at(9, 59));
    for (int week = 0; week < 3; ++week) {
        clock.skipTo(QDateTime(kMonday.addDays(7 * week), at(9, 59, 58)));
        goTo(kMonday.addDays(7 * week), at(10, 1, 5));
        for (int day = 1; day < 7; ++day) {
            clock.skipTo(QDateTime(kMonday.addDays(7 * week + day), at(9, 59, 58)));
            goTo(kMonday.addDays(7 * week + day), at(10, 0, 2));
        }
    }
    EXPECT_THAT(starts, ElementsAre(QDateTime(kMonday, at(9, 59, 59, 940)),
                                    QDateTime(kMonday.addDays(7), at(9, 59, 59, 940)),
                                    QDateTime(kMonday.addDays(14), at(9, 59, 59, 940))));
    EXPECT_EQ(stops.size(), 3U);
}

TEST_F(Scheduling, startsADatedEventWithAWeekdayOnWhicheverComesFirst) {
    const auto event = add(secondsAt(10), 60, kMonday.addDays(2), {1});
    begin(kMonday, at(9, 59, 59));
    goTo(kMonday, at(10, 2));
    EXPECT_EQ(starts.size(), 1U) << "on the Monday before its date";
    event->setAlreadyScheduled(false);
    clock.skipTo(QDateTime(kMonday.addDays(2), at(9, 59, 58)));
    goTo(kMonday.addDays(2), at(10, 0, 1));
    EXPECT_EQ(starts.size(), 2U) << "on its date";
    clock.skipTo(QDateTime(kMonday.addDays(7), at(9, 59, 58)));
    goTo(kMonday.addDays(7), at(10, 0, 1));
    EXPECT_EQ(starts.size(), 2U) << "once only";
}

TEST_F(Scheduling, neverStartsAnEventOnNoDay) {
    add(0, 86400, {});
    begin(kMonday, at(0, 0));
    clock.advance(2);
    EXPECT_TRUE(starts.empty());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Scheduling, startsEventsOfOneMomentInTheirOrder) {
    add(secondsAt(10), 60, kMonday)->setDeviceGUID(kOtherGuid);
    add(secondsAt(10), 60, kMonday);
    std::vector<std::uint64_t> order;
    const auto note = [&order](test::FakeDeck& started) { order.push_back(started.identifier); };
    deck().onRecord = note;
    decks.add(kOtherGuid).onRecord = note;
    begin(kMonday, at(9, 59, 59, 920));
    clock.advance(0.02);
    EXPECT_THAT(order, ElementsAre(kOtherGuid, kGuid));
}

TEST_F(Scheduling, saysAtEveryPollThatTheDeviceIsAbsentAndStartsLate) {
    const auto event = add(secondsAt(10), 60, kMonday);
    decks.clear();
    begin(kMonday, at(9, 59, 59));
    goTo(kMonday, at(10, 0, 9, 950));
    // From .94 to .94 ten seconds later, both included.
    EXPECT_EQ(log.count(kNotConnected), 501);
    EXPECT_FALSE(event->alreadyScheduled());
    watch(decks.add(kGuid));
    goTo(kMonday, at(10, 2));
    EXPECT_THAT(starts, ElementsAre(QDateTime(kMonday, at(10, 0, 9, 960))));
    EXPECT_EQ(deck().duration, 51.0);
    EXPECT_EQ(log.count(kNotConnected), 501);
}

TEST_F(Scheduling, givesUpWhenTheWindowCloses) {
    add(secondsAt(10), 1, kMonday);
    decks.clear();
    begin(kMonday, at(9, 59, 59));
    goTo(kMonday, at(10, 1));
    // From 9:59:59.94 to 10:00:00.94.
    EXPECT_EQ(log.count(kNotConnected), 51);
}

TEST_F(Scheduling, saysAtEveryPollThatTheDeviceIsBusy) {
    const auto event = add(secondsAt(10), 60, kMonday);
    deck().isRecording = true;
    begin(kMonday, at(10, 0));
    clock.advance(1);
    EXPECT_EQ(log.count(kBusy), 50);
    EXPECT_TRUE(deck().calls.empty());
    EXPECT_FALSE(event->alreadyScheduled());
    deck().isRecording = false;
    clock.advance(1);
    EXPECT_EQ(starts.size(), 1U);
    EXPECT_EQ(deck().duration, 59.0);
}

TEST_F(Scheduling, countsAnEventAsStartedEvenIfTheDeckRefuses) {
    const auto event = add(secondsAt(10), 60, kMonday);
    deck().refusesToRecord = true;
    begin(kMonday, at(10, 0));
    clock.advance(1);
    EXPECT_TRUE(event->alreadyScheduled());
    EXPECT_EQ(starts.size(), 1U);
}

TEST_F(Scheduling, stopsANewerRecordingThatTheUserStartedByHand) {
    add(secondsAt(10), 60, kMonday);
    begin(kMonday, at(10, 0));
    clock.advance(10);
    deck().isRecording = false;
    deck().isRecording = true;
    goTo(kMonday, at(10, 0, 59));
    EXPECT_TRUE(deck().isRecording);
    goTo(kMonday, at(10, 1, 1));
    EXPECT_FALSE(deck().isRecording);
}

TEST_F(Scheduling, stopsTheDeckOfThatStartAndNotItsSuccessor) {
    add(secondsAt(10), 60, kMonday);
    begin(kMonday, at(10, 0));
    clock.advance(10);
    decks.remove(kGuid);
    decks.add(kGuid).isRecording = true;
    goTo(kMonday, at(10, 2));
    EXPECT_TRUE(deck().isRecording);
}

TEST_F(Scheduling, stopsWhatItStartedAfterThePollingEnds) {
    const auto event = addWeekly(secondsAt(10), 60, {1});
    begin(kMonday, at(10, 0));
    clock.advance(1);
    scheduler.stop();
    EXPECT_FALSE(scheduler.isRunning());
    goTo(kMonday, at(10, 2));
    EXPECT_EQ(stops.size(), 1U);
    EXPECT_FALSE(event->alreadyScheduled());
    EXPECT_EQ(clock.pendingTimers(), 0U);
}

TEST_F(Scheduling, outlivesNothing) {
    const auto event = addWeekly(secondsAt(10), 60, {1});
    {
        CScheduler brief(clock, decks);
        clock.setTime(QDateTime(kMonday, at(10, 0)));
        brief.start();
        clock.advance(1);
    }
    gSchedulingEvents->clear();
    goTo(kMonday, at(10, 2));
    EXPECT_EQ(stops.size(), 1U);
    EXPECT_TRUE(event->alreadyScheduled());
}

TEST_F(Scheduling, doesNothingWithoutAListOfEvents) {
    gSchedulingEvents.reset();
    begin(kMonday, at(10, 0));
    clock.advance(1);
    EXPECT_TRUE(starts.empty());
}

TEST_F(Scheduling, pollsOnceAfterBeingStartedTwice) {
    begin(kMonday, at(10, 0));
    scheduler.start();
    EXPECT_EQ(clock.pendingTimers(), 1U);
    scheduler.stop();
    EXPECT_EQ(clock.pendingTimers(), 0U);
}

TEST_F(Scheduling, tellsWhoShowsTheListOfEveryChange) {
    const QSignalSpy spy(&scheduler, &CScheduler::scheduleEventsChanged);
    addWeekly(secondsAt(10), 60, {1});
    begin(kMonday, at(10, 0));
    clock.advance(1);
    EXPECT_EQ(spy.count(), 1);
    goTo(kMonday, at(10, 2));
    EXPECT_EQ(spy.count(), 2);
}

TEST_F(Scheduling, comparesDaysOnly) {
    EXPECT_TRUE(CScheduler::isDate(kMonday, QDate(2024, 6, 3)));
    EXPECT_FALSE(CScheduler::isDate(kMonday, QDate(2024, 6, 4)));
    EXPECT_FALSE(CScheduler::isDate(kMonday, QDate(2024, 7, 3)));
    EXPECT_FALSE(CScheduler::isDate(kMonday, QDate(2025, 6, 3)));
    EXPECT_FALSE(CScheduler::isDate(kMonday, {}));
    EXPECT_FALSE(CScheduler::isDate({}, kMonday));
    EXPECT_FALSE(CScheduler::isDate({}, {}));
}

// Events that cross midnight

TEST_F(Scheduling, startsAStoredEventPastMidnightBeforeMidnight) {
    addWeekly(secondsAt(23), 7200, {1});
    begin(kMonday, at(22, 59, 59));
    goTo(kMonday.addDays(1), at(2, 0));
    EXPECT_THAT(starts, ElementsAre(QDateTime(kMonday, at(22, 59, 59, 940))));
    EXPECT_EQ(deck().duration, 7201.0);
    EXPECT_THAT(stops, ElementsAre(QDateTime(kMonday.addDays(1), at(1, 0, 1, 120))));
}

TEST_F(Scheduling, takesUpAStoredEventUntilMidnightOfItsDay) {
    decks.clear();
    addWeekly(secondsAt(23), 7200, {1});
    begin(kMonday, at(23, 59, 59, 900));
    clock.advance(0.1);
    // From .92 to .98; the poll of the next day does not find it.
    EXPECT_EQ(log.count(kNotConnected), 4);
    clock.advance(10);
    EXPECT_EQ(log.count(kNotConnected), 4);
}

/// An event as it is before it was ever stored: its end before its start.
std::shared_ptr<CRecordingEvent> crossing(const std::shared_ptr<CRecordingEvent>& event,
                                          double end) {
    event->setEndTime(end);
    return event;
}

TEST_F(Scheduling, plansTheStopOfACrossingEventForTheNextDay) {
    crossing(addWeekly(secondsAt(23), 0, {1}), secondsAt(1));
    begin(kMonday, at(22, 59, 59));
    goTo(kMonday.addDays(1), at(2, 0));
    EXPECT_THAT(starts, ElementsAre(QDateTime(kMonday, at(22, 59, 59, 940))));
    EXPECT_EQ(deck().duration, 7201.0);
    EXPECT_THAT(stops, ElementsAre(QDateTime(kMonday.addDays(1), at(1, 0, 1, 120))));
}

TEST_F(Scheduling, closesTheWindowOfACrossingEventAtMidnight) {
    decks.clear();
    crossing(addWeekly(secondsAt(23), 0, {1}), secondsAt(1));
    begin(kMonday, at(23, 59, 59, 900));
    clock.advance(0.1);
    // With the lead, midnight is reached at .94; after that the window is past.
    EXPECT_EQ(log.count(kNotConnected), 2);
}

TEST_F(Scheduling, carriesTheEndOfAnEventIntoTheWindowOfTheCrossingEventAfterIt) {
    decks.clear();
    addWeekly(secondsAt(8), 3600, {1});
    crossing(addWeekly(secondsAt(23), 0, {1}), secondsAt(1));
    begin(kMonday, at(23, 59, 59, 900));
    clock.advance(0.1);
    // 86400 and the 9 hours of the event before it: open until the day ends.
    EXPECT_EQ(log.count(kNotConnected), 4);
}

TEST_F(Scheduling, carriesNoEndFromAnEventOfAnotherDayOrOneThatHasStarted) {
    decks.clear();
    addWeekly(secondsAt(8), 3600, {2});
    addWeekly(secondsAt(8), 3600, {1})->setAlreadyScheduled(true);
    crossing(addWeekly(secondsAt(23), 0, {1}), secondsAt(1));
    begin(kMonday, at(23, 59, 59, 900));
    clock.advance(0.1);
    EXPECT_EQ(log.count(kNotConnected), 2);
}

TEST_F(Scheduling, addsADayForEveryFurtherCrossingEvent) {
    decks.clear();
    crossing(addWeekly(secondsAt(23), 0, {1}), secondsAt(1));
    crossing(addWeekly(secondsAt(23), 0, {1}), secondsAt(1));
    begin(kMonday, at(23, 59, 59, 900));
    clock.advance(0.1);
    EXPECT_EQ(log.count(kNotConnected), 2 + 4);
}

TEST_F(Scheduling, startsTheRunningEndAnewAtEveryPoll) {
    decks.clear();
    crossing(addWeekly(secondsAt(23), 0, {1}), secondsAt(1));
    addWeekly(secondsAt(8), 3600, {1});
    begin(kMonday, at(23, 59, 59, 900));
    clock.advance(0.1);
    EXPECT_EQ(log.count(kNotConnected), 2);
}

}  // namespace
}  // namespace takebox
