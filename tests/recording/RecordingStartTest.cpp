// What pressing the record button does, step by step.

#include <gmock/gmock.h>

#include <QFileInfo>

#include "capture/PreferenceKeys.h"
#include "platform/defaults/Defaults.h"
#include "recording/RecordingBench.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::IsEmpty;

class RecordingStart : public test::RecordingBench {
protected:
    void record() const { controller().recordButtonPushed(); }
    void record(const QString& name) const {
        controller().outlets().recordingNameField.setStringValue(name);
        record();
    }
    void expectAlert(const QString& title, const QString& message) const {
        ASSERT_EQ(services.alerts.size(), 1U);
        EXPECT_EQ(services.alerts[0].first, title);
        EXPECT_EQ(services.alerts[0].second, message);
    }
    void expectButtonsOfRest() const {
        auto& outlets = controller().outlets();
        EXPECT_TRUE(outlets.recordButton.isEnabled());
        EXPECT_TRUE(outlets.settingsButton.isEnabled());
        EXPECT_FALSE(outlets.stopButton.isEnabled());
        EXPECT_FALSE(outlets.pauseButton.isEnabled());
    }
    static void prefer(const QString& key, const QVariant& value) {
        Defaults::standard().setObject(key, value);
    }
    /// The start time code that the latest reference movie was given.
    [[nodiscard]] static std::string text(const TimeCodeRecord& timeCode) {
        return QString::asprintf("%02i:%02i:%02i:%02i", timeCode.hours, timeCode.minutes,
                                 timeCode.seconds, timeCode.frames)
            .toStdString();
    }
};

const QString kFileInUse =
    u"Please make sure the destination reference file is not open in another application."_s;

}  // namespace

// Nothing to record into

TEST_F(RecordingStart, withoutADestinationIsRefusedAndChangesNothing) {
    makeController();
    device().setShouldCreateReferenceMovie(true);
    device().setShouldCreateSelfContainedMovie(true);
    device().setLoopDuration(7.0);
    want(false, false);
    icons.clear();
    record();
    expectAlert(u"No Recording Destination!"_s,
                u"No destination has been set.\nPlease check your Capture Settings and try "
                "again."_s);
    EXPECT_FALSE(device().isRecording());
    EXPECT_TRUE(device().shouldCreateReferenceMovie());
    EXPECT_TRUE(device().shouldCreateSelfContainedMovie());
    EXPECT_EQ(device().loopDuration(), 7.0);
    expectButtonsOfRest();
    EXPECT_THAT(icons, IsEmpty());
}

TEST_F(RecordingStart, withoutADeviceDoesNothing) {
    CDVDeviceWindowController orphan(nullptr, services);
    orphan.recordButtonPushed();
    orphan.stopButtonPushed();
    orphan.pauseButtonPushed();
    EXPECT_THAT(services.alerts, IsEmpty());
}

// The name

TEST_F(RecordingStart, isNamedByDateAndTimeWhenNamedAutomatically) {
    makeController();
    want(true, true);
    controller().setAutoNameRecordings(true);
    record();
    EXPECT_EQ(device().selfContainedCapturePath(), path(u"movies/2008-03-07 09h05m02s.mov"_s));
    EXPECT_EQ(device().rawCapturePath(), path(u"raw/2008-03-07 09h05m02s/2008-03-07 09h05m02s"_s));
    EXPECT_TRUE(exists(u"reference/2008-03-07 09h05m02s.ref"_s));
}

TEST_F(RecordingStart, takesTheDateAtEachPress) {
    makeController();
    want(false, true);
    controller().setAutoNameRecordings(true);
    record();
    controller().stopButtonPushed();
    services.manualClock.setTime(QDateTime(QDate(2011, 12, 31), QTime(23, 59, 58)));
    record();
    EXPECT_EQ(device().selfContainedCapturePath(), path(u"movies/2011-12-31 23h59m58s.mov"_s));
}

TEST_F(RecordingStart, takesTheTextOfTheFieldEvenWhenItIsNotTheSettings) {
    makeController();
    want(false, true);
    controller().settings().setRecordingName(u"Settings"_s);
    record(u"Typed"_s);
    EXPECT_EQ(device().selfContainedCapturePath(), path(u"movies/Typed.mov"_s));
}

TEST_F(RecordingStart, removesOneExtensionOfATypedName) {
    makeController();
    want(false, true);
    const std::vector<std::pair<QString, QString>> names{{u"Interview.mov"_s, u"Interview"_s},
                                                         {u"Interview.2.mov"_s, u"Interview.2"_s},
                                                         {u"Tape 3. part.x y"_s, u"Tape 3. part"_s},
                                                         {u"Interview"_s, u"Interview"_s},
                                                         {u"Ends."_s, u"Ends."_s}};
    for (const auto& [typed, recorded] : names) {
        record(typed);
        EXPECT_EQ(device().selfContainedCapturePath(), path(u"movies/"_s + recorded + u".mov"_s));
        controller().stopButtonPushed();
        finishWriting();
        QFile::remove(path(u"movies/"_s + recorded + u".mov"_s));
    }
}

// The self-contained movie

TEST_F(RecordingStart, ofASelfContainedMovieMakesNoRawFilesAndLeavesTheLoopAlone) {
    makeController();
    want(false, true);
    controller().settings().setMonoTracks(true);
    controller().settings().setLoopRecording(true);
    device().setLoopDuration(7.0);
    device().setShouldCreateReferenceMovie(true);
    record(u"Name"_s);
    EXPECT_TRUE(device().isRecording());
    EXPECT_TRUE(device().shouldCreateSelfContainedMovie());
    EXPECT_TRUE(device().monoTracks());
    EXPECT_FALSE(device().shouldCreateReferenceMovie());
    EXPECT_FALSE(device().loopRecording());
    EXPECT_EQ(device().loopDuration(), 7.0);
    controller().stopButtonPushed();
    finishWriting();
    EXPECT_TRUE(exists(u"movies/Name.mov"_s));
    EXPECT_FALSE(exists(u"raw/Name"_s));
    EXPECT_FALSE(exists(u"reference/Name.ref"_s));
}

TEST_F(RecordingStart, isRefusedWhenTheSelfContainedMovieCannotBeMade) {
    makeController();
    want(true, true);
    prefer(OxaPrefEraseExistingFilesKey, true);
    makeUnremovable(u"movies/Name.mov"_s);
    services.recycles = false;
    icons.clear();
    record(u"Name"_s);
    expectAlert(u"Cannot create the self-contained movie!"_s, kFileInUse);
    EXPECT_FALSE(device().isRecording());
    EXPECT_FALSE(device().shouldCreateSelfContainedMovie());
    EXPECT_TRUE(device().selfContainedCapturePath().isNull());
    EXPECT_FALSE(exists(u"raw/Name"_s));
    expectButtonsOfRest();
    EXPECT_THAT(icons, IsEmpty());
}

// Raw files and reference movie

TEST_F(RecordingStart, ofAReferenceMovieGivesEachRecordingARawFolderOfItsOwn) {
    makeController();
    want(true, false);
    device().setShouldCreateSelfContainedMovie(true);
    record(u"Name"_s);
    EXPECT_FALSE(device().shouldCreateSelfContainedMovie());
    EXPECT_TRUE(device().shouldCreateReferenceMovie());
    // Complete before the first frame.
    EXPECT_GT(QFileInfo(path(u"reference/Name.ref"_s)).size(), 0);
    EXPECT_EQ(contents(u"raw/Name/Name.dv"_s).size(), 0);
    send(2);
    controller().stopButtonPushed();
    finishWriting();
    EXPECT_EQ(contents(u"raw/Name/Name.dv"_s).size(), 2 * 144000);
    EXPECT_EQ(contents(u"raw/Name/Name.aud"_s).size(), 2 * 7680);
    EXPECT_FALSE(exists(u"movies/Name.mov"_s));
}

TEST_F(RecordingStart, loopsForTheDurationOfTheReferenceMovie) {
    makeController();
    want(true, false);
    controller().settings().setLoopRecording(true);
    controller().settings().setReferenceMovieDuration(42.5);
    controller().settings().setMonoTracks(true);
    record(u"Name"_s);
    EXPECT_TRUE(device().loopRecording());
    EXPECT_EQ(device().loopDuration(), 42.5);
    EXPECT_FALSE(device().monoTracks());  // of the self-contained movie only
}

TEST_F(RecordingStart, isRefusedWhenTheReferenceMovieCannotBeMade) {
    makeController();
    want(true, true);
    prefer(OxaPrefEraseExistingFilesKey, true);
    controller().settings().setLoopRecording(true);
    make(u"raw/Name/Name.dv"_s);
    make(u"raw/Name/Name.aud5"_s);
    makeUnremovable(u"reference/Name.ref"_s);
    services.recycles = false;
    icons.clear();
    record(u"Name"_s);
    expectAlert(u"Cannot create the reference movie!"_s, kFileInUse);
    EXPECT_FALSE(device().isRecording());
    // So far had it come.
    EXPECT_TRUE(device().shouldCreateSelfContainedMovie());
    EXPECT_EQ(device().selfContainedCapturePath(), path(u"movies/Name.mov"_s));
    EXPECT_FALSE(exists(u"raw/Name/Name.dv"_s));
    EXPECT_FALSE(exists(u"raw/Name/Name.aud5"_s));
    // And no further.
    EXPECT_FALSE(device().shouldCreateReferenceMovie());
    EXPECT_TRUE(device().rawCapturePath().isNull());
    EXPECT_FALSE(device().loopRecording());
    EXPECT_FALSE(exists(u"movies/Name.mov"_s));
    expectButtonsOfRest();
    EXPECT_THAT(icons, IsEmpty());
}

TEST_F(RecordingStart, leavesTheRawFolderBehindWhenTheReferenceMovieCannotBeMade) {
    makeController();
    want(true, false);
    prefer(OxaPrefEraseExistingFilesKey, true);
    makeUnremovable(u"reference/Name.ref"_s);
    services.recycles = false;
    record(u"Name"_s);
    EXPECT_EQ(services.alerts.size(), 1U);
    EXPECT_TRUE(QFileInfo(path(u"raw/Name"_s)).isDir());
}

TEST_F(RecordingStart, tellsWhichFoldersCannotBeWritten) {
    makeController();
    want(true, true);
    controller().settings().setRawRecordingFolderPath(u"/nowhere/raw"_s);
    controller().settings().setReferenceMovieFolderPath(u"/nowhere/reference"_s);
    controller().settings().setSelfContainedRecordingFolderPath(u"/nowhere/movies"_s);
    record(u"Name"_s);
    ASSERT_EQ(services.alerts.size(), 1U);
    for (const auto* const folder : {"/nowhere/raw", "/nowhere/reference", "/nowhere/movies"}) {
        EXPECT_TRUE(services.alerts[0].second.contains(QLatin1String(folder))) << folder;
    }
    EXPECT_TRUE(device().isRecording());
}

TEST_F(RecordingStart, isRefusedOnceTheDeviceIsGone) {
    makeController();
    want(true, true);
    prefer(OxaPrefEraseExistingFilesKey, true);
    make(u"raw/Name/Name.dv"_s);
    deck().attach(false);
    gAVCDeviceController->deviceChanged(deck());
    EXPECT_EQ(gDVDevicesController->indexOfDeviceWithGUID(device().deviceGUID()), -1);
    record(u"Name"_s);
    EXPECT_FALSE(device().isRecording());
    EXPECT_EQ(contents(u"raw/Name/Name.dv"_s), "old");
    EXPECT_FALSE(exists(u"movies/Name.mov"_s));
    EXPECT_TRUE(log.containsText("is not connected any more; nothing is recorded"));
}

TEST_F(RecordingStart, makesAFileNameOfAnyRecordingName) {
    makeController();
    want(true, true);
    const std::vector<std::pair<QString, QString>> names{
        {u"Take 1/2"_s, u"Take 1-2"_s},
        {u"../escape"_s, u"Untitled"_s},
        {u""_s, u"Untitled"_s},
        {u".."_s, u"Untitled"_s},
        {QString(300, u'x'), QString(230, u'x')},
        {QString(100, QChar(0x20ac)), QString(76, QChar(0x20ac))},
    };
    for (const auto& [typed, name] : names) {
        record(typed);
        send(1);
        controller().stopButtonPushed();
        finishWriting();
        EXPECT_EQ(contents(u"raw/%1/%1.dv"_s.arg(name)).size(), 144000) << name.toStdString();
        EXPECT_TRUE(exists(u"movies/%1.mov"_s.arg(name)));
        EXPECT_TRUE(exists(u"reference/%1.ref"_s.arg(name)));
        QFile::remove(path(u"raw/%1/%1.dv"_s.arg(name)));
        QFile::remove(path(u"raw/%1/%1.aud"_s.arg(name)));
        QFile::remove(path(u"movies/%1.mov"_s.arg(name)));
        QFile::remove(path(u"reference/%1.ref"_s.arg(name)));
    }
    EXPECT_THAT(services.alerts, IsEmpty());
}

TEST_F(RecordingStart, keepsEveryMovieOfStartsAndStopsInQuickSuccession) {
    makeController();
    want(false, true);
    for (int i = 0; i < 20; ++i) {
        record(u"Name"_s);
        controller().stopButtonPushed();
    }
    finishWriting();
    EXPECT_TRUE(exists(u"movies/Name.mov"_s));
    EXPECT_TRUE(exists(u"movies/Name 19.mov"_s));
}

TEST_F(RecordingStart, keepsOldFilesUnlessToldToErase) {
    makeController();
    want(true, true);
    for (int i = 0; i < 2; ++i) {
        record(u"Name"_s);
        send(i + 1);
        controller().stopButtonPushed();
        finishWriting();
    }
    EXPECT_EQ(contents(u"raw/Name/Name.dv"_s).size(), 1 * 144000);
    EXPECT_EQ(contents(u"raw/Name/Name 1.dv"_s).size(), 2 * 144000);
    EXPECT_TRUE(exists(u"reference/Name 1.ref"_s));
    EXPECT_TRUE(exists(u"movies/Name 1.mov"_s));
}

TEST_F(RecordingStart, erasesOldFilesWhenToldTo) {
    makeController();
    want(true, true);
    prefer(OxaPrefEraseExistingFilesKey, true);
    for (int i = 3; i > 0; --i) {
        record(u"Name"_s);
        send(i);
        controller().stopButtonPushed();
        finishWriting();
    }
    EXPECT_EQ(contents(u"raw/Name/Name.dv"_s).size(), 144000);
    EXPECT_EQ(contents(u"raw/Name/Name.aud"_s).size(), 7680);
    EXPECT_FALSE(exists(u"raw/Name/Name 1.dv"_s));
    EXPECT_FALSE(exists(u"reference/Name 1.ref"_s));
    EXPECT_FALSE(exists(u"movies/Name 1.mov"_s));
}

TEST_F(RecordingStart, whereAFileIsInTheWayOfTheRawFolderStillRecordsTheMovie) {
    makeController();
    want(true, true);
    make(u"raw/Name"_s);
    record(u"Name"_s);
    EXPECT_TRUE(device().isRecording());
    EXPECT_TRUE(log.containsText("Cannot open " + path(u"raw/Name/Name.dv"_s).toStdString()));
    expectAlert(
        u"Not everything is recorded!"_s,
        u"These cannot be written: the raw files in %1.\nPlease check your Capture Settings "
        "and try again."_s.arg(path(u"raw"_s)));
    send(2);
    controller().stopButtonPushed();
    finishWriting();
    EXPECT_EQ(contents(u"raw/Name"_s), "old");
    EXPECT_TRUE(exists(u"movies/Name.mov"_s));
    EXPECT_FALSE(device().recordingReport().losses().isEmpty());
}

TEST_F(RecordingStart, withoutAUsableRawNameStillRecordsTheMovieAndMakesNoStrayFile) {
    makeController();
    want(true, true);
    make(u"raw/Name/Name.vid"_s);
    const QString here = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(path(u"here/"_s)));
    record(u"Name"_s);
    send(2);
    controller().stopButtonPushed();
    finishWriting();
    ASSERT_TRUE(QDir::setCurrent(here));
    EXPECT_EQ(services.alerts.size(), 1U);
    EXPECT_TRUE(exists(u"movies/Name.mov"_s));
    EXPECT_EQ(
        QDir(path(u"here/"_s)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
        QStringList());
    EXPECT_EQ(contents(u"raw/Name/Name.vid"_s), "old");
    EXPECT_FALSE(device().recordingReport().losses().isEmpty());
}

// The start time code

TEST_F(RecordingStart, keepsTheTimeCodeOfTheDeviceWhateverTheSource) {
    makeController();
    want(true, false);
    controller().settings().setTimecodeSourceIndex(kTimecodeSourcePreset);
    controller().settings().setPresetTimecode(3723.5);
    deck().sendFrame(test::fakeFrame(true, 25 * 61 + 7));
    record(u"Name"_s);
    EXPECT_EQ(controller().recordStartTimecodeString(), u"00:01:01:07"_s);
    EXPECT_DOUBLE_EQ(controller().recordStartTimecode(), 61.28);
}

struct SourceCase {
    std::int32_t index;
    const char* startTimeCode;
};
class TimecodeSourceOfStart : public RecordingStart,
                              public testing::WithParamInterface<SourceCase> {};
INSTANTIATE_TEST_SUITE_P(Each, TimecodeSourceOfStart,
                         testing::Values(SourceCase{0, "00:01:01:07"}, SourceCase{1, "09:05:02:12"},
                                         SourceCase{2, "01:02:03:12"}));

TEST_P(TimecodeSourceOfStart, givesTheTimeCodeOfTheMovies) {
    makeController();
    want(true, true);
    controller().settings().setTimecodeSourceIndex(GetParam().index);
    controller().settings().setPresetTimecode(3723.5);
    deck().sendFrame(test::fakeFrame(true, 25 * 61 + 7));
    record(u"Name"_s);
    EXPECT_EQ(text(device().selfContainedMovie()->startTimeCode()), GetParam().startTimeCode);
    EXPECT_EQ(text(controller().currentReferenceMovie()->startTimeCode()),
              GetParam().startTimeCode);
}

// After the start

TEST_F(RecordingStart, leavesStopAndPauseToPush) {
    makeController();
    want(true, false);
    record();
    auto& outlets = controller().outlets();
    EXPECT_FALSE(outlets.recordButton.isEnabled());
    EXPECT_FALSE(outlets.settingsButton.isEnabled());
    EXPECT_TRUE(outlets.stopButton.isEnabled());
    EXPECT_TRUE(outlets.pauseButton.isEnabled());
    EXPECT_THAT(icons, ElementsAre("TapedeckStoppedIcon", "TapedeckIcon"));
}

TEST_F(RecordingStart, switchesEachPlayoutSystemAfterTheDeviceHasStartedAndBeforeAllElse) {
    makeController();
    want(true, false);
    prefer(OxaPrefShouldSwitchCastlineKey, 1);
    prefer(OxaPrefCastlineAddressesKey, QVariantList{u"10.0.0.1"_s, u"studio"_s});
    int calls = 0;
    services.whenSwitched = [&] {
        ++calls;
        EXPECT_TRUE(device().isRecording());
        EXPECT_TRUE(controller().outlets().recordButton.isEnabled());
        EXPECT_FALSE(exists(u"reference/Name.ref"_s));
        EXPECT_THAT(icons, ElementsAre("TapedeckStoppedIcon"));
    };
    record(u"Name"_s);
    EXPECT_EQ(calls, 2);
    EXPECT_THAT(services.switched,
                ElementsAre(std::pair(u"10.0.0.1"_s, true), std::pair(u"studio"_s, true)));
}

TEST_F(RecordingStart, switchesNothingUnlessToldTo) {
    makeController();
    want(true, false);
    prefer(OxaPrefCastlineAddressesKey, QVariantList{u"10.0.0.1"_s});
    record();
    EXPECT_THAT(services.switched, IsEmpty());
}

TEST_F(RecordingStart, goesOnWhenAPlayoutSystemCannotBeSwitched) {
    makeController();
    want(true, false);
    prefer(OxaPrefShouldSwitchCastlineKey, true);
    prefer(OxaPrefCastlineAddressesKey, QVariantList{u"a"_s, u"b"_s});
    services.switchResult = -1;
    record();
    EXPECT_EQ(
        log.count("Tapedeck: Could not switch Castline with address a because of an error -1"), 1);
    EXPECT_EQ(services.switched.size(), 2U);
    EXPECT_TRUE(device().isRecording());
    EXPECT_FALSE(controller().outlets().recordButton.isEnabled());
}

TEST_F(RecordingStart, runsTheScriptAfterItsDelay) {
    makeController();
    want(true, false);
    prefer(OxaPrefLaunchStartRecordingScriptKey, true);
    prefer(OxaPrefStartRecordingScriptDelayKey, qint64{3});
    record();
    services.manualClock.advance(2.99);
    EXPECT_THAT(services.actions, IsEmpty());
    services.manualClock.advance(0.02);
    EXPECT_THAT(services.actions, ElementsAre(u"Start Recording"_s));
    services.manualClock.advance(60.0);
    EXPECT_EQ(services.actions.size(), 1);
}

TEST_F(RecordingStart, doesNotWaitForAScriptWithoutDelayEither) {
    makeController();
    want(true, false);
    prefer(OxaPrefLaunchStartRecordingScriptKey, qint64{1});
    record();
    EXPECT_THAT(services.actions, IsEmpty());
    services.manualClock.advance(0.0);
    EXPECT_THAT(services.actions, ElementsAre(u"Start Recording"_s));
}

TEST_F(RecordingStart, runsTheScriptEvenWhenTheDeviceIsGoneByThen) {
    makeController();
    want(true, false);
    prefer(OxaPrefLaunchStartRecordingScriptKey, true);
    prefer(OxaPrefStartRecordingScriptDelayKey, 5);
    record();
    deck().attach(false);
    gDVDevicesController->updateDeviceWindows();
    services.manualClock.advance(5.0);
    EXPECT_THAT(services.actions, ElementsAre(u"Start Recording"_s));
}

TEST_F(RecordingStart, runsNoScriptUnlessToldTo) {
    makeController();
    want(true, false);
    prefer(OxaPrefLaunchStopRecordingScriptKey, true);
    record();
    controller().stopButtonPushed();
    services.manualClock.advance(60.0);
    EXPECT_THAT(services.actions, IsEmpty());
}

TEST_F(RecordingStart, withoutAStreamStillWritesTheReferenceMovie) {
    addDeck().hasReceiver = false;
    makeControllers();
    want(true, false);
    record(u"Name"_s);
    EXPECT_FALSE(device().isRecording());
    EXPECT_TRUE(exists(u"reference/Name.ref"_s));
    EXPECT_THAT(icons, ElementsAre("TapedeckStoppedIcon"));
}

// The reference movie

struct StandardCase {
    std::uint8_t dvMode;
    bool isPAL;
    std::uint32_t frameSize;
    std::int32_t timeScale;
};
class ReferenceMovieOfStart : public RecordingStart,
                              public testing::WithParamInterface<StandardCase> {};
INSTANTIATE_TEST_SUITE_P(Each, ReferenceMovieOfStart,
                         testing::Values(StandardCase{0x80, true, 144000, 2500},
                                         StandardCase{0x00, false, 120000, 2997}));

TEST_P(ReferenceMovieOfStart, hasTheMeasuresOfItsStandard) {
    makeController(GetParam().dvMode);
    want(true, false);
    controller().settings().setReferenceMovieDuration(12.0);
    controller().settings().setMonoTracks(true);
    record(u"Name"_s);
    const auto movie = controller().currentReferenceMovie();
    ASSERT_NE(movie, nullptr);
    EXPECT_EQ(movie->isPAL(), GetParam().isPAL);
    EXPECT_EQ(movie->videoFrameSize(), GetParam().frameSize);
    EXPECT_EQ(movie->videoTimeScale(), GetParam().timeScale);
    EXPECT_EQ(movie->duration(), 12.0);
    EXPECT_FALSE(movie->dropFrame());
    EXPECT_TRUE(movie->monoTracks());
    EXPECT_EQ(movie->movieFilePath(), path(u"reference/Name.ref"_s));
    EXPECT_EQ(movie->videoFilePath(), path(u"raw/Name/Name.dv"_s));
    EXPECT_EQ(movie->audioFilePathForTrackIndex(0), path(u"raw/Name/Name.aud"_s));
    EXPECT_EQ(movie->audioChunkSizeForTrackIndex(0), 96000U);
    EXPECT_EQ(movie->audioTimeScaleForTrackIndex(0), 48000);
    EXPECT_EQ(movie->audioTracksCount(), 1);
    EXPECT_EQ(movie->aiffHeaderSize(), 0);
}

TEST_F(RecordingStart, makesANewReferenceMovieEachTime) {
    makeController();
    want(true, false);
    record(u"Name"_s);
    const auto first = controller().currentReferenceMovie();
    controller().stopButtonPushed();
    want(false, true);
    record(u"Name"_s);
    EXPECT_EQ(controller().currentReferenceMovie(), first);  // none wanted, none made
    controller().stopButtonPushed();
    want(true, false);
    record(u"Name"_s);
    EXPECT_NE(controller().currentReferenceMovie(), first);
    EXPECT_EQ(controller().currentReferenceMovie()->movieFilePath(),
              path(u"reference/Name 1.ref"_s));
}

}  // namespace takebox
