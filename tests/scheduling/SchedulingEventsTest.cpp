#include "scheduling/SchedulingEvents.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>

#include "support/LogCapture.h"
#include "support/ManualClock.h"

namespace takebox {
namespace {

class StoredEvents : public ::testing::Test {
protected:
    StoredEvents() { gSchedulingEvents = std::make_unique<SchedulingEvents>(); }
    void TearDown() override { gSchedulingEvents.reset(); }

    static std::shared_ptr<CRecordingEvent> add(const char* name) {
        auto event = std::make_shared<CRecordingEvent>();
        event->setRecordingName(QString::fromLatin1(name));
        gSchedulingEvents->push_back(event);
        return event;
    }

    /// Opens a property list with this array of events, written by other means.
    Defaults& open(const char* events) {
        QFile file(defaults.path());
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict><key>Scheduling Events</key>)");
        file.write(events);
        file.write("</dict></plist>\n");
        file.close();
        defaults.reopen(defaults.path());
        return defaults;
    }

    QTemporaryDir folder;
    Defaults defaults{folder.filePath(QStringLiteral("preferences.plist"))};
    test::LogCapture log;
};

TEST_F(StoredEvents, comeBackInTheUsersOrder) {
    add("Second")->setStartTime(20);
    const auto first = add("First");
    first->setDate(QDate(2024, 5, 1));
    first->setDeviceGUID(0xFEDCBA9876543210U);
    first->setStartTime(82800);
    first->setDuration(7200);
    first->setAlreadyScheduled(true);
    const auto saved = *gSchedulingEvents;
    ASSERT_TRUE(saveSchedulingEventsToPreferences(defaults));

    const Defaults nextSession(defaults.path());
    gSchedulingEvents->clear();
    readSchedulingEventsFromPreferences(nextSession);
    ASSERT_EQ(gSchedulingEvents->size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
        auto expected = saved[i]->settingsDictionary();
        auto found = (*gSchedulingEvents)[i]->settingsDictionary();
        EXPECT_EQ(found, expected);
        EXPECT_FALSE((*gSchedulingEvents)[i]->alreadyScheduled());
    }
}

TEST_F(StoredEvents, leaveTheListAloneWhenThereAreNone) {
    add("Kept");
    readSchedulingEventsFromPreferences(defaults);
    EXPECT_EQ(gSchedulingEvents->size(), 1U);
}

TEST_F(StoredEvents, emptyTheListWhenTheyAreAnEmptyArray) {
    add("Dropped");
    readSchedulingEventsFromPreferences(open("<array/>"));
    EXPECT_TRUE(gSchedulingEvents->empty());
    add("Dropped");
    defaults.removeObject(QStringLiteral("Scheduling Events"));
    defaults.registerDefaults({{QStringLiteral("Scheduling Events"), QVariantList()}});
    readSchedulingEventsFromPreferences(defaults);
    EXPECT_TRUE(gSchedulingEvents->empty());
}

TEST_F(StoredEvents, leaveTheListAloneWhenTheyAreNoArray) {
    add("Kept");
    readSchedulingEventsFromPreferences(open("<string>events</string>"));
    EXPECT_EQ(gSchedulingEvents->size(), 1U);
    EXPECT_TRUE(log.containsText("are not a list"));
}

TEST_F(StoredEvents, areReadAsAnotherToolWroteThem) {
    const test::TimeZoneOfTest berlin("Europe/Berlin");
    readSchedulingEventsFromPreferences(open(R"(<array><dict>
        <key>UUID</key><string>5E6D3F0A-0000-4000-8000-000000000001</string>
        <key>Date</key><date>2024-05-01T00:00:00Z</date>
        <key>Should Record On Day 0</key><false/>
        <key>Start Time</key><integer>36000</integer>
        <key>End Time</key><real>39600</real>
        <key>Duration</key><real>3600.0</real>
        <key>Device GUID</key><integer>576541295312962053</integer>
        <key>Device String</key><string>Studio &amp; deck</string>
        <key>Recording Name</key><string>Dépêche</string>
        <key>Create Reference Movie</key><true/>
        <key>A key of a later version</key><data>AAAA</data>
        </dict></array>)"));
    ASSERT_EQ(gSchedulingEvents->size(), 1U);
    const auto& event = *gSchedulingEvents->front();
    EXPECT_EQ(event.uuid(), QStringLiteral("5E6D3F0A-0000-4000-8000-000000000001"));
    EXPECT_EQ(event.date(), QDate(2024, 5, 1));
    EXPECT_EQ(event.startTime(), 36000.0);
    EXPECT_EQ(event.endTime(), 39600.0);
    EXPECT_EQ(event.deviceGUID(), 576541295312962053U);
    EXPECT_EQ(event.deviceString(), QStringLiteral("Studio & deck"));
    EXPECT_EQ(event.recordingName(), QString::fromUtf8("Dépêche"));
    EXPECT_EQ(event.rawStreamsFolderPath(), QStringLiteral("/"));
    EXPECT_TRUE(event.isValid());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(StoredEvents, areNotLostBesideBadOnes) {
    readSchedulingEventsFromPreferences(open(R"(<array>
        <string>no event</string>
        <dict><key>Recording Name</key><string>First</string>
              <key>Start Time</key><string>ten o'clock</string>
              <key>Duration</key><real>60</real></dict>
        <integer>5</integer>
        <dict><key>Recording Name</key><array/><key>Start Time</key><real>nan</real>
              <key>Duration</key><real>1e300</real><key>Date</key><string>soon</string>
              <key>Device GUID</key><real>1.5</real></dict>
        <dict/>
        <array/>
        <dict><key>Recording Name</key><string>Last</string>
              <key>Start Time</key><real>36000</real><key>Duration</key><real>60</real></dict>
        </array>)"));
    ASSERT_EQ(gSchedulingEvents->size(), 4U);
    const auto& events = *gSchedulingEvents;
    EXPECT_EQ(events[0]->recordingName(), QStringLiteral("First"));
    EXPECT_EQ(events[0]->startTime(), 0.0);
    EXPECT_EQ(events[0]->endTime(), 60.0);
    EXPECT_TRUE(events[1]->recordingName().isNull());
    EXPECT_EQ(events[1]->duration(), 0.0);
    EXPECT_EQ(events[1]->deviceGUID(), 0U);
    EXPECT_FALSE(events[2]->isValid());
    EXPECT_EQ(events[3]->recordingName(), QStringLiteral("Last"));
    EXPECT_TRUE(events[3]->isValid());
    EXPECT_EQ(log.count("A scheduled event in the preferences cannot be read and is left out"), 3);
}

TEST_F(StoredEvents, needAListToGoTo) {
    gSchedulingEvents.reset();
    readSchedulingEventsFromPreferences(open("<array><dict/></array>"));
    EXPECT_TRUE(saveSchedulingEventsToPreferences(defaults));
    EXPECT_EQ(defaults.arrayForKey(QStringLiteral("Scheduling Events")).size(), 1);
}

TEST_F(StoredEvents, sayWhenTheDiskDoesNotTakeThem) {
    add("News");
    Defaults unwritable(QStringLiteral("/proc/no such folder/preferences.plist"));
    EXPECT_FALSE(saveSchedulingEventsToPreferences(unwritable));
}

}  // namespace
}  // namespace takebox
