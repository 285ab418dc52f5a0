#include "recovery/OpenRecordings.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include "platform/runloop/Clock.h"
#include "recording/RecordingJournal.h"
#include "storage/WriterThreads.h"
#include "support/LogCapture.h"
#include "support/ManualClock.h"

namespace takebox {
namespace {

class OpenRecordingsTest : public testing::Test {
protected:
    OpenRecordingsTest() { qputenv("XDG_DATA_HOME", mFolder.path().toUtf8()); }
    ~OpenRecordingsTest() override { qunsetenv("XDG_DATA_HOME"); }

    static RecordingNote note() {
        RecordingNote note;
        note.moviePath = QStringLiteral("/takes/Ünï \"Take\" & <1>.mov");
        note.referencePath = QStringLiteral("/takes/Take.ref");
        note.facts.rawPath = QStringLiteral("/takes/Take/Take");
        note.facts.startTimeCode = TimeCodeRecord{23, 59, 58, 24};
        note.facts.monoTracks = true;
        return note;
    }

private:
    QTemporaryDir mFolder;
};

TEST_F(OpenRecordingsTest, ANoteThatIsHeldIsNotAbandoned) {
    const auto recording = OpenRecording::begin(note());
    WriterThreads::waitUntilFinished();
    EXPECT_EQ(QDir(openRecordingsFolder()).entryList(QDir::Files).size(), 1);
    EXPECT_TRUE(abandonedRecordings().empty());
    recording->end();
    WriterThreads::waitUntilFinished();
    EXPECT_TRUE(QDir(openRecordingsFolder()).entryList(QDir::Files).isEmpty());
}

TEST_F(OpenRecordingsTest, ANoteThatNobodyHoldsTellsOfItsRecordingUntilItIsForgotten) {
    // Its descriptor is closed without end(), as by the death of a process.
    static_cast<void>(OpenRecording::begin(note()));
    WriterThreads::waitUntilFinished();
    const auto found = abandonedRecordings();
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].note.movies(), note().movies());
    EXPECT_EQ(found[0].note.facts.rawPath, note().facts.rawPath);
    EXPECT_EQ(found[0].note.facts.startTimeCode, note().facts.startTimeCode);
    EXPECT_TRUE(found[0].note.facts.monoTracks);
    EXPECT_EQ(factsOfRecording(note().moviePath).rawPath, note().facts.rawPath);
    EXPECT_TRUE(factsOfRecording(QStringLiteral("/takes/other.mov")).rawPath.isEmpty());
    forgetRecording(found[0]);
    EXPECT_TRUE(abandonedRecordings().empty());
}

TEST_F(OpenRecordingsTest, TheJournalEndsARecordingWhenItIsFinalAndLogsWhatWasLost) {
    test::LogCapture log;
    test::ManualClock clock;
    RecordingJournal journal(clock);
    const auto tally = std::make_shared<RecordingTally>(true, false);
    RecordingReport report;
    report.tally = tally;
    journal.follow(QStringLiteral("Studio A"), report, note());
    WriterThreads::waitUntilFinished();
    for (int frame = 0; frame < 7; ++frame) {
        tally->frameRecorded(TimeCodeRecord{1, 0, 0, 5}.counter(), frame != 3, false);
    }
    clock.advance(2.0);
    EXPECT_EQ(QDir(openRecordingsFolder()).entryList(QDir::Files).size(), 1);
    tally->end();
    clock.advance(1.0);
    WriterThreads::waitUntilFinished();
    EXPECT_TRUE(QDir(openRecordingsFolder()).entryList(QDir::Files).isEmpty());
    EXPECT_TRUE(
        log.containsText("Studio A: recording \"Ünï \"Take\" & <1>\" ended, 7 frames received, 6 "
                         "recorded, 1 lost, 0 "
                         "problem messages"));
    EXPECT_TRUE(log.containsText("lost at 01:00:00:05 frames missing in the raw files: 1"));
    EXPECT_EQ(clock.pendingTimers(), 0U);
}

}  // namespace
}  // namespace takebox
