// The schedule follows the clock on the wall: what happens when that is changed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QTimeZone>

#include "scheduling/CScheduler.h"
#include "scheduling/FakeDecks.h"
#include "support/LogCapture.h"
#include "support/ManualClock.h"

namespace takebox {
namespace {

using ::testing::ElementsAre;

const QDate kSpring(2024, 3, 31);   // 2:00 becomes 3:00 in Berlin
const QDate kAutumn(2024, 10, 27);  // 3:00 becomes 2:00
const QDate kMonday(2024, 6, 3);

class ClockChanges : public ::testing::Test {
protected:
    ClockChanges() {
        gSchedulingEvents = std::make_unique<SchedulingEvents>();
        auto& deck = decks.add(1);
        deck.onRecord = [this](test::FakeDeck& started) {
            EXPECT_EQ(running, 0) << "started twice";
            ++running;
            starts.push_back(wall());
            durations.push_back(started.duration);
        };
        deck.onStop = [this](test::FakeDeck&) {
            --running;
            stops.push_back(wall());
        };
    }
    void TearDown() override { gSchedulingEvents.reset(); }

    std::shared_ptr<CRecordingEvent> add(QTime start, double duration, bool isWeekly, QDate date) {
        auto event = std::make_shared<CRecordingEvent>();
        event->setStartTime(start.msecsSinceStartOfDay() / 1000.0);
        event->setDuration(duration);
        if (isWeekly) {
            event->setShouldRecord(true, dayOfWeek(date));
        } else {
            event->setDate(date);
        }
        event->setDeviceGUID(1);
        event->setRecordingName(QStringLiteral("News"));
        gSchedulingEvents->push_back(event);
        return event;
    }

    /// From the start of the day to that of the next.
    void passDay(QDate date) {
        clock.setTime(date.startOfDay());
        scheduler.start();
        clock.advanceTo(date.addDays(1).startOfDay());
        scheduler.stop();
        EXPECT_EQ(running, 0) << "not stopped";
    }

    [[nodiscard]] std::string wall() const {
        const QDateTime now = clock.localNow();
        return now.toString(QStringLiteral("hh:mm:ss.zzz t")).toStdString();
    }

    test::TimeZoneOfTest zone{"Europe/Berlin"};
    test::ManualClock clock;
    test::FakeDecks decks;
    test::LogCapture log;
    CScheduler scheduler{clock, decks};
    int running = 0;
    std::vector<std::string> starts;
    std::vector<std::string> stops;
    std::vector<double> durations;
};

TEST_F(ClockChanges, startAnEventOfTheMissingHourWhenTheHourIsSkipped) {
    add(QTime(2, 30), 3600, true, kSpring);
    passDay(kSpring);
    EXPECT_THAT(starts, ElementsAre("03:00:00.000 CEST"));
    EXPECT_THAT(durations, ElementsAre(1800.0));
    EXPECT_THAT(stops, ElementsAre("03:30:00.180 CEST"));
}

TEST_F(ClockChanges, leaveOutAnEventThatLiesInTheMissingHour) {
    add(QTime(2, 15), 1800, true, kSpring);
    passDay(kSpring);
    EXPECT_TRUE(starts.empty());
}

TEST_F(ClockChanges, keepThePlannedLengthOverTheMissingHour) {
    add(QTime(1, 0), 2 * 3600.0, true, kSpring);
    passDay(kSpring);
    EXPECT_THAT(starts, ElementsAre("00:59:59.940 CET"));
    EXPECT_THAT(durations, ElementsAre(7201.0));
    EXPECT_THAT(stops, ElementsAre("04:00:01.120 CEST"));
}

TEST_F(ClockChanges, startAWeeklyEventInBothOfTheDoubledHours) {
    add(QTime(2, 15), 600, true, kAutumn);
    passDay(kAutumn);
    EXPECT_THAT(starts, ElementsAre("02:14:59.940 CEST", "02:14:59.940 CET"));
    EXPECT_THAT(stops, ElementsAre("02:25:01.120 CEST", "02:25:01.120 CET"));
}

TEST_F(ClockChanges, startAOneOffEventInTheFirstOfTheDoubledHours) {
    add(QTime(2, 15), 600, false, kAutumn);
    passDay(kAutumn);
    EXPECT_THAT(starts, ElementsAre("02:14:59.940 CEST"));
    EXPECT_THAT(stops, ElementsAre("02:25:01.120 CEST"));
}

TEST_F(ClockChanges, takeUpAWeeklyEventAgainForTheHourThatWasAdded) {
    // The planned length is over at 3:00 by the clock on the wall, in the middle of the window.
    add(QTime(1, 0), 3 * 3600.0, true, kAutumn);
    passDay(kAutumn);
    EXPECT_THAT(starts, ElementsAre("00:59:59.940 CEST", "03:00:02.000 CET"));
    EXPECT_THAT(durations, ElementsAre(10801.0, 3598.0));
    EXPECT_THAT(stops, ElementsAre("03:00:01.120 CET", "04:00:00.180 CET"));
}

TEST_F(ClockChanges, doNotStartARunningEventAgainWhenTheClockIsSetBack) {
    add(QTime(10, 0), 600, true, kMonday);
    clock.setTime(QDateTime(kMonday, QTime(9, 59, 50)));
    scheduler.start();
    clock.advanceTo(QDateTime(kMonday, QTime(10, 9)));
    clock.setTime(QDateTime(kMonday, QTime(9, 59, 30)));
    clock.advance(61);
    EXPECT_EQ(running, 1) << "past the start for the second time";
    EXPECT_EQ(starts.size(), 1U);
    clock.advance(2);
    // The planned length was over; what is left of the window by the new time is recorded as well.
    EXPECT_THAT(stops, ElementsAre("10:00:31.120 CEST"));
    EXPECT_THAT(starts, ElementsAre("09:59:59.940 CEST", "10:00:32.000 CEST"));
    clock.advance(1000);
    EXPECT_EQ(running, 0);
    EXPECT_EQ(starts.size(), 2U);
    EXPECT_EQ(stops.back(), "10:10:00.180 CEST");
}

TEST_F(ClockChanges, doNotStartAOneOffEventAgainWhenTheClockIsSetBackAfterIt) {
    add(QTime(10, 0), 600, false, kMonday);
    clock.setTime(QDateTime(kMonday, QTime(9, 59, 50)));
    scheduler.start();
    clock.advance(700);
    clock.setTime(QDateTime(kMonday, QTime(9, 59, 50)));
    clock.advance(700);
    EXPECT_EQ(starts.size(), 1U);
    EXPECT_EQ(stops.size(), 1U);
}

TEST_F(ClockChanges, stopARunningEventInTimeWhenTheClockIsSetForward) {
    add(QTime(10, 0), 600, true, kMonday);
    clock.setTime(QDateTime(kMonday, QTime(9, 59, 50)));
    scheduler.start();
    clock.advance(60);
    clock.setTime(QDateTime(kMonday, QTime(15, 0)));
    clock.advance(700);
    EXPECT_EQ(starts.size(), 1U);
    // 550 of the 601 seconds were left, less the 0.06 of the early start, and 0.18 more.
    EXPECT_THAT(stops, ElementsAre("15:09:11.120 CEST"));
}

TEST_F(ClockChanges, startAnEventWhoseStartWasPassedOverLate) {
    add(QTime(10, 0), 600, false, kMonday);
    clock.setTime(QDateTime(kMonday, QTime(9, 0)));
    scheduler.start();
    clock.advance(1);
    clock.setTime(QDateTime(kMonday, QTime(10, 5)));
    clock.advance(1000);
    EXPECT_THAT(starts, ElementsAre("10:05:00.020 CEST"));
    EXPECT_THAT(durations, ElementsAre(300.0));
}

TEST_F(ClockChanges, leaveOutAnEventThatWasPassedOverWhole) {
    add(QTime(10, 0), 600, false, kMonday);
    clock.setTime(QDateTime(kMonday, QTime(9, 0)));
    scheduler.start();
    clock.advance(1);
    clock.setTime(QDateTime(kMonday, QTime(10, 30)));
    clock.advance(1000);
    EXPECT_TRUE(starts.empty());
}

TEST_F(ClockChanges, followTheTimeZoneOfTheProcess) {
    add(QTime(10, 0), 600, true, kMonday);
    clock.setTime(QDateTime(kMonday, QTime(9, 30)));
    scheduler.start();
    clock.advance(1);
    test::TimeZoneOfTest::set("Europe/Lisbon");
    clock.advanceTo(QDateTime(kMonday, QTime(9, 59, 59)));
    EXPECT_TRUE(starts.empty()) << "it is an hour earlier here";
    clock.advance(700);
    EXPECT_THAT(starts, ElementsAre("09:59:59.940 WEST"));
    EXPECT_EQ(running, 0);
}

TEST_F(ClockChanges, keepARunningEventGoingThroughAChangeOfTimeZone) {
    add(QTime(10, 0), 600, true, kMonday);
    clock.setTime(QDateTime(kMonday, QTime(9, 59, 50)));
    scheduler.start();
    clock.advance(60);
    test::TimeZoneOfTest::set("America/New_York");
    clock.advance(700);
    EXPECT_EQ(starts.size(), 1U);
    EXPECT_EQ(stops.size(), 1U);
    test::TimeZoneOfTest::set("Europe/Berlin");
}

TEST_F(ClockChanges, mayHappenEverySecondWithoutALostStop) {
    add(QTime(10, 0), 5, true, kMonday);
    add(QTime(10, 0), 7, false, kMonday);
    clock.setTime(QDateTime(kMonday, QTime(9, 59, 50)));
    scheduler.start();
    for (int i = 0; i < 2000; ++i) {
        clock.setTime(QDateTime(kMonday, QTime(10, 0)).addSecs((i * 37) % 61 - 30));
        clock.advance(0.5);
        ASSERT_LE(running, 1);
    }
    scheduler.stop();
    clock.advance(100);
    EXPECT_EQ(running, 0);
    EXPECT_EQ(starts.size(), stops.size());
    EXPECT_GT(starts.size(), 10U);
}

}  // namespace
}  // namespace takebox
