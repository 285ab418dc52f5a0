// A year of eight devices, with devices that come and go, a program that is closed and opened
// again, and both changes of the clocks, against a model on paper.

#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <random>
#include <set>

#include "platform/log/Log.h"
#include "scheduling/CScheduler.h"
#include "scheduling/FakeDecks.h"
#include "scheduling/ScheduleModel.h"
#include "support/ManualClock.h"

namespace takebox {
namespace {

using test::Ending;
using test::Instant;
using test::PlannedEvent;
using test::Recording;
using test::Stretch;
using test::YearPlan;

constexpr int kDevices = 8;
constexpr Instant kSecond = 1000;
constexpr Instant kHour = 3600 * kSecond;

std::uint64_t guidOf(int device) {
    return 0x0800460100000000U + static_cast<std::uint64_t>(device);
}

QDateTime dateOf(Instant instant) {
    return QDateTime::fromMSecsSinceEpoch(instant);
}

/// Draws the plan of a year. No two things happen at the same millisecond as a poll.
class PlanMaker {
public:
    YearPlan make() {
        YearPlan plan;
        const QDateTime begin(QDate(2024, 1, 1), QTime(0, 0));
        plan.year = {begin.toMSecsSinceEpoch(), begin.addYears(1).toMSecsSinceEpoch()};
        plan.runs = cut(plan.year, 12, 2 * kHour, 7);
        for (int device = 0; device < kDevices; ++device) {
            plan.present.push_back(cut(plan.year, device, 9 * kHour, 11));
            for (int i = 0; i < 7; ++i) {
                plan.events.push_back(event(device, i));
            }
        }
        std::shuffle(plan.events.begin(), plan.events.end(), mRandom);
        return plan;
    }

private:
    std::int64_t draw(std::int64_t from, std::int64_t to) {
        return std::uniform_int_distribution<std::int64_t>(from, to)(mRandom);
    }

    /// Takes so many gaps of up to the length out of the year. The edges are `phase` milliseconds
    /// after a multiple of a poll.
    std::vector<Stretch> cut(Stretch year, int gaps, Instant length, Instant phase) {
        std::vector<Stretch> result;
        Instant from = year.from + phase;
        const Instant share = gaps == 0 ? 0 : (year.until - year.from) / gaps;
        for (int i = 0; i < gaps; ++i) {
            const Instant until = year.from + i * share + draw(share / 10, share / 2) / 20 * 20;
            result.push_back({from, until + phase + 3});
            from = until + draw(kSecond, length) / 20 * 20 + phase;
        }
        result.push_back({from, year.until});
        return result;
    }

    PlannedEvent event(int device, int kind) {
        PlannedEvent event;
        event.device = device;
        const QDate springForward(2024, 3, 31);
        const QDate fallBack(2024, 10, 27);
        const std::int64_t dayOfYear = QDate(1970, 1, 1).daysTo(QDate(2024, 1, 1));
        switch (kind) {
            case 0:  // every working day
                event.weekdays = {false, true, true, true, true, true, false};
                setTime(event, draw(6 * 3600, 20 * 3600), draw(60, 2 * 3600));
                break;
            case 1:  // Sundays and another night, in the hours that are changed
                event.weekdays.at(0) = true;
                event.weekdays.at(static_cast<std::size_t>(draw(0, 6))) = true;
                setTime(event, draw(0, 3 * 3600), draw(60, 3 * 3600));
                break;
            case 2:  // past midnight
                event.weekdays.at(static_cast<std::size_t>(draw(0, 6))) = true;
                event.weekdays.at(6) = true;
                setTime(event, draw(20 * 3600, 86399), draw(3600, 9 * 3600));
                break;
            case 3:  // on some day
                event.day = dayOfYear + draw(0, 364);
                setTime(event, draw(0, 86000), draw(1, 20 * 3600));
                break;
            case 4:  // on a day on which the clocks are changed
                event.day = dayOfYear +
                            QDate(2024, 1, 1).daysTo(draw(0, 1) == 0 ? springForward : fallBack);
                setTime(event, draw(0, 3 * 3600), draw(600, 5 * 3600));
                break;
            case 5:  // from midnight, every day
                event.weekdays.fill(true);
                setTime(event, 0, draw(1, 600));
                break;
            default:  // on a day, or a weekday until then
                event.day = dayOfYear + draw(0, 364);
                event.weekdays.at(static_cast<std::size_t>(draw(0, 6))) = true;
                setTime(event, draw(0, 86000), draw(10, 7200));
                break;
        }
        return event;
    }

    static void setTime(PlannedEvent& event, std::int64_t start, std::int64_t duration) {
        event.start = start;
        event.end = start + duration;
    }

    std::mt19937 mRandom{20240601};
};

/// Runs the plan with the scheduler.
class Year {
public:
    explicit Year(const YearPlan& plan) : mPlan(plan) {
        setLogSink([this](std::string_view) { ++refusals; });
        gSchedulingEvents = std::make_unique<SchedulingEvents>();
        for (std::size_t i = 0; i < plan.events.size(); ++i) {
            gSchedulingEvents->push_back(eventOf(plan.events[i], static_cast<int>(i)));
        }
        EXPECT_TRUE(saveSchedulingEventsToPreferences(mDefaults));
    }
    ~Year() {
        gSchedulingEvents.reset();
        setLogSink(nullptr);
    }
    Year(const Year&) = delete;
    Year& operator=(const Year&) = delete;

    void pass() {
        std::map<Instant, std::vector<std::function<void()>>> actions;
        for (const auto& run : mPlan.runs) {
            actions[run.from].push_back([this] { launch(); });
            actions[run.until].push_back([this] { quit(); });
        }
        for (int device = 0; device < kDevices; ++device) {
            for (const auto& presence : mPlan.present.at(static_cast<std::size_t>(device))) {
                actions[presence.from].push_back([this, device] { attach(device); });
                actions[presence.until].push_back([this, device] { detach(device); });
            }
        }
        for (const auto& [instant, todo] : actions) {
            passTo(instant);
            for (const auto& action : todo) {
                action();
            }
        }
        std::ranges::stable_sort(recordings, {}, &Recording::device);
    }

    /// Polls from before until after the instant.
    void watch(Instant instant) { mWatched.insert(instant); }

    std::vector<Recording> recordings;
    std::size_t refusals = 0;

private:
    static std::shared_ptr<CRecordingEvent> eventOf(const PlannedEvent& planned, int number) {
        auto event = std::make_shared<CRecordingEvent>();
        event->setDeviceGUID(guidOf(planned.device));
        event->setRecordingName(QString::number(number));
        if (planned.day) {
            event->setDate(QDate(1970, 1, 1).addDays(*planned.day));
        }
        for (int day = 0; day < 7; ++day) {
            event->setShouldRecord(planned.weekdays.at(static_cast<std::size_t>(day)), day);
        }
        event->setStartTime(static_cast<double>(planned.start));
        event->setEndTime(static_cast<double>(planned.end));
        return event;
    }

    [[nodiscard]] Instant now() const { return mClock.localNow().toMSecsSinceEpoch(); }

    void passTo(Instant instant) {
        const Instant from = now();
        for (auto next = mWatched.lower_bound(from - 2 * kSecond);
             next != mWatched.end() && *next <= instant; ++next) {
            if (*next - kSecond > now()) {
                mClock.skipTo(dateOf(*next - kSecond));
            }
            mClock.advanceTo(dateOf(std::min(*next + 2 * kSecond, instant)));
        }
        mClock.skipTo(dateOf(instant));
    }

    void launch() {
        readSchedulingEventsFromPreferences(mDefaults);
        mScheduler = std::make_unique<CScheduler>(mClock, mDecks);
        mScheduler->start();
    }

    void quit() {
        mScheduler.reset();
        mClock.forgetTimers();
        for (const auto& deck : mDecks.all()) {
            end(*deck, Ending::kQuit);
        }
    }

    void attach(int device) {
        auto& deck = mDecks.add(guidOf(device));
        deck.keepsCalls = false;
        deck.onRecord = [this, device](test::FakeDeck& started) {
            recordings.push_back({device, started.currentName.toInt(), now(),
                                  static_cast<std::int64_t>(started.duration), 0, Ending::kStop});
            mOpen[&started] = recordings.size() - 1;
        };
        deck.onStop = [this](test::FakeDeck& stopped) { end(stopped, Ending::kStop); };
    }

    void detach(int device) {
        const auto index = mDecks.indexOfDeviceWithGUID(guidOf(device));
        const auto deck = mDecks.all().at(static_cast<std::size_t>(index));
        end(*deck, Ending::kDeviceGone);
        deck->onStop = nullptr;
        mDecks.remove(guidOf(device));
    }

    void end(test::FakeDeck& deck, Ending ending) {
        deck.isRecording = false;
        if (const auto open = mOpen.find(&deck); open != mOpen.end()) {
            recordings[open->second].ended = now();
            recordings[open->second].ending = ending;
            mOpen.erase(open);
        }
    }

    const YearPlan& mPlan;
    QTemporaryDir mFolder;
    Defaults mDefaults{mFolder.filePath(QStringLiteral("preferences.plist"))};
    test::ManualClock mClock{dateOf(mPlan.year.from)};
    test::FakeDecks mDecks;
    std::unique_ptr<CScheduler> mScheduler;
    std::map<test::FakeDeck*, std::size_t> mOpen;
    std::set<Instant> mWatched;
};

class ScheduledYear : public ::testing::TestWithParam<const char*> {};

TEST_P(ScheduledYear, startsAndStopsWhatTheModelSays) {
    const test::TimeZoneOfTest zone(GetParam());
    const YearPlan plan = PlanMaker().make();
    const auto expected = test::expectedRecordings(plan);
    Year year(plan);
    for (const auto& offset : test::offsetsOfLocalTime(plan.year)) {
        year.watch(offset.stretch.from);
    }
    for (const auto& windows : test::windowsOfEvents(plan)) {
        for (const auto& window : windows) {
            year.watch(window.from);
            year.watch(window.until);
        }
    }
    for (const auto& run : plan.runs) {
        year.watch(run.from);
    }
    for (const auto& present : plan.present) {
        for (const auto& presence : present) {
            year.watch(presence.from);
        }
    }
    for (const auto& recording : expected) {
        year.watch(recording.started);
        year.watch(recording.ended);
        year.watch(recording.started + recording.duration * kSecond);
    }
    // And at times at which nothing is due.
    for (Instant instant = plan.year.from; instant < plan.year.until; instant += 2011 * kSecond) {
        year.watch(instant);
    }
    year.pass();

    ASSERT_EQ(year.recordings.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const auto& found = year.recordings[i];
        ASSERT_EQ(found, expected[i])
            << i << ": event " << expected[i].event << " on device " << expected[i].device
            << " expected " << qPrintable(dateOf(expected[i].started).toString(Qt::ISODateWithMs))
            << " to " << qPrintable(dateOf(expected[i].ended).toString(Qt::ISODateWithMs))
            << ", was event " << found.event << ' '
            << qPrintable(dateOf(found.started).toString(Qt::ISODateWithMs)) << " to "
            << qPrintable(dateOf(found.ended).toString(Qt::ISODateWithMs));
    }
    // The plan is worth its name only if everything in it happens.
    EXPECT_GT(expected.size(), 5000U);
    EXPECT_GT(year.refusals, 1000U);
    for (const auto ending : {Ending::kStop, Ending::kDeviceGone, Ending::kQuit}) {
        EXPECT_GT(std::ranges::count(expected, ending, &Recording::ending), 0);
    }
}

// A sanitizer watches the same code in any zone, and takes ten times as long.
#ifdef TAKEBOX_SANITIZED
INSTANTIATE_TEST_SUITE_P(TimeZones, ScheduledYear, ::testing::Values("Australia/Lord_Howe"));
#else
INSTANTIATE_TEST_SUITE_P(TimeZones, ScheduledYear,
                         ::testing::Values("Europe/Berlin", "America/New_York",
                                           "Australia/Lord_Howe"));
#endif

}  // namespace
}  // namespace takebox
