#include "scheduling/CRecordingEvent.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QLocale>

#include "support/ManualClock.h"

namespace takebox {
namespace {

constexpr double kHour = 3600.0;
const QDate kMonday(2024, 6, 3);

/// Puts back the language of the process.
class LocaleOfTest {
public:
    explicit LocaleOfTest(const char* name) {
        QLocale::setDefault(QLocale(QString::fromLatin1(name)));
    }
    ~LocaleOfTest() { QLocale::setDefault(QLocale::c()); }
    LocaleOfTest(const LocaleOfTest&) = delete;
    LocaleOfTest& operator=(const LocaleOfTest&) = delete;
};

CRecordingEvent named(const char* name = "News") {
    CRecordingEvent event;
    event.setRecordingName(QString::fromUtf8(name));
    return event;
}

CRecordingEvent timed(double start, double duration) {
    auto event = named();
    event.setStartTime(start);
    event.setDuration(duration);
    return event;
}

TEST(CRecordingEvent, startsWithItsDefaults) {
    const CRecordingEvent event;
    EXPECT_TRUE(event.date().isNull());
    EXPECT_FALSE(event.isAnyDaySelected());
    EXPECT_FALSE(event.alreadyScheduled());
    EXPECT_TRUE(event.createReferenceMovie());
    EXPECT_FALSE(event.createSelfContainedMovie());
    EXPECT_FALSE(event.autoNameFile());
    EXPECT_EQ(event.startTime(), 0.0);
    EXPECT_EQ(event.duration(), 0.0);
    EXPECT_EQ(event.endTime(), 0.0);
    EXPECT_EQ(event.deviceGUID(), 0U);
    EXPECT_TRUE(event.recordingName().isNull());
    EXPECT_EQ(event.referenceMovieFolderPath(), QStringLiteral("/"));
    EXPECT_EQ(event.selfContainedMovieFolderPath(), QStringLiteral("/"));
    EXPECT_EQ(event.rawStreamsFolderPath(), QStringLiteral("/"));
    EXPECT_EQ(event.deviceString(), QString());
    EXPECT_EQ(event.uuid().size(), 36);
    EXPECT_NE(event.uuid(), CRecordingEvent().uuid());
}

TEST(CRecordingEvent, aCopyIsTheSameEvent) {
    auto event = timed(10 * kHour, kHour);
    event.setAlreadyScheduled(true);
    const CRecordingEvent copy = event;  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.uuid(), event.uuid());
    EXPECT_TRUE(copy.alreadyScheduled());
    EXPECT_EQ(copy.settingsDictionary(), event.settingsDictionary());
}

TEST(CRecordingEvent, aCopyHasItsEndBehindMidnight) {
    auto event = timed(23 * kHour, kHour);
    event.setEndTime(kHour);
    EXPECT_EQ(event.endTime(), kHour);
    const CRecordingEvent copy = event;  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.startTime(), 23 * kHour);
    EXPECT_EQ(copy.duration(), 2 * kHour);
    EXPECT_EQ(copy.endTime(), 25 * kHour);
    CRecordingEvent assigned;
    assigned = event;
    EXPECT_EQ(assigned.endTime(), 25 * kHour);
    EXPECT_EQ(event.endTime(), kHour);
}

TEST(CRecordingEvent, keepsItsDurationWhenTheStartMoves) {
    auto event = timed(10 * kHour, kHour);
    event.setStartTime(11 * kHour);
    EXPECT_EQ(event.endTime(), 12 * kHour);
    EXPECT_EQ(event.duration(), kHour);
}

TEST(CRecordingEvent, movesItsEndWithTheDuration) {
    auto event = timed(10 * kHour, kHour);
    event.setDuration(90);
    EXPECT_EQ(event.endTime(), 10 * kHour + 90);
    EXPECT_EQ(event.startTime(), 10 * kHour);
}

TEST(CRecordingEvent, takesAnEndBeforeTheStartAsTheNextDay) {
    CRecordingEvent event = named();
    event.setStartTime(23 * kHour);
    event.setEndTime(1 * kHour);
    EXPECT_EQ(event.startTime(), 82800.0);
    EXPECT_EQ(event.endTime(), 3600.0);
    EXPECT_EQ(event.duration(), 7200.0);

    const CRecordingEvent reloaded(event.settingsDictionary());
    EXPECT_EQ(reloaded.startTime(), 82800.0);
    EXPECT_EQ(reloaded.endTime(), 90000.0);
    EXPECT_EQ(reloaded.duration(), 7200.0);
}

TEST(CRecordingEvent, hasNoLengthWhenItEndsAtItsStart) {
    auto event = timed(10 * kHour, kHour);
    event.setEndTime(10 * kHour);
    EXPECT_EQ(event.duration(), 0.0);
    EXPECT_FALSE(event.isValid());
}

TEST(CRecordingEvent, showsTimesOfDay) {
    const auto event = timed(23 * kHour + 61, 2 * kHour);
    EXPECT_EQ(event.startTimeString(), QStringLiteral("23:01:01"));
    EXPECT_EQ(event.endTimeString(), QStringLiteral("01:01:01"));
}

TEST(CRecordingEvent, namesItsWeekdaysByALetterEach) {
    auto event = named();
    EXPECT_EQ(event.daysString(), QStringLiteral("-------"));
    event.setShouldRecord(true, 1);
    event.setShouldRecord(true, 3);
    EXPECT_EQ(event.daysString(), QStringLiteral("-M-W---"));
    for (int day = 0; day < 7; ++day) {
        event.setShouldRecord(true, day);
    }
    EXPECT_EQ(event.daysString(), QStringLiteral("SMTWTFS"));
}

TEST(CRecordingEvent, ignoresADayThatNoWeekHas) {
    auto event = named();
    event.setShouldRecord(true, 7);
    event.setShouldRecord(true, -1);
    EXPECT_FALSE(event.isAnyDaySelected());
    EXPECT_FALSE(event.shouldRecordOnDay(7));
    EXPECT_FALSE(event.shouldRecordOnDay(-1));
}

TEST(CRecordingEvent, showsItsDateInTheShortFormOfTheLanguage) {
    auto event = named();
    event.setDate(QDate(2024, 5, 1));
    event.setShouldRecord(true, 1);
    {
        const LocaleOfTest german("de_DE");
        EXPECT_EQ(event.dateString(), QStringLiteral("01.05.24"));
        EXPECT_EQ(event.daysString(), event.dateString());
    }
    const LocaleOfTest british("en_GB");
    EXPECT_EQ(event.dateString(), QStringLiteral("01/05/2024"));
    EXPECT_EQ(event.dateDescription(), QStringLiteral("01/05/24"));
    EXPECT_EQ(named().dateString(), QString());
    EXPECT_EQ(named().dateDescription(), QString());
}

TEST(CRecordingEvent, readsATypedDateInTheFirstFormatThatFits) {
    auto event = named();
    for (const auto* text : {"01/05/24", "1/5/2024", "2024-05-01", "1.5.24", "01.05.2024",
                             " 01-05-2024 ", "1 May 2024"}) {
        event.setDate({});
        event.setDateString(QString::fromLatin1(text));
        EXPECT_EQ(event.date(), QDate(2024, 5, 1)) << text;
    }
    const LocaleOfTest american("en_US");
    event.setDateString(QStringLiteral("12/31/24"));
    EXPECT_EQ(event.date(), QDate(2024, 12, 31));
    event.setDateString(event.dateString());
    EXPECT_EQ(event.date(), QDate(2024, 12, 31));
}

TEST(CRecordingEvent, keepsItsDateWhenATypedOneCannotBeRead) {
    auto event = named();
    event.setDate(kMonday);
    for (const auto* text : {"", "soon", "31/02/24", "01/05/24 and more", "2024"}) {
        event.setDateString(QString::fromLatin1(text));
        EXPECT_EQ(event.date(), kMonday) << text;
    }
}

TEST(CRecordingEvent, isValidWithALengthANameAndOneKindOfDay) {
    auto event = timed(10 * kHour, kHour);
    EXPECT_TRUE(event.isValid()) << "on no day: valid, and never due";
    event.setShouldRecord(true, 0);
    EXPECT_TRUE(event.isValid());
    event.setDate(kMonday);
    EXPECT_FALSE(event.isValid()) << "one-off and weekly at once";
    event.setShouldRecord(false, 0);
    EXPECT_TRUE(event.isValid());
    event.setDuration(0);
    EXPECT_FALSE(event.isValid());
}

TEST(CRecordingEvent, isInvalidWithAnEmptyNameButNotWithoutOne) {
    auto event = timed(10 * kHour, kHour);
    event.setRecordingName(QStringLiteral(""));
    EXPECT_FALSE(event.isValid());
    event.setRecordingName(QString());
    EXPECT_TRUE(event.isValid());
}

TEST(CRecordingEvent, isInvalidWhileItsEndLiesBeforeItsStart) {
    auto event = timed(23 * kHour, 0);
    event.setEndTime(1 * kHour);
    EXPECT_FALSE(event.isValid());
    EXPECT_TRUE(CRecordingEvent(event.settingsDictionary()).isValid());
}

TEST(CRecordingEvent, countsSundayAsDayZero) {
    EXPECT_EQ(dayOfWeek(QDate(2024, 6, 2)), 0);
    EXPECT_EQ(dayOfWeek(kMonday), 1);
    EXPECT_EQ(dayOfWeek(QDate(2024, 6, 8)), 6);
}

// Overlapping

CRecordingEvent onDate(QDate date, double startHour, double hours) {
    auto event = timed(startHour * kHour, hours * kHour);
    event.setDate(date);
    return event;
}

CRecordingEvent weekly(std::initializer_list<int> days, double startHour, double hours) {
    auto event = timed(startHour * kHour, hours * kHour);
    for (const int day : days) {
        event.setShouldRecord(true, day);
    }
    return event;
}

bool overlapEitherWay(const CRecordingEvent& one, const CRecordingEvent& other) {
    const bool result = one.isOverlappingEvent(other);
    EXPECT_EQ(other.isOverlappingEvent(one), result);
    return result;
}

TEST(OverlappingEvents, areOfOneDevice) {
    auto other = onDate(kMonday, 10, 1);
    other.setDeviceGUID(1);
    EXPECT_FALSE(overlapEitherWay(onDate(kMonday, 10, 1), other));
}

TEST(OverlappingEvents, shareATimeOfTheirDay) {
    const auto event = onDate(kMonday, 10, 2);
    EXPECT_TRUE(overlapEitherWay(event, onDate(kMonday, 10, 2)));
    EXPECT_TRUE(overlapEitherWay(event, onDate(kMonday, 9, 2)));
    EXPECT_TRUE(overlapEitherWay(event, onDate(kMonday, 11, 2)));
    EXPECT_TRUE(overlapEitherWay(event, onDate(kMonday, 10.5, 1)));
    EXPECT_TRUE(overlapEitherWay(event, onDate(kMonday, 9, 4)));
    EXPECT_TRUE(overlapEitherWay(event, onDate(kMonday, 10, 1)));
    EXPECT_FALSE(overlapEitherWay(event, onDate(kMonday, 12.5, 1)));
    EXPECT_FALSE(overlapEitherWay(event, onDate(kMonday, 8, 1)));
}

TEST(OverlappingEvents, mayOnlyTouch) {
    EXPECT_TRUE(overlapEitherWay(onDate(kMonday, 10, 1), onDate(kMonday, 11, 1)));
}

TEST(OverlappingEvents, fallOnOneDay) {
    EXPECT_FALSE(overlapEitherWay(onDate(kMonday, 10, 1), onDate(kMonday.addDays(7), 10, 1)));
    EXPECT_TRUE(overlapEitherWay(weekly({1, 3}, 10, 1), weekly({2, 3}, 10, 1)));
    EXPECT_FALSE(overlapEitherWay(weekly({1, 3}, 10, 1), weekly({0, 2, 4}, 10, 1)));
    EXPECT_TRUE(overlapEitherWay(onDate(kMonday, 10, 1), weekly({1}, 10, 1)));
    EXPECT_FALSE(overlapEitherWay(onDate(kMonday, 10, 1), weekly({2}, 10, 1)));
    EXPECT_FALSE(overlapEitherWay(timed(10 * kHour, kHour), timed(10 * kHour, kHour)))
        << "on no day at all";
}

TEST(OverlappingEvents, meetAfterMidnight) {
    const auto sundayNight = onDate(kMonday.addDays(-1), 23, 3);
    EXPECT_TRUE(overlapEitherWay(sundayNight, onDate(kMonday, 1, 1)));
    EXPECT_TRUE(overlapEitherWay(sundayNight, onDate(kMonday, 2, 1)));
    EXPECT_FALSE(overlapEitherWay(sundayNight, onDate(kMonday, 3, 1)));
    EXPECT_TRUE(overlapEitherWay(sundayNight, weekly({1}, 1, 1)));
    EXPECT_FALSE(overlapEitherWay(sundayNight, weekly({0}, 1, 1)));
    EXPECT_TRUE(overlapEitherWay(weekly({6}, 23, 3), weekly({0}, 1, 1)));
    EXPECT_FALSE(overlapEitherWay(weekly({6}, 23, 3), weekly({5}, 1, 1)));
    EXPECT_TRUE(overlapEitherWay(weekly({6}, 23, 3), onDate(kMonday.addDays(-1), 1, 1)));
    // An event that ends at midnight does not reach the next day.
    EXPECT_FALSE(overlapEitherWay(onDate(kMonday.addDays(-1), 23, 1), onDate(kMonday, 0, 1)));
}

}  // namespace
}  // namespace takebox
