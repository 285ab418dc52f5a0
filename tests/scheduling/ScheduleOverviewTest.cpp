#include "scheduling/ScheduleOverview.h"

#include <gtest/gtest.h>

#include <QLocale>
#include <algorithm>

#include "scheduling/FakeDecks.h"
#include "support/ManualClock.h"

namespace takebox {
namespace {

const QDate kMonday(2024, 6, 3);

class Overview : public ::testing::Test {
protected:
    Overview() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom)); }
    void TearDown() override { QLocale::setDefault(QLocale::c()); }

    std::shared_ptr<CRecordingEvent> add(const char* name, QTime start, double duration, QDate date,
                                         std::initializer_list<int> days = {}) {
        auto event = std::make_shared<CRecordingEvent>();
        event->setRecordingName(QString::fromLatin1(name));
        event->setDeviceGUID(1);
        event->setStartTime(start.msecsSinceStartOfDay() / 1000.0);
        event->setDuration(duration);
        event->setDate(date);
        for (const int day : days) {
            event->setShouldRecord(true, day);
        }
        events.push_back(event);
        return event;
    }
    [[nodiscard]] EventState state(const std::shared_ptr<CRecordingEvent>& event) const {
        const auto place = std::ranges::find(events, event) - events.begin();
        return statusOfEvents(events, decks, now).at(static_cast<std::size_t>(place)).state;
    }
    [[nodiscard]] std::string schedule() const {
        return scheduleOfDevice(1, events, decks, now).toStdString();
    }
    void expectNext(const std::shared_ptr<CRecordingEvent>& event, const QDateTime& start) const {
        const auto occurrence = nextOccurrence(*event, now);
        ASSERT_TRUE(occurrence);
        EXPECT_EQ(occurrence->start, start);
        EXPECT_EQ(occurrence->end, start.addMSecs(static_cast<qint64>(event->duration() * 1000)));
    }

    test::TimeZoneOfTest zone{"Europe/Berlin"};
    test::FakeDecks decks;
    test::FakeDeck& deck = decks.add(1);
    SchedulingEvents events;
    QDateTime now{kMonday, QTime(12, 0)};
};

TEST_F(Overview, findsTheDateOfAOneOffEvent) {
    const auto event = add("News", QTime(20, 0), 1800, kMonday.addDays(40));
    expectNext(event, QDateTime(kMonday.addDays(40), QTime(20, 0)));
    event->setDate(kMonday);
    expectNext(event, QDateTime(kMonday, QTime(20, 0)));
    event->setDate(kMonday.addDays(-1));
    EXPECT_FALSE(nextOccurrence(*event, now));
}

TEST_F(Overview, findsTheNextWeekdayOfAWeeklyEvent) {
    expectNext(add("A", QTime(20, 0), 1800, {}, {1}), QDateTime(kMonday, QTime(20, 0)));
    expectNext(add("B", QTime(8, 0), 1800, {}, {1}), QDateTime(kMonday.addDays(7), QTime(8, 0)));
    expectNext(add("C", QTime(8, 0), 1800, {}, {0, 3}), QDateTime(kMonday.addDays(2), QTime(8, 0)));
}

TEST_F(Overview, findsTheEndOnTheNextDay) {
    const auto event = add("Night", QTime(23, 0), 7200, kMonday);
    const auto occurrence = nextOccurrence(*event, now);
    ASSERT_TRUE(occurrence);
    EXPECT_EQ(occurrence->end, QDateTime(kMonday.addDays(1), QTime(1, 0)));
}

TEST_F(Overview, countsAnEventThatIsDueAndNotStarted) {
    const auto event = add("News", QTime(11, 30), 3600, {}, {1});
    expectNext(event, QDateTime(kMonday, QTime(11, 30)));
    event->setAlreadyScheduled(true);
    expectNext(event, QDateTime(kMonday.addDays(7), QTime(11, 30)));
}

TEST_F(Overview, tellsNextFromLater) {
    const auto tomorrow = add("Tomorrow", QTime(9, 0), 60, kMonday.addDays(1));
    const auto tonight = add("Tonight", QTime(20, 0), 60, kMonday);
    const auto other = add("Other deck", QTime(21, 0), 60, kMonday);
    other->setDeviceGUID(2);
    EXPECT_EQ(state(tomorrow), EventState::kScheduled);
    EXPECT_EQ(state(tonight), EventState::kNext);
    EXPECT_EQ(state(other), EventState::kNext);
    EXPECT_EQ(nextEventOfDevice(1, events, now), tonight);
    EXPECT_EQ(nextEventOfDevice(3, events, now), nullptr);
}

TEST_F(Overview, tellsARunningEventFromOneThatIsOver) {
    const auto event = add("News", QTime(11, 30), 3600, kMonday);
    EXPECT_EQ(state(event), EventState::kWaiting);
    event->setAlreadyScheduled(true);
    EXPECT_EQ(state(event), EventState::kDone) << "ended by hand";
    deck.isRecording = true;
    EXPECT_EQ(state(event), EventState::kRunning);
    now = now.addSecs(1801);
    EXPECT_EQ(state(event), EventState::kRunning) << "stops a moment late";
    now = now.addSecs(10);
    EXPECT_EQ(state(event), EventState::kDone) << "what records now is another";
}

TEST_F(Overview, followsARunningEventPastMidnight) {
    const auto event = add("Night", QTime(23, 0), 7200, {}, {0});
    event->setAlreadyScheduled(true);
    deck.isRecording = true;
    now = QDateTime(kMonday, QTime(0, 30));
    EXPECT_EQ(state(event), EventState::kRunning);
}

TEST_F(Overview, seesAPastEventAsDoneAndOneOnNoDayAsNever) {
    EXPECT_EQ(state(add("Past", QTime(9, 0), 60, kMonday.addDays(-3))), EventState::kDone);
    EXPECT_EQ(state(add("No day", QTime(9, 0), 60, {})), EventState::kNever);
    EXPECT_EQ(state(add("No length", QTime(9, 0), 0, {}, {1})), EventState::kNever);
}

TEST_F(Overview, writesAWaitInItsTwoLargestUnits) {
    EXPECT_EQ(textOfWait(0), QStringLiteral("now"));
    EXPECT_EQ(textOfWait(-5), QStringLiteral("now"));
    EXPECT_EQ(textOfWait(59), QStringLiteral("59 s"));
    EXPECT_EQ(textOfWait(60), QStringLiteral("1 min"));
    EXPECT_EQ(textOfWait(61), QStringLiteral("1 min 1 s"));
    EXPECT_EQ(textOfWait(7500), QStringLiteral("2 h 5 min"));
    EXPECT_EQ(textOfWait(86400 + 59), QStringLiteral("1 d"));
    EXPECT_EQ(textOfWait(10 * 86400 + 3600), QStringLiteral("10 d 1 h"));
}

TEST_F(Overview, tellsADeviceWhatItsScheduleIs) {
    EXPECT_EQ(schedule(), "No further recording is scheduled");
    const auto news = add("News", QTime(20, 0), 1800, kMonday);
    EXPECT_EQ(schedule(), "Next: \"News\" today at 20:00, in 8 h");
    news->setDate(kMonday.addDays(1));
    EXPECT_EQ(schedule(), "Next: \"News\" tomorrow at 20:00, in 1 d 8 h");
    news->setDate(kMonday.addDays(3));
    EXPECT_EQ(schedule(), "Next: \"News\" Thursday at 20:00, in 3 d 8 h");
    news->setDate(kMonday.addDays(8));
    EXPECT_EQ(schedule(), "Next: \"News\" 11/06/2024 at 20:00, in 8 d 8 h");
    news->setAutoNameFile(true);
    EXPECT_EQ(schedule(), "Next: \"automatic name\" 11/06/2024 at 20:00, in 8 d 8 h");
}

TEST_F(Overview, countsDownToTheSecondOfTheStart) {
    add("News", QTime(12, 0, 2), 60, kMonday);
    EXPECT_EQ(schedule(), "Next: \"News\" today at 12:00, in 2 s");
    now = now.addMSecs(1001);
    EXPECT_EQ(schedule(), "Next: \"News\" today at 12:00, in 1 s");
    now = now.addMSecs(999);
    EXPECT_EQ(schedule(), "\"News\" is due and waits for the device");
}

TEST_F(Overview, tellsADeviceWhatRunsAndWhatComes) {
    add("News", QTime(11, 30), 3600, kMonday)->setAlreadyScheduled(true);
    add("Weather", QTime(13, 0), 60, kMonday);
    deck.isRecording = true;
    EXPECT_EQ(schedule(),
              "Recording \"News\" until 12:30\nNext: \"Weather\" today at 13:00, in 1 h");
}

}  // namespace
}  // namespace takebox
