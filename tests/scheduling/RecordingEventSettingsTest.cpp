#include <gtest/gtest.h>

#include <QDateTime>
#include <QTimeZone>
#include <limits>

#include "scheduling/CRecordingEvent.h"
#include "support/LogCapture.h"
#include "support/ManualClock.h"

namespace takebox {
namespace {

QString text(const char* latin) {
    return QString::fromLatin1(latin);
}

QVariantMap fullDictionary() {
    CRecordingEvent event;
    event.setDate(QDate(2024, 5, 1));
    event.setShouldRecord(true, 1);
    event.setStartTime(36000);
    event.setDuration(3600);
    event.setDeviceGUID(0x0800460102030405U);
    event.setDeviceString(text("Studio deck"));
    event.setRecordingName(text("News"));
    event.setReferenceMovieFolderPath(text("/ref"));
    event.setSelfContainedMovieFolderPath(text("/mov"));
    event.setRawStreamsFolderPath(text("/raw"));
    event.setCreateReferenceMovie(false);
    event.setCreateSelfContainedMovie(true);
    event.setAutoNameFile(true);
    return event.settingsDictionary();
}

TEST(RecordingEventSettings, holdEveryValueInItsType) {
    const auto dictionary = fullDictionary();
    EXPECT_EQ(dictionary.size(), 21);
    EXPECT_EQ(dictionary[text("UUID")].typeId(), QMetaType::QString);
    EXPECT_EQ(dictionary[text("Date")].typeId(), QMetaType::QDateTime);
    for (int day = 0; day < 7; ++day) {
        const auto flag = dictionary[text("Should Record On Day %1").arg(day)];
        EXPECT_EQ(flag.typeId(), QMetaType::Bool);
        EXPECT_EQ(flag.toBool(), day == 1);
    }
    for (const auto& [key, value] :
         {std::pair("Start Time", 36000.0), std::pair("End Time", 39600.0),
          std::pair("Duration", 3600.0)}) {
        EXPECT_EQ(dictionary[text(key)].typeId(), QMetaType::Double);
        EXPECT_EQ(dictionary[text(key)].toDouble(), value);
    }
    EXPECT_EQ(dictionary[text("Device GUID")].typeId(), QMetaType::LongLong);
    EXPECT_EQ(dictionary[text("Device GUID")].toLongLong(), 0x0800460102030405);
    EXPECT_EQ(dictionary[text("Device String")], text("Studio deck"));
    EXPECT_EQ(dictionary[text("Recording Name")], text("News"));
    EXPECT_EQ(dictionary[text("Reference Movie Folder Path")], text("/ref"));
    EXPECT_EQ(dictionary[text("Self-Contained Movie Folder Path")], text("/mov"));
    EXPECT_EQ(dictionary[text("Raw Streams Folder Path")], text("/raw"));
    EXPECT_EQ(dictionary[text("Create Reference Movie")], QVariant(false));
    EXPECT_EQ(dictionary[text("Create Self-Contained Movie")], QVariant(true));
    EXPECT_EQ(dictionary[text("Auto Name File")], QVariant(true));
}

TEST(RecordingEventSettings, comeBackAsTheyWere) {
    const auto dictionary = fullDictionary();
    const CRecordingEvent event(dictionary);
    EXPECT_EQ(event.settingsDictionary(), dictionary);
    EXPECT_FALSE(event.alreadyScheduled());
}

TEST(RecordingEventSettings, haveNoDateForAWeeklyEvent) {
    CRecordingEvent event;
    event.setRecordingName(text("News"));
    EXPECT_FALSE(event.settingsDictionary().contains(text("Date")));
    EXPECT_EQ(event.settingsDictionary().size(), 20);
}

TEST(RecordingEventSettings, keepTheDayInEveryTimeZone) {
    for (const auto* zone : {"UTC", "Europe/Berlin", "America/Los_Angeles", "Pacific/Kiritimati",
                             "Pacific/Pago_Pago", "America/Santiago"}) {
        const test::TimeZoneOfTest timeZone(zone);
        for (QDate day(2024, 1, 1); day.year() == 2024; day = day.addDays(1)) {
            CRecordingEvent event;
            event.setDate(day);
            auto dictionary = event.settingsDictionary();
            // The file knows the instant only.
            dictionary[text("Date")] = dictionary[text("Date")].toDateTime().toUTC();
            const CRecordingEvent reloaded(dictionary);
            ASSERT_EQ(reloaded.date(), day) << zone;
            ASSERT_EQ(reloaded.dateDescription(), day.toString(text("dd/MM/yy")));
        }
    }
}

TEST(RecordingEventSettings, takeTheDayOfAnInstantInTheLocalTimeZone) {
    const test::TimeZoneOfTest berlin("Europe/Berlin");
    const QDateTime midnightInGreenwich(QDate(2024, 5, 1), QTime(0, 0), Qt::UTC);
    EXPECT_EQ(CRecordingEvent({{text("Date"), midnightInGreenwich}}).date(), QDate(2024, 5, 1));
    EXPECT_EQ(CRecordingEvent({{text("Date"), midnightInGreenwich.addSecs(-2 * 3600 - 1)}}).date(),
              QDate(2024, 4, 30));
}

TEST(RecordingEventSettings, leaveTheDefaultForAKeyThatIsAbsent) {
    const CRecordingEvent event{QVariantMap()};
    const CRecordingEvent fresh;
    auto expected = fresh.settingsDictionary();
    expected[text("UUID")] = event.uuid();
    EXPECT_EQ(event.settingsDictionary(), expected);
    EXPECT_TRUE(event.createReferenceMovie());
}

TEST(RecordingEventSettings, findTheDurationFromStartAndEndWhenItIsAbsent) {
    const CRecordingEvent event({{text("Start Time"), 82800.0}, {text("End Time"), 3600.0}});
    EXPECT_EQ(event.duration(), 7200.0);
    EXPECT_EQ(event.endTime(), 90000.0);
}

TEST(RecordingEventSettings, believeTheDurationMoreThanTheEnd) {
    const CRecordingEvent event(
        {{text("Start Time"), 36000.0}, {text("End Time"), 40000.0}, {text("Duration"), 60.0}});
    EXPECT_EQ(event.endTime(), 36060.0);
}

TEST(RecordingEventSettings, convertWhatAnotherToolMayHaveWritten) {
    const CRecordingEvent event({{text("Start Time"), qint64{36000}},
                                 {text("Duration"), text("90.5")},
                                 {text("Should Record On Day 1"), qint64{1}},
                                 {text("Should Record On Day 2"), text("YES")},
                                 {text("Create Reference Movie"), 0.0},
                                 {text("Auto Name File"), text("true")},
                                 {text("Recording Name"), qint64{2024}},
                                 {text("Device GUID"), qint64{-1}}});
    EXPECT_EQ(event.startTime(), 36000.0);
    EXPECT_EQ(event.endTime(), 36090.5);
    EXPECT_EQ(event.daysString(), text("-MT----"));
    EXPECT_FALSE(event.createReferenceMovie());
    EXPECT_TRUE(event.autoNameFile());
    EXPECT_EQ(event.recordingName(), text("2024"));
    EXPECT_EQ(event.deviceGUID(), std::numeric_limits<std::uint64_t>::max());
}

TEST(RecordingEventSettings, keepIdentifiersOfAll64Bits) {
    CRecordingEvent event;
    event.setDeviceGUID(0xFEDCBA9876543210U);
    const auto stored = event.settingsDictionary()[text("Device GUID")];
    EXPECT_EQ(stored.typeId(), QMetaType::ULongLong);
    EXPECT_EQ(CRecordingEvent({{text("Device GUID"), stored}}).deviceGUID(), 0xFEDCBA9876543210U);
}

class NonsenseInSettings : public ::testing::TestWithParam<QVariant> {};

TEST_P(NonsenseInSettings, countsAsAbsent) {
    test::LogCapture log;
    const auto good = fullDictionary();
    const CRecordingEvent fresh;
    const auto keys = good.keys();
    for (const auto& key : keys) {
        auto dictionary = good;
        dictionary[key] = GetParam();
        const CRecordingEvent event(dictionary);
        EXPECT_TRUE(log.containsText('"' + key.toStdString() + '"'));
        EXPECT_GE(event.duration(), 0);
        EXPECT_EQ(event.endTime(), event.startTime() + event.duration());
        // Everything else is there.
        auto expected = good;
        expected.remove(key);
        const CRecordingEvent withoutKey(expected);
        auto found = event.settingsDictionary();
        auto wanted = withoutKey.settingsDictionary();
        found.remove(text("UUID"));
        wanted.remove(text("UUID"));
        EXPECT_EQ(found, wanted) << qPrintable(key);
    }
}

INSTANTIATE_TEST_SUITE_P(AllKinds, NonsenseInSettings,
                         ::testing::Values(QVariant(), QVariant(QVariantList{1, 2}),
                                           QVariant(QVariantMap{{text("a"), 1}}),
                                           QVariant(QByteArray("data"))));

TEST(RecordingEventSettings, refuseTimesThatNoEventHas) {
    const test::LogCapture log;
    for (const double nonsense : {std::numeric_limits<double>::quiet_NaN(),
                                  std::numeric_limits<double>::infinity(), 1.0e300, -1.0e9}) {
        for (const auto* key : {"Start Time", "End Time", "Duration"}) {
            auto dictionary = fullDictionary();
            dictionary[text(key)] = nonsense;
            const CRecordingEvent event(dictionary);
            EXPECT_LE(event.startTime(), 36000.0);
            EXPECT_LE(event.duration(), 3600.0);
            EXPECT_EQ(event.endTime(), event.startTime() + event.duration());
        }
    }
    auto dictionary = fullDictionary();
    dictionary[text("Duration")] = -5.0;
    EXPECT_EQ(CRecordingEvent(dictionary).duration(), 3600.0) << "from start and end";
    const CRecordingEvent backwards({{text("Start Time"), 80000.0}, {text("End Time"), -80000.0}});
    EXPECT_EQ(backwards.duration(), 0.0);
    EXPECT_EQ(backwards.endTime(), 80000.0);
}

TEST(RecordingEventSettings, keepAStartBeforeMidnightForTheEditorToPutRight) {
    EXPECT_EQ(CRecordingEvent({{text("Start Time"), -3600.0}}).startTime(), -3600.0);
}

}  // namespace
}  // namespace takebox
